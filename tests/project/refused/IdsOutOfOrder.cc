// error: the ids of the table do not ascend
#include "tests/project/refused/Sample.h"

namespace Sample {

#ifdef FIXED
constexpr U16 maxId = 3;
#else
constexpr U16 maxId = 2;
#endif
constexpr Vek::Rows rows{ Vek::property< &Range::min, &Range::minIs >( 2, "min" ),
                          Vek::property< &Range::max, &Range::maxIs >( maxId, "max" ) };
constexpr Vek::TypeInfo info = Vek::valueInfo< Range, rows >();

} // namespace Sample
