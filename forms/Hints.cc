#include "forms/Hints.h"

#include "Flowspec/vocab/FlowspecUtil.h"
#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "forms/dialects/ExaBgpNames.h"

#include <algorithm>
#include <cctype>

namespace Forms {

using namespace Flowspec;

namespace {

constexpr std::size_t longestWord = 40;

bool isOfWord( char c ) {
   return std::isalnum( static_cast< unsigned char >( c ) ) != 0 || c == '-' || c == '_';
}

Vek::String mapped( std::string_view text, int ( *map )( int ) ) {
   Vek::String result;
   for ( const char c : text ) {
      result += static_cast< char >( map( static_cast< unsigned char >( c ) ) );
   }
   return result;
}

Vek::String is( std::string_view word, U64 value ) {
   return Vek::concat( '\'', word, "' is ", value );
}

// Of a word where a number should be.
Vek::String numberHint( MatchCompType type, std::string_view word ) {
   const Vek::String name = mapped( word, std::tolower );
   if ( name == "any" || name == "all" ) {
      return "a component that may have any value is left out";
   }
   if ( type == dscp ) {
      for ( const DscpName& row : FlowspecUtil::dscpNames() ) {
         if ( mapped( row.name, std::tolower ) == name ) {
            return is( word, row.value );
         }
      }
   }
   for ( const NumberName& row : ExaBgp::valueNames( type ) ) {
      if ( row.name == name ) {
         return is( word, row.value );
      }
   }
   return "";
}

Vek::String characterHint( char c ) {
   switch ( c ) {
   case ' ':
   case '\t':
      return "a rule has no blanks";
   case ',':
      return "alternatives are joined by '|'";
   case '-':
      return "a range is '>=1024&<=2047'";
   case '!':
      return "not equal is '<>'";
   default:
      return "";
   }
}

Vek::String prefixHint( std::string_view field ) {
   const Vek::String word = mapped( field.substr( 0, longestWord ), std::tolower );
   if ( word.empty() || word == "any" || word == "all" || word == "default" ) {
      return "any prefix is '*'";
   }
   const auto address = Zorv::IpGenAddr::fromText( field );
   const bool isIpv4 = address && address->family() == Zorv::AddressFamily::ipv4;
   return address
             ? Vek::concat( "a host is '", field, std::string_view( isIpv4 ? "/32'" : "/128'" ) )
             : "";
}

Vek::String labelHint( std::string_view field ) {
   const std::string_view word = field.substr( 0, std::min( field.find( ':' ), longestWord ) );
   const Vek::String upper = mapped( word, std::toupper );
   const Vek::String lower = mapped( word, std::tolower );
   for ( const ComponentType& row : componentTypes ) {
      if ( row.hasTerms() && row.label == upper ) {
         return Vek::concat( "the label is '", row.label, '\'' );
      }
   }
   for ( const ComponentName& row : ExaBgp::components ) {
      if ( row.name == lower ) {
         return Vek::concat( "the label is '", componentType( row.type ).label, '\'' );
      }
   }
   return "";
}

} // namespace

Vek::String hint( std::string_view text, std::size_t offset ) {
   if ( offset >= text.size() ) {
      return "";
   }
   const std::size_t begin = text.substr( 0, offset ).rfind( ';' ) + 1;
   const std::string_view field = text.substr( begin, text.find( ';', begin ) - begin );
   const bool hasRd = text.starts_with( "RD:" );
   const auto number = std::ranges::count( text.substr( 0, begin ), ';' ) - hasRd;
   if ( number < 2 ) {
      return number < 0 ? "" : prefixHint( field );
   }
   if ( offset == begin ) {
      return labelHint( field );
   }
   const std::string_view rest = text.substr( offset );
   const auto end = std::ranges::find_if_not( rest, isOfWord );
   const std::string_view word = rest.substr( 0, static_cast< std::size_t >( end - rest.begin() ) );
   const MatchCompType type = getCompType( field );
   return word.empty() || word.front() == '-' || word.size() > longestWord
             ? characterHint( rest.front() )
             : numberHint( type, word );
}

} // namespace Forms
