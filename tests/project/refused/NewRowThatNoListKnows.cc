// error: the table has another number of rows than the rowCount of its type: look at what lists
// them
#include "tests/project/refused/Sample.h"

namespace Sample {

class Listed {
public:
   static constexpr std::string_view typeName = "Sample::Listed";
   static constexpr std::size_t rowCount = 1;
   static const Vek::TypeInfo& typeInfo();

   U16 first() const { return 0; }
   U16 second() const { return 0; }
   bool operator==( const Listed& ) const = default;
};
constexpr Vek::Rows rows{
   Vek::derived< &Listed::first >( 2, "first" ),
#ifndef FIXED
   Vek::derived< &Listed::second >( 3, "second" ),
#endif
};
constexpr Vek::TypeInfo info = Vek::valueInfo< Listed, rows >();

} // namespace Sample
