#include "forms/dialects/RuleLines.h"

namespace Forms {

namespace {

// Whether a line cannot begin a rule: a block, or what BIRD prints below the match of a route, an
// attribute such as "\tBGP.med: 5" or another route.
bool isContinuation( std::string_view line ) {
   const std::size_t first = line.find_first_not_of( " \t" );
   if ( first == line.npos ) {
      return false;
   }
   const std::size_t wordEnd = line.find_first_of( " \t", first );
   const bool isAttribute = line[0] == '\t' && wordEnd != line.npos && line[wordEnd - 1] == ':';
   return line[first] == '{' || ( line[first] == '[' && first != 0 ) || isAttribute;
}

} // namespace

bool RuleLines::isComplete( U64 number, std::string_view next ) const {
   const bool goesOn = depth_ > 0 || isContinuation( next );
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
