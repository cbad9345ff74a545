#include "forms/dialects/RuleLines.h"

namespace Forms {

bool RuleLines::isComplete( U64 number, std::string_view next ) const {
   const std::size_t first = next.find_first_not_of( " \t" );
   const bool goesOn = depth_ > 0 || ( first != next.npos && next[first] == '{' );
   return !goesOn || text_.size() + ( number - last_ ) + next.size() > maxText;
}

void RuleLines::add( U64 number, std::string_view line ) {
   if ( text_.empty() ) {
      first_ = last_ = number;
   }
   // Lines that were passed over count.
   text_.append( number - last_, '\n' );
   last_ = number;
   text_ += line;
   for ( const char c : line.substr( 0, line.find( '#' ) ) ) {
      depth_ += c == '{';
      depth_ -= c == '}' && depth_ > 0;
   }
}

} // namespace Forms
