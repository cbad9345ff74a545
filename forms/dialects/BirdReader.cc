#include "Osk/Endian.h"
#include "forms/dialects/Bird.h"
#include "forms/dialects/BirdNames.h"
#include "forms/dialects/Communities.h"
#include "forms/dialects/Terms.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Forms {

namespace {

using namespace Flowspec;
using Wire::ExtendedCommunity;
using Zorv::AddressFamily;

constexpr U16 routeOrigin = 0x0003;

class Reader {
public:
   Reader( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks )
      : text_( text ), context_( context ), rule_( rule ), remarks_( remarks ) {}

   void read() {
      skip();
      if ( text_.takeWord( "route" ) ) {
         skip();
      }
      const std::size_t at = text_.offset();
      if ( text_.takeWord( "flow4" ) ) {
         readMatch( at, AddressFamily::ipv4 );
      } else if ( text_.takeWord( "flow6" ) ) {
         readMatch( at, AddressFamily::ipv6 );
      } else {
         text_.failExpecting( "'flow4' or 'flow6'" );
      }
      skip();
      if ( text_.next() == '{' ) {
         readBlock();
         skip();
      }
      text_.take( ';' );
      skip();
   }

private:
   // Blanks and comments.
   void skip() {
      for ( ;; ) {
         text_.skipBlanks();
         const std::size_t at = text_.offset();
         if ( text_.take( '#' ) ) {
            text_.takeUntil( "\n" );
         } else if ( text_.take( "/*" ) ) {
            const std::size_t end = text_.rest().find( "*/" );
            if ( end == std::string_view::npos ) {
               text_.failAt( at, "the comment has no end" );
            }
            text_.offsetIs( text_.offset() + end + 2 );
         } else {
            return;
         }
      }
   }
   // Takes what BIRD reads as one token, and blanks and comments around it.
   bool take( std::string_view token ) {
      skip();
      const bool there = text_.take( token );
      skip();
      return there;
   }
   void expect( std::string_view token ) {
      skip();
      text_.expect( token );
      skip();
   }

   void readMatch( std::size_t begin, AddressFamily family );
   void readComponent( KeyBuilder& key );
   const BirdNames::ComponentName& componentName();
   void readNumbers( KeyBuilder& key, U32 max );
   void readFlags( KeyBuilder& key, const BirdNames::ComponentName& name );
   Term fragmentFlag( bool andPrevious, bool inverted );
   void addMasked( KeyBuilder& key, bool andPrevious, bool inverted, U32 max );

   void readBlock();
   void readStatement();
   ExtendedCommunity community();
   ExtendedCommunity composed( U16 type );

