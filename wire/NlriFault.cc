#include "wire/NlriFault.h"

#include "Vek/text/Text.h"

namespace Wire {

namespace {

constexpr std::string_view rejectionNames[] = {
   "length-truncated", "length-mismatch", "rd-truncated", "empty",
   "unknown-type",     "duplicate-type",  "type-order",   "truncated",
   "no-end-of-list",   "prefix-range",    "value-length", "unrepresentable",
};
constexpr std::string_view remarkNames[] = {
   "length-form",         "trailing-octets",     "rd-type",
   "prefix-padding",      "first-and",           "reserved-op-bits",
   "value-length-should", "reserved-value-bits", "value-range",
};
static_assert( std::size( rejectionNames ) ==
               static_cast< std::size_t >( RejectionCode::unrepresentable ) + 1 );
static_assert( std::size( remarkNames ) ==
               static_cast< std::size_t >( RemarkCode::valueRange ) + 1 );

} // namespace

std::string_view name( RejectionCode code ) {
   return rejectionNames[static_cast< std::size_t >( code )];
}

std::string_view name( RemarkCode code ) { return remarkNames[static_cast< std::size_t >( code )]; }

Vek::String Rejection::message() const {
   Vek::String text;
   Vek::TextWriter out( text );
   auto number = numbers.begin();
   for ( const char c : std::string_view( pattern ) ) {
      if ( c == '#' ) {
         out << *number++;
      } else {
         out << c;
      }
   }
   out.flush();
   return text;
}

} // namespace Wire
