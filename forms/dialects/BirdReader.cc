#include "forms/dialects/Bird.h"
#include "forms/dialects/BirdAttributes.h"
#include "forms/dialects/BirdNames.h"
#include "forms/dialects/Communities.h"
#include "forms/dialects/Terms.h"

#include <algorithm>

namespace Forms {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;

class Reader {
public:
   Reader( const Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks )
      : text_( text ), context_( context ), rule_( rule ), remarks_( remarks ) {}

   // Where the rule ends.
   std::size_t read() {
      text_.skip();
      if ( text_.takeWord( "route" ) ) {
         text_.skip();
      }
      const std::size_t at = text_.offset();
      if ( text_.takeWord( "flow4" ) ) {
         readMatch( at, AddressFamily::ipv4 );
      } else if ( text_.takeWord( "flow6" ) ) {
         readMatch( at, AddressFamily::ipv6 );
      } else {
         text_.failExpecting( "'flow4' or 'flow6'" );
      }
      text_.skip();
      const std::size_t attributesAt = text_.offset();
      const char next = text_.next();
      if ( next == '{' || next == '[' ) {
         BirdAttributes attributes( text_, remarks_ );
         const auto communities = next == '{' ? attributes.readBlock() : attributes.readPrinted();
         takeCommunities( text_, attributesAt, communities, {}, context_, rule_, remarks_ );
      }
      text_.skip();
      text_.take( ';' );
      text_.skip();
      return text_.offset();
   }

private:
   void readMatch( std::size_t begin, AddressFamily family );
   void readComponent( KeyBuilder& key );
   const BirdNames::ComponentName& componentName();
   void readNumbers( KeyBuilder& key, U32 max );
   void readFlags( KeyBuilder& key, const BirdNames::ComponentName& name );
   Term fragmentFlag( bool andPrevious, bool inverted );
   void addMasked( KeyBuilder& key, bool andPrevious, bool inverted, U32 max );

   BirdText text_;
   const Context& context_;
   Rule& rule_;
   std::vector< Fault >& remarks_;
};

void Reader::readMatch( std::size_t begin, AddressFamily family ) {
   KeyBuilder key( text_, family, rule_ );
   text_.expectToken( "{" );
   const std::size_t cut = text_.rest().find( "...}" );
   if ( cut < text_.rest().find( '}' ) ) {
      text_.failAt( text_.offset() + cut, "BIRD cut the text when it printed it" );
   }
   while ( !text_.takeToken( "}" ) ) {
      readComponent( key );
      text_.expectToken( ";" );
   }
   key.finish( begin );
}

void Reader::readComponent( KeyBuilder& key ) {
   const std::size_t at = text_.offset();
   const bool destination = text_.takeWord( "dst" );
   if ( destination || text_.takeWord( "src" ) ) {
      text_.skip();
      const std::size_t prefixAt = text_.offset();
      const Zorv::IpGenPrefix prefix = text_.prefix();
      key.prefixIs( prefixAt, destination ? destPrefix : srcPrefix, prefix );
      text_.skip();
      const std::size_t offsetAt = text_.offset();
      if ( text_.takeWord( "offset" ) ) {
         text_.skip();
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
   text_.skip();
   for ( const BirdNames::ComponentName& name : BirdNames::components ) {
      if ( first == name.first && ( name.second.empty() || text_.takeWord( name.second ) ) ) {
         text_.skip();
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
      text_.skip();
      const std::size_t at = text_.offset();
      if ( text_.takeWord( "true" ) || text_.takeWord( "false" ) ) {
         text_.failAt( at, "BIRD's 'true' is what RFC 8955 calls false: write '>= 0' or '< 0'" );
      }
      const auto* const op = std::ranges::find_if(
         operators, [&]( const Operator& row ) { return text_.take( row.text ); } );
      text_.skip();
      const U32 value = static_cast< U32 >( text_.number( max ) );
      if ( op != std::end( operators ) ) {
         key.add( at, { andPrevious, op->test, value } );
      } else if ( text_.takeToken( ".." ) ) {
         key.add( at, { andPrevious, OpBits::gt | OpBits::eq, value } );
         key.add( at,
                  { true, OpBits::lt | OpBits::eq, static_cast< U32 >( text_.number( max ) ) } );
      } else {
         key.add( at, { andPrevious, OpBits::eq, value } );
      }
      andPrevious = text_.takeToken( "&&" );
   } while ( andPrevious || text_.takeToken( "||" ) || text_.takeToken( "," ) );
}

void Reader::readFlags( KeyBuilder& key, const BirdNames::ComponentName& name ) {
   bool andPrevious = false;
   do {
      text_.skip();
      const std::size_t at = text_.offset();
      const bool inverted = text_.takeToken( "!" );
      const bool number = text_.next() >= '0' && text_.next() <= '9';
      if ( name.type == Flowspec::fragment && !number ) {
         key.add( at, fragmentFlag( andPrevious, inverted ) );
      } else {
         addMasked( key, andPrevious, inverted, name.max );
      }
      // Between flags a comma is an AND.
      andPrevious = text_.takeToken( "&&" ) || text_.takeToken( "," );
   } while ( andPrevious || text_.takeToken( "||" ) );
}

// One flag by its name. BIRD prints "any of" one flag as "!!is_fragment".
Term Reader::fragmentFlag( bool andPrevious, bool inverted ) {
   inverted = text_.takeToken( "!" ) ? !inverted : inverted;
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
   text_.expectToken( "/" );
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

} // namespace

void readBird( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks ) {
   text.offsetIs( Reader( text, context, rule, remarks ).read() );
}

} // namespace Forms
