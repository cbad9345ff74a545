// error: the member that is set has no row in the table
#include "tests/project/refused/Sample.h"

struct Sample::Leaf::Table {
   static constexpr Vek::Rows rows{
      Vek::key< &Leaf::id_ >( 258, "id" ),
#ifdef FIXED
      Vek::attr< &Leaf::number_, &Leaf::numberIs >( 259, "number" ),
#endif
   };
};

void Sample::Leaf::numberIs( U32 number ) { put< Table, &Leaf::number_ >( number ); }
