#include "forms/Doubts.h"

#include "Vek/text/Text.h"
#include "forms/Printable.h"

#include <algorithm>
#include <charconv>

namespace Forms {

using namespace Flowspec;

namespace {

bool isComparedText( Form form ) {
   return form == Form::cli || form == Form::cliLen || form == Form::rd || form == Form::rdLen ||
          form == Form::value;
}

// Takes up to `separator` off the front, and passes over it.
std::string_view takeField( std::string_view& rest, char separator = ';' ) {
   const std::string_view field = rest.substr( 0, rest.find( separator ) );
   rest.remove_prefix( std::min( field.size() + 1, rest.size() ) );
   return field;
}

// Takes the characters off the front of which each is one of these.
std::string_view takeAny( std::string_view& rest, std::string_view characters ) {
   const std::string_view taken =
      rest.substr( 0, std::min( rest.find_first_not_of( characters ), rest.size() ) );
   rest.remove_prefix( taken.size() );
   return taken;
}

// Digits without zeros in front; one zero for zeros alone.
std::string_view withoutZeros( std::string_view digits ) {
   while ( digits.size() > 1 && digits.front() == '0' ) {
      digits.remove_prefix( 1 );
   }
   return digits;
}

// Each of `characters` once that is in `text`, in the order of `characters`.
void appendEach( Vek::String& out, std::string_view text, std::string_view characters ) {
   for ( const char c : characters ) {
      if ( text.find( c ) != text.npos ) {
         out += c;
      }
   }
}

// Takes a number off the front and appends it in decimal, as people count.
void takeNumber( Vek::String& out, std::string_view& rest ) {
   static constexpr std::string_view digits = "0123456789";
   if ( rest.starts_with( "0x" ) ) {
      U64 value = 0;
      const auto [end, error] =
         std::from_chars( rest.data() + 2, rest.data() + rest.size(), value, 16 );
      if ( error == std::errc() ) {
         rest.remove_prefix( static_cast< std::size_t >( end - rest.data() ) );
         out += Vek::concat( value );
         return;
      }
   }
   out += withoutZeros( takeAny( rest, digits ) );
}

// An address with its host bits, and the length; the field itself when it is something else.
Vek::String plainPrefix( std::string_view field ) {
   const std::size_t slash = field.find( '/' );
   const auto address = Zorv::IpGenAddr::fromText( field.substr( 0, slash ) );
   return address ? Vek::concat( address->stringValue(), field.substr( slash ) )
                  : Vek::String( field );
}

// A component with each term as people take it: with one operator for each character, however
// often it is there, and decimal numbers. What is not a term is kept.
Vek::String plainComponent( std::string_view field, bool hasLengths ) {
   const std::size_t front = field.find( ':' ) + 1;
   Vek::String plain( field.substr( 0, front ) );
   for ( std::string_view rest = field.substr( front ); !rest.empty(); ) {
      const std::size_t before = rest.size();
      appendEach( plain, takeAny( rest, "&|" ), "&|" );
      appendEach( plain, takeAny( rest, "!<>=" ), "!<>=" );
      if ( hasLengths && rest.size() > 1 && rest[1] == 'L' ) {
         plain += rest.substr( 0, 2 );
         rest.remove_prefix( 2 );
      }
      takeNumber( plain, rest );
      if ( rest.size() == before ) {
         plain += rest;
         break;
      }
   }
   return plain;
}

Vek::String plainField( std::string_view field, bool hasLengths ) {
   if ( field.find( '/' ) != field.npos ) {
      return plainPrefix( field );
   }
   if ( field.find( ':' ) != field.npos ) {
      return plainComponent( field, hasLengths );
   }
   const bool isNumber = !field.empty() && std::ranges::all_of( field, Vek::isDigit );
   return Vek::String( isNumber ? withoutZeros( field ) : field );
}

// These have readers that take nothing else than what they are.
bool isExact( std::string_view field ) {
   return field.starts_with( "RD:" ) || field.starts_with( "IFSET:=" );
}

// What a field was read as, and the name of the component when the label is another one.
Vek::String readAs( std::string_view field, std::string_view read ) {
   Vek::String text = Vek::concat( '\'', std::string_view( printable( field ) ), "' is read as '",
                                   std::string_view( printable( read ) ), '\'' );
   const MatchCompType type = getCompType( read );
   if ( type != invalid && takeField( field, ':' ) != takeField( read, ':' ) ) {
      text += Vek::concat( " (", componentType( type ).detailLabel, ')' );
   }
   return text;
}

// The first field that is not `same` as what it was written as.
template < typename Same >
std::optional< Fault > firstMisread( std::string_view text, std::string_view written, Same same ) {
   for ( std::string_view rest = text; !rest.empty(); ) {
      const U64 column = static_cast< U64 >( rest.data() - text.data() ) + 1;
      const std::string_view field = takeField( rest );
      const std::string_view read = takeField( written );
      if ( !same( field, read ) ) {
         return Fault{ 1, column,
                       field.ends_with( ':' )
                          ? Vek::concat( '\'', std::string_view( printable( field ) ),
                                         "' has no value: it is left out" )
                          : readAs( field, read ) };
      }
   }
   return std::nullopt;
}

} // namespace

std::optional< Fault > misreading( Form form, std::string_view text, const Rule& rule ) {
   if ( !isComparedText( form ) || unwritable( form, rule ) ) {
      return std::nullopt;
   }
   Vek::String written;
   appendRule( form, rule, written );
   text = text.substr( 0, form == Form::value ? text.find( '\n' ) : text.npos );
   const bool hasLengths = form != Form::cli && form != Form::rd;
   return text == written
             ? std::nullopt
             : firstMisread( text, written, [&]( std::string_view field, std::string_view read ) {
                  return isExact( field ) || plainField( field, hasLengths ) == read;
               } );
}

std::optional< FamilyConflict > familyConflict( const FlowspecKey& key ) {
   using Zorv::AddressFamily;
   AddressFamily family = key.addressFamily();
   std::string_view whose = ", and the rule of ";
   for ( const MatchCompType type : { destPrefix, srcPrefix } ) {
      const Zorv::IpGenPrefix& prefix = type == destPrefix ? key.destPrefix() : key.srcPrefix();
      if ( prefix.empty() ) {
         continue;
      }
      if ( family == AddressFamily::none ) {
         family = prefix.family();
         whose = ", and destPrefix of ";
      } else if ( prefix.family() != family ) {
         return FamilyConflict{ type, Vek::concat( stringValue( type ), ' ', prefix, " is of ",
                                                   prefix.family(), whose, family ) };
      }
   }
   if ( family == AddressFamily::ipv4 ) {
      for ( auto term = key.getOptVal( 0 ); !term.isEnd();
            term = key.getOptVal( term.nextIndex() ) ) {
         if ( term.matchType() == flowLabel ) {
            return FamilyConflict{ flowLabel, "packets of ipv4 have no flowLabel" };
         }
      }
   }
   return std::nullopt;
}

std::optional< Fault > doubt( Form form, std::string_view text, const Rule& rule ) {
   if ( auto fault = misreading( form, text, rule ) ) {
      return fault;
   }
   if ( auto conflict = familyConflict( rule.key ) ) {
      return Fault{ 0, 0, std::move( conflict->reason ) };
   }
   return std::nullopt;
}

} // namespace Forms
