// error: the deletion of the row takes another type than the keys of the collection
#include "tests/project/refused/Sample.h"

struct Sample::Root::Table {
#ifdef FIXED
   static constexpr auto erase = &Root::textDel;
#else
   static constexpr auto erase = &Root::textIs;
#endif
   static constexpr Vek::Rows rows{
      Vek::coll< &Root::text_, &Root::textIs, erase >( 258, "text" ) };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Root, rows, Vek::String >( Vek::TypeKind::root );
};
