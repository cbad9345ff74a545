// error: the ids of the rows of an entity begin at 258
#include "tests/project/refused/Sample.h"

struct Sample::Leaf::Table {
#ifdef FIXED
   static constexpr Vek::Rows rows{ Vek::key< &Leaf::id_ >( 258, "id" ) };
#else
   static constexpr Vek::Rows rows{ Vek::key< &Leaf::id_ >( 257, "id" ) };
#endif
   static constexpr Vek::TypeInfo info = Vek::entityInfo< Leaf, rows, U16 >( Vek::TypeKind::child );
};
