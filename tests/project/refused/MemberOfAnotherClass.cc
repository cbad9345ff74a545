// error: a row of the table names a member of another class
#include "tests/project/refused/Sample.h"

namespace Sample {

#ifdef FIXED
constexpr Vek::Rows rows{ Vek::property< &Port::min >( 2, "min" ) };
#else
constexpr Vek::Rows rows{ Vek::property< &Range::min >( 2, "min" ) };
#endif
constexpr Vek::TypeInfo info = Vek::valueInfo< Port, rows >();

} // namespace Sample
