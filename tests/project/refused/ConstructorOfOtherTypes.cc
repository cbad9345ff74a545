// error: the constructor of the entity takes other parameters
#include "tests/project/refused/Sample.h"

struct Sample::Leaf::Table {
   static constexpr Vek::Rows rows{ Vek::key< &Leaf::id_ >( 258, "id" ) };
#ifdef FIXED
   using Id = U16;
#else
   using Id = U32;
#endif
   static constexpr Vek::TypeInfo info = Vek::entityInfo< Leaf, rows, Id >( Vek::TypeKind::child );
};
