// error: a row of one child is about a reference to an entity
#include "tests/project/refused/Sample.h"

struct Sample::Root::Table {
#ifdef FIXED
   static constexpr Vek::Rows rows{ Vek::child< &Root::only_ >( 258, "only" ) };
#else
   static constexpr Vek::Rows rows{ Vek::child< &Root::text_ >( 258, "only" ) };
#endif
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Root, rows, Vek::String >( Vek::TypeKind::root );
};
