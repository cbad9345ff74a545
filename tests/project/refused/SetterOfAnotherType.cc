// error: the setter of the row takes another type than its attribute has
#include "tests/project/refused/Sample.h"

namespace Sample {

#ifdef FIXED
constexpr auto setter = &Range::minIs;
#else
constexpr auto setter = &Range::maxIs;
#endif
constexpr Vek::Rows rows{ Vek::property< &Range::min, setter >( 2, "min" ),
                          Vek::property< &Range::max >( 3, "max" ) };
constexpr Vek::TypeInfo info = Vek::valueInfo< Range, rows >();

} // namespace Sample
