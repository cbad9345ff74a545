// error: the insertion of the row takes another type than the keys of the children
#include "tests/project/refused/Sample.h"

struct Sample::Root::Table {
#ifdef FIXED
   static constexpr auto insert = &Root::leafIs;
#else
   static constexpr auto insert = &Root::textIs;
#endif
   static constexpr Vek::Rows rows{
      Vek::children< &Root::leaf_, insert, &Root::leafDel >( 258, "leaf" ) };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Root, rows, Vek::String >( Vek::TypeKind::root );
};
