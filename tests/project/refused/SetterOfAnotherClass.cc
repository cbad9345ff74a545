// error: the setter of the row is of another class than its member
#include "tests/project/refused/Sample.h"

namespace Sample {

#ifdef FIXED
constexpr Vek::Rows rows{ Vek::property< &Port::min, &Port::minIs >( 2, "min" ) };
#else
constexpr Vek::Rows rows{ Vek::property< &Port::min, &Range::maxIs >( 2, "min" ) };
#endif
constexpr Vek::TypeInfo info = Vek::valueInfo< Port, rows >();

} // namespace Sample
