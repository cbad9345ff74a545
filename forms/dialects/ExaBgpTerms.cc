#include "forms/dialects/ExaBgpTerms.h"

#include "forms/dialects/ExaBgpNames.h"

#include <algorithm>
#include <limits>

namespace Forms::ExaBgp {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;

constexpr U8 always = OpBits::lt | OpBits::gt | OpBits::eq;

constexpr Operator numericOperators[] = {
   { "!=", OpBits::lt | OpBits::gt },
   { "<=", OpBits::lt | OpBits::eq },
   { ">=", OpBits::gt | OpBits::eq },
   { "=", OpBits::eq },
   { "<", OpBits::lt },
   { ">", OpBits::gt },
   { "true", always },
   { "false", 0 },
};
constexpr Operator flagOperators[] = {
   { "!=", OpBits::match | OpBits::invert },
   { "!", OpBits::invert },
   { "=", OpBits::match },
};
// By the bits of the test.
constexpr std::string_view numericTexts[] = { "false", "=", ">", ">=", "<", "<=", "!=", "true" };
constexpr std::string_view flagTexts[] = { "", "=", "!", "!=", "&", "&=", "&!", "&!=" };

std::string_view valueWhat( MatchCompType type ) {
   return valueNames( type ).empty() ? "a number" : "a number or a name";
}

class ExpressionReader {
public:
   ExpressionReader( Cursor& text, const ComponentName& name, Style style, MatchParts& match )
      : text_( text ), name_( name ), style_( style ), match_( match ) {}

   // Terms joined by "&".
   void read() {
      bool andPrevious = false;
      do {
         const std::size_t at = text_.offset();
         if ( style_ == Style::printed && text_.next() >= '0' && text_.next() <= '9' ) {
            text_.fail( "ExaBGP prints an operator with reserved bits here" );
         }
         const bool flags = isBitmask( name_.type );
         const U8 test = flags ? takeOperator( text_, flagOperators, 0 )
                               : takeOperator( text_, numericOperators, OpBits::eq );
         const bool hasValue =
            flags || ( test != 0 && test != always ) || isWordCharacter( text_.next() );
         const U32 value = flags ? readFlags() : hasValue ? readValue() : 0;
         match_.add( at, name_.type, { andPrevious, test, value } );
         andPrevious = text_.take( '&' );
      } while ( andPrevious );
   }

private:
   // What ExaBGP received it prints, whatever it takes itself.
   U64 max() const {
      return style_ == Style::printed ? std::numeric_limits< U32 >::max() : name_.max;
   }

   // One name or number.
   U32 readValue() {
      const std::size_t at = text_.offset();
      if ( const std::string_view kind = kindOf( name_.type );
           !kind.empty() && text_.takeWord( "unknown" ) ) {
         text_.expect( Vek::concat( ' ', kind, " type " ) );
         return static_cast< U32 >( text_.number( max() ) );
      }
      Vek::String word( text_.takeWord() );
      for ( char& c : word ) {
         c = c == '_' ? '-' : c >= 'A' && c <= 'Z' ? static_cast< char >( c - 'A' + 'a' ) : c;
      }
      const auto names = valueNames( name_.type );
      if ( const auto row = std::ranges::find( names, word, &NumberName::name );
           row != names.end() ) {
         return row->value;
      }
      text_.offsetIs( at );
      const U64 value = text_.number( max(), valueWhat( name_.type ) );
      if ( isWordCharacter( text_.next() ) || text_.next() == '+' ) {
         text_.offsetIs( at );
         text_.failExpecting( valueWhat( name_.type ) );
      }
      return static_cast< U32 >( value );
   }

   // Flags joined by "+". ExaBGP adds them up, which is another value when one occurs twice.
   U32 readFlags() {
      U32 flags = 0;
      do {
         const std::size_t at = text_.offset();
         const bool whole = text_.rest().starts_with( "unknown" );
         const U32 value = readFlag();
         if ( !whole && flags & value ) {
            text_.failAt( at, "the flag occurs twice" );
         }
         flags |= value;
      } while ( text_.take( '+' ) );
      return flags;
   }
   U32 readFlag() {
      const std::size_t at = text_.offset();
      if ( !isWordCharacter( text_.next() ) ) {
         text_.failExpecting( valueWhat( name_.type ) );
      }
      const bool number = text_.next() >= '0' && text_.next() <= '9';
      if ( !number ) {
         return readValue();
      }
      const U64 value = text_.number( max() );
      if ( isWordCharacter( text_.next() ) ) {
         text_.offsetIs( at );
         text_.failExpecting( valueWhat( name_.type ) );
      }
      return static_cast< U32 >( value );
   }

