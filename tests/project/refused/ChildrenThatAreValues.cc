// error: a row of children is about a collection of references to entities
#include "tests/project/refused/Sample.h"

struct Sample::Root::Table {
#ifdef FIXED
   static constexpr Vek::Rows rows{
      Vek::children< &Root::leaf_, &Root::leafIs, &Root::leafDel >( 258, "leaf" ) };
#else
   static constexpr Vek::Rows rows{
      Vek::children< &Root::text_, nullptr, &Root::textDel >( 258, "leaf" ) };
#endif
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Root, rows, Vek::String >( Vek::TypeKind::root );
};