   Cursor& text_;
   const Context& context_;
   Rule& rule_;
   std::vector< Fault >& remarks_;
   Wire::EncodedAction communities_;
   bool passedOver_ = false; // other attributes
};

void Reader::readMatch( std::size_t begin, AddressFamily family ) {
   KeyBuilder key( text_, family, rule_ );
   expect( "{" );
   const std::size_t cut = text_.rest().find( "...}" );
   if ( cut < text_.rest().find( '}' ) ) {
      text_.failAt( text_.offset() + cut, "BIRD cut the text when it printed it" );
   }
   while ( !take( "}" ) ) {
      readComponent( key );
      expect( ";" );
   }
   key.finish( begin );
}

void Reader::readComponent( KeyBuilder& key ) {
   const std::size_t at = text_.offset();
   const bool destination = text_.takeWord( "dst" );
   if ( destination || text_.takeWord( "src" ) ) {
      skip();
      const std::size_t prefixAt = text_.offset();
      const Zorv::IpGenPrefix prefix = text_.prefix();
      key.prefixIs( prefixAt, destination ? destPrefix : srcPrefix, prefix );
      skip();
      const std::size_t offsetAt = text_.offset();
      if ( text_.takeWord( "offset" ) ) {
         skip();
         if ( text_.number( 128 ) != 0 ) {
            text_.failAt( offsetAt, "a rule key holds no offset of a prefix but 0" );
         }
      }
      return;
   }
   const BirdNames::ComponentName& name = componentName();
   key.begin( at, name.type );
   if ( isBitmask( name.type ) ) {
      readFlags( key, name );
   } else {
      readNumbers( key, name.max );
   }
}

const BirdNames::ComponentName& Reader::componentName() {
   const std::size_t at = text_.offset();
   const std::string_view first = text_.takeWord();
   skip();
   for ( const BirdNames::ComponentName& name : BirdNames::components ) {
      if ( first == name.first && ( name.second.empty() || text_.takeWord( name.second ) ) ) {
         skip();
         return name;
      }
   }
   text_.offsetIs( at );
   text_.failExpecting( "a component" );
}

void Reader::readNumbers( KeyBuilder& key, U32 max ) {
   struct Operator {
      std::string_view text;
      U8 test;
   };
   constexpr Operator operators[] = {
      { "!=", OpBits::lt | OpBits::gt },
      { "<=", OpBits::lt | OpBits::eq },
      { ">=", OpBits::gt | OpBits::eq },
      { "=", OpBits::eq },
      { "<", OpBits::lt },
      { ">", OpBits::gt },
   };
   bool andPrevious = false;
   do {
      skip();
      const std::size_t at = text_.offset();
      if ( text_.takeWord( "true" ) || text_.takeWord( "false" ) ) {
         text_.failAt( at, "BIRD's 'true' is what RFC 8955 calls false: write '>= 0' or '< 0'" );
      }
      const auto* const op = std::ranges::find_if(
         operators, [&]( const Operator& row ) { return text_.take( row.text ); } );
      skip();
      const U32 value = static_cast< U32 >( text_.number( max ) );
      if ( op != std::end( operators ) ) {
         key.add( at, { andPrevious, op->test, value } );
      } else if ( take( ".." ) ) {
         key.add( at, { andPrevious, OpBits::gt | OpBits::eq, value } );
         key.add( at,
                  { true, OpBits::lt | OpBits::eq, static_cast< U32 >( text_.number( max ) ) } );
      } else {
         key.add( at, { andPrevious, OpBits::eq, value } );
      }
      andPrevious = take( "&&" );
   } while ( andPrevious || take( "||" ) || take( "," ) );
}

void Reader::readFlags( KeyBuilder& key, const BirdNames::ComponentName& name ) {
   bool andPrevious = false;
   do {
      skip();
      const std::size_t at = text_.offset();
      const bool inverted = take( "!" );
      const bool number = text_.next() >= '0' && text_.next() <= '9';
      if ( name.type == Flowspec::fragment && !number ) {
         key.add( at, fragmentFlag( andPrevious, inverted ) );
      } else {
         addMasked( key, andPrevious, inverted, name.max );
      }
      // Between flags a comma is an AND.
      andPrevious = take( "&&" ) || take( "," );
   } while ( andPrevious || take( "||" ) );
}

// One flag by its name. BIRD prints "any of" one flag as "!!is_fragment".
Term Reader::fragmentFlag( bool andPrevious, bool inverted ) {
   inverted = take( "!" ) ? !inverted : inverted;
   const std::size_t at = text_.offset();
   const std::string_view word = text_.takeWord();
   const auto* const flag = std::ranges::find( BirdNames::fragments, word );
   if ( flag == std::end( BirdNames::fragments ) ) {
      text_.offsetIs( at );
      text_.failExpecting( "a fragment flag" );
   }
   const auto bit = U32{ 1 } << ( flag - std::begin( BirdNames::fragments ) );
   return { andPrevious, inverted ? OpBits::invert : OpBits::match, bit };
}

// A value and its mask, which are a term for the flags that are to be set and one for the others.
void Reader::addMasked( KeyBuilder& key, bool andPrevious, bool inverted, U32 max ) {
   const std::size_t at = text_.offset();
   const auto value = static_cast< U32 >( text_.number( max ) );
   expect( "/" );
   const std::size_t maskAt = text_.offset();
   const auto mask = static_cast< U32 >( text_.number( max ) );
   if ( mask == 0 ) {
      text_.failAt( maskAt, "BIRD leaves out a test of no flag" );
   }
   if ( value & ~mask ) {
      text_.failAt( at, "the value has flags that its mask does not have" );
   }
   if ( inverted && value != 0 && value != mask ) {
      text_.failAt( at, "after '!' the value must be 0 or the mask" );
   }
   if ( value != 0 ) {
      const U8 test = inverted ? OpBits::match | OpBits::invert : OpBits::match;
      key.add( at, { andPrevious, test, value } );
   }
   if ( value != mask ) {
      const U8 test = inverted ? U8{ 0 } : OpBits::invert;
      key.add( at, { andPrevious || value != 0, test, mask & ~value } );
   }
}

void Reader::readBlock() {
   const std::size_t at = text_.offset();
   expect( "{" );
   while ( !take( "}" ) ) {
      readStatement();
   }
   takeCommunities( text_, at, communities_, {}, context_, rule_, remarks_ );
}

void Reader::readStatement() {
   const std::size_t at = text_.offset();
   const std::string_view attribute = text_.takeWord();
   if ( !attribute.starts_with( "bgp_" ) ) {
      text_.offsetIs( at );
      text_.failExpecting( "'bgp_ext_community.add('" );
   }
   if ( attribute != "bgp_ext_community" ) {
      text_.takeUntil( ";{}" );
      expect( ";" );
      // Once: a remark costs the time to count lines.
      if ( !std::exchange( passedOver_, true ) ) {
         remarks_.push_back( text_.faultAt(
            at, Vek::concat( attribute, " is passed over: it is not part of the action" ) ) );
      }
      return;
   }
   expect( "." );
   expect( "add" );
   expect( "(" );
   communities_.extended.push_back( community() );
   expect( ")" );
   expect( ";" );
}

ExtendedCommunity Reader::community() {
   constexpr U32 max = std::numeric_limits< U32 >::max();
   expect( "(" );
   ExtendedCommunity octets{};
   if ( text_.takeWord( "generic" ) ) {
      expect( "," );
      Osk::storeBig32( octets.data(), static_cast< U32 >( text_.number( max ) ) );
      expect( "," );
      Osk::storeBig32( octets.data() + 4, static_cast< U32 >( text_.number( max ) ) );
   } else if ( text_.takeWord( "rt" ) ) {
      octets = composed( Wire::CommunityType::routeTargetAs2 );
   } else if ( text_.takeWord( "ro" ) ) {
      octets = composed( routeOrigin );
   } else if ( text_.takeWord( "unknown" ) ) {
      skip();
      octets = composed( static_cast< U16 >( text_.number( std::numeric_limits< U16 >::max() ) ) );
   } else {
      text_.failExpecting( "'generic', 'rt', 'ro' or 'unknown'" );
   }
   expect( ")" );
   return octets;
}

// The type, an AS number or an address, and a number. What is there makes the type one of two
// octets and four, of an address and two, or of four and two, where it does not say so itself.
ExtendedCommunity Reader::composed( U16 type ) {
   constexpr U16 layouts = 0x0300;
   constexpr U16 ofAddress = 0x0100;
   constexpr U16 ofAs4 = 0x0200;
   expect( "," );
   const std::size_t at = text_.offset();
   const std::string_view administrator = text_.takeAllOf( "0123456789." );
   text_.offsetIs( at );
   U16 layout = type & layouts;
   U32 high = 0;
   if ( administrator.find( '.' ) != std::string_view::npos ) {
      const auto address = Zorv::IpGenAddr::fromText( administrator );
      if ( !address ) {
         text_.failExpecting( "an AS number or an IPv4 address" );
      }
      text_.offsetIs( at + administrator.size() );
      high = address->ipv4Value();
      layout = layout == 0 ? ofAddress : layout;
   } else {
      high = static_cast< U32 >(
         text_.number( std::numeric_limits< U32 >::max(), "an AS number or an IPv4 address" ) );
      layout = layout == 0 && high > 0xFFFF ? ofAs4 : layout;
   }
   expect( "," );
   const bool four = layout == ofAddress || layout == ofAs4;
   if ( !four && high > 0xFFFF ) {
      text_.failAt( at, "the type has two octets for what is not a number up to 65535" );
   }
   const auto low =
      static_cast< U32 >( text_.number( four ? 0xFFFF : std::numeric_limits< U32 >::max() ) );
   ExtendedCommunity octets{};
   Osk::storeBig16( octets.data(), type | layout );
   if ( four ) {
      Osk::storeBig32( octets.data() + 2, high );
      Osk::storeBig16( octets.data() + 6, static_cast< U16 >( low ) );
   } else {
      Osk::storeBig16( octets.data() + 2, static_cast< U16 >( high ) );
      Osk::storeBig32( octets.data() + 4, low );
   }
   return octets;
}

} // namespace

void readBird( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks ) {
   Reader( text, context, rule, remarks ).read();
}

} // namespace Forms