   Cursor& text_;
   const ComponentName& name_;
   Style style_;
   MatchParts& match_;
};

bool isPrefix( std::string_view word, std::string_view name ) {
   return word.starts_with( name ) &&
          ( word.size() == name.size() || word.substr( name.size() ) == "-ipv4" ||
            word.substr( name.size() ) == "-ipv6" );
}

// An address, a length and, in IPv6, an offset that must be 0. ExaBGP cuts what stands after the
// length.
Zorv::IpGenPrefix readPrefix( Cursor& text ) {
   const std::size_t at = text.offset();
   const std::string_view word = text.takeAllOf( "0123456789abcdefABCDEF.:/" );
   const std::size_t slash = word.find( '/' );
   const std::size_t second = slash == std::string_view::npos ? slash : word.find( '/', slash + 1 );
   const auto prefix = Zorv::IpGenPrefix::fromText( word.substr( 0, second ) );
   const bool ipv6 = prefix && prefix->family() == AddressFamily::ipv6;
   const std::string_view offset =
      second == std::string_view::npos ? "0" : word.substr( second + 1 );
   if ( !prefix || ( second != std::string_view::npos && !ipv6 ) ||
        isWordCharacter( text.next() ) || !Vek::decimal( offset, 128 ) ) {
      text.offsetIs( at );
      text.failExpecting( "a prefix" );
   }
   if ( offset != "0" ) {
      text.failAt( at + second + 1, "a rule key holds no offset of a prefix but 0" );
   }
   return *prefix;
}

} // namespace

bool takeComponent( Cursor& text, std::size_t at, std::string_view word, Style style,
                    MatchParts& match ) {
   const bool destination = isPrefix( word, "destination" );
   if ( destination || isPrefix( word, "source" ) ) {
      text.skipBlanks();
      match.prefixIs( at, destination ? destPrefix : srcPrefix, readPrefix( text ) );
      return true;
   }
   const auto* const name = std::ranges::find( components, word, &ComponentName::name );
   if ( name == std::end( components ) ) {
      return false;
   }
   ExpressionReader expression( text, *name, style, match );
   text.skipBlanks();
   if ( !text.take( '[' ) ) {
      expression.read();
      return true;
   }
   do {
      text.skipBlanks();
      expression.read();
      const std::size_t end = text.offset();
      text.skipBlanks();
      if ( text.next() != ']' && text.offset() == end ) {
         text.failExpecting( "a blank or ']'" );
      }
   } while ( !text.take( ']' ) );
   return true;
}

std::string_view nameOf( MatchCompType type, AddressFamily family, const std::vector< Term >& terms,
                         Style style ) {
   const auto* name = std::ranges::find( components, type, &ComponentName::type );
   const bool second = family == AddressFamily::ipv6 && ( type == ipProto || type == dscp );
   const bool wide =
      std::ranges::any_of( terms, [&]( const Term& term ) { return term.value > name->max; } );
   if ( second || ( type == dscp && wide && style == Style::written ) ) {
      ++name;
   }
   for ( const Term& term : terms ) {
      if ( style == Style::written && term.value > name->max ) {
         throw Inexpressible{
            Vek::concat( "ExaBGP takes no value above ", name->max, " in '", name->name, '\'' ) };
      }
   }
   return name->name;
}

void appendPrefix( const Zorv::IpGenPrefix& prefix, Vek::String& out ) {
   out += prefix.stringValue();
   out += prefix.family() == AddressFamily::ipv6 ? "/0" : "";
}

std::string_view flagOperator( const Term& term ) {
   return flagTexts[( term.andPrevious ? 4U : 0U ) | ( term.test & 3U )];
}

std::vector< Vek::String > flagNames( MatchCompType type, U32 value ) {
   std::vector< Vek::String > names;
   U32 rest = value;
   for ( const NumberName& flag : valueNames( type ) ) {
      if ( ( rest & flag.value ) != 0 || value == flag.value ) {
         names.emplace_back( flag.name );
         rest &= ~flag.value;
         if ( value == flag.value ) {
            break;
         }
      }
   }
   if ( rest != 0 ) {
      names.push_back( Vek::concat( "unknown ", kindOf( type ), " type ", value ) );
   }
   return names;
}

void appendTerm( MatchCompType type, const Term& term, Style style, Vek::String& out ) {
   Vek::TextWriter text( out );
   if ( isBitmask( type ) ) {
      const auto names = flagNames( type, term.value );
      const bool named =
         !names.empty() && !names.back().starts_with( "unknown" ) && term.value != 0;
      text << flagOperator( term );
      if ( style == Style::written && !named ) {
         text << term.value;
         return;
      }
      std::string_view separator;
      for ( const Vek::String& name : names ) {
         text << std::exchange( separator, "+" ) << name;
      }
      return;
   }
   const bool constant = term.test == 0 || term.test == always;
   text << std::string_view( term.andPrevious ? "&" : "" ) << numericTexts[term.test];
   if ( style == Style::printed && constant && !term.andPrevious ) {
      return;
   }
   const std::string_view kind = kindOf( type );
   if ( style == Style::written || kind.empty() ) {
      text << term.value;
      return;
   }
   const auto names = valueNames( type );
   if ( const auto row = std::ranges::find( names, term.value, &NumberName::value );
        row != names.end() ) {
      text << row->name;
   } else {
      text << "unknown " << kind << " type " << term.value;
   }
}

void appendTerms( const Component& component, Style style, Vek::String& out ) {
   const bool several = component.terms.size() > 1;
   out += several ? "[ " : "";
   std::string_view separator;
   for ( const Term& term : component.terms ) {
      out += term.andPrevious ? "" : separator;
      appendTerm( component.type, term, style, out );
      separator = " ";
   }
   out += several ? " ]" : "";
}

} // namespace Forms::ExaBgp
