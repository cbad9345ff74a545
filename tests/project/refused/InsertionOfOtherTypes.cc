// error: the insertion of the row takes other types than the collection holds
#include "tests/project/refused/Sample.h"

struct Sample::Root::Table {
#ifdef FIXED
   static constexpr Vek::Rows rows{
      Vek::coll< &Root::text_, &Root::textIs, &Root::textDel >( 258, "text" ) };
#else
   static constexpr Vek::Rows rows{
      Vek::coll< &Root::text_, &Root::leafIs, &Root::textDel >( 258, "text" ) };
#endif
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Root, rows, Vek::String >( Vek::TypeKind::root );
};
