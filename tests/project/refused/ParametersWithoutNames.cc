// error: the row names another number of parameters than the operation has
#include "tests/project/refused/Sample.h"

struct Sample::Root::Table {
   static constexpr Vek::Rows rows{
#ifdef FIXED
      Vek::operation< &Root::textIs >( 258, "textIs", "id", "text" ),
#else
      Vek::operation< &Root::textIs >( 258, "textIs", "id" ),
#endif
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Root, rows, Vek::String >( Vek::TypeKind::root );
};
