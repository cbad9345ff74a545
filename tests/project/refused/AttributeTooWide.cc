// error: the value is not built from the types of its attributes as the rows list them
#include "tests/project/refused/Sample.h"

namespace Sample {

#ifdef FIXED
constexpr Vek::Rows rows{ Vek::property< &Range::min >( 2, "min" ),
                          Vek::property< &Range::max >( 3, "max" ) };
#else
constexpr Vek::Rows rows{ Vek::property< &Range::max >( 2, "max" ),
                          Vek::property< &Range::min >( 3, "min" ) };
#endif
constexpr Vek::TypeInfo info = Vek::valueInfo< Range, rows >();

} // namespace Sample
