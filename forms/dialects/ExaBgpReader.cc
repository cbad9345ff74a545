#include "forms/dialects/Communities.h"
#include "forms/dialects/CommunityParts.h"
#include "forms/dialects/ExaBgp.h"
#include "forms/dialects/ExaBgpTerms.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace Forms {

namespace {

using namespace ExaBgp;
using Wire::CommunityType;
using Wire::ExtendedCommunity;
using Zorv::AddressFamily;

constexpr U64 max16 = std::numeric_limits< U16 >::max();
constexpr U64 max32 = std::numeric_limits< U32 >::max();
constexpr U64 maxRate = 1'000'000'000'000;

class Reader {
public:
   Reader( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks )
      : text_( text ), context_( context ), rule_( rule ), remarks_( remarks ) {}

   void read() {
      const std::size_t begin = text_.offset();
      actionAt_ = begin;
      readHead();
      if ( family_ == AddressFamily::none && text_.take( '{' ) ) {
         readBlock( &Reader::readPart );
      } else {
         readLine();
      }
      skip();
      text_.take( ';' );
      skip();
      if ( family_ != AddressFamily::none ) {
         text_.expect( "}" );
         skip();
         text_.expect( "}" );
      } else {
         family_ = match_.family() == AddressFamily::none ? AddressFamily::ipv4 : match_.family();
      }
      match_.fill( text_, family_, begin, rule_ );
      takeCommunities( text_, actionAt_, communities_, nextHop_, context_, rule_, remarks_ );
   }

private:
   // Blanks and comments.
   void skip() {
      text_.skipBlanks();
      while ( text_.take( '#' ) ) {
         text_.takeUntil( "\n" );
         text_.skipBlanks();
      }
   }

   void readHead() {
      skip();
      if ( const std::size_t at = text_.offset(); text_.takeWord( "withdraw" ) ) {
         text_.failAt( at, "a withdrawal is not a rule" );
      }
      const bool announced = text_.takeWord( "announce" );
      skip();
      if ( announced && text_.take( '{' ) ) {
         readFamily();
         return;
      }
      text_.takeWord( "flow" );
      skip();
      if ( !text_.takeWord( "route" ) ) {
         text_.failExpecting( "'route'" );
      }
      skip();
      const std::size_t at = text_.offset();
      text_.takeUntil( " \t\r\n{;" );
      skip();
      if ( text_.next() != '{' ) {
         text_.offsetIs( at ); // not a name
      }
   }

   // "announce { ipv6 { flow": the only place that tells the family.
   void readFamily() {
      skip();
      if ( text_.takeWord( "ipv6" ) ) {
         family_ = AddressFamily::ipv6;
      } else if ( text_.takeWord( "ipv4" ) ) {
         family_ = AddressFamily::ipv4;
      } else {
         text_.failExpecting( "'ipv4' or 'ipv6'" );
      }
      skip();
      text_.expect( "{" );
      skip();
      if ( !text_.takeWord( "flow" ) ) {
         text_.failExpecting( "'flow'" );
      }
   }

   // Statements up to "}"; each begins with a word that `readStatement` is given.
   void readBlock( void ( Reader::*readStatement )( std::size_t at, std::string_view word ) ) {
      for ( skip(); !text_.take( '}' ); skip() ) {
         const std::size_t at = text_.offset();
         const std::string_view statement = text_.takeWord();
         skip();
         ( this->*readStatement )( at, statement );
      }
   }
   void endStatement() {
      skip();
      text_.expect( ";" );
   }
   // "route destination 10.0.0.0/8 discard": the statements without braces and semicolons.
   void readLine() {
      for ( skip(); !text_.atEnd() && text_.next() != ';' && text_.next() != '}'; skip() ) {
         const std::size_t at = text_.offset();
         const std::string_view statement = text_.takeWord();
         skip();
         if ( !takeComponent( text_, at, statement, Style::written, match_ ) &&
              !takeAction( at, statement ) && !takeScope( statement ) ) {
            text_.failExpectingAt( at, "a component or an action" );
         }
      }
   }

   void readPart( std::size_t at, std::string_view part ) {
      if ( part == "match" || part == "then" || part == "scope" ) {
         text_.expect( "{" );
         if ( part == "then" ) {
            actionAt_ = at;
         }
         readBlock( part == "match"  ? &Reader::readComponent
                    : part == "then" ? &Reader::readAction
                                     : &Reader::readScope );
         return;
      }
      if ( part == "rd" || part == "route-distinguisher" ) {
         const std::size_t valueAt = text_.offset();
         const std::string_view value = text_.takeAllOf( "0123456789.:" );
         const auto rd = Zorv::RouteDistinguisher::fromText( value );
         if ( !rd ) {
            text_.failExpectingAt( valueAt, "a route distinguisher" );
         }
         rule_.rd = *rd;
      } else if ( part == "next-hop" ) {
         nextHop_ = text_.address();
      } else {
         text_.failExpectingAt( at, "'rd', 'next-hop', 'match', 'scope' or 'then'" );
      }
      endStatement();
   }
   void readComponent( std::size_t at, std::string_view component ) {
      if ( !takeComponent( text_, at, component, Style::written, match_ ) ) {
         text_.failExpectingAt( at, "a component" );
      }
      endStatement();
   }
   void readAction( std::size_t at, std::string_view action ) {
      if ( !takeAction( at, action ) ) {
         text_.failExpectingAt( at, "an action" );
      }
      endStatement();
   }
   void readScope( std::size_t at, std::string_view scope ) {
      if ( !takeScope( scope ) ) {
         text_.failExpectingAt( at, "'interface-set'" );
      }
      endStatement();
   }

   bool takeAction( std::size_t at, std::string_view action );
   void redirect();
   void action();
   ExtendedCommunity extendedCommunity();
   ExtendedCommunity hexadecimal();
   bool takeScope( std::string_view scope );
   void interfaceSet();
   ExtendedCommunity ofAs( U16 type, U16 type4 );

   void add( const ExtendedCommunity& community ) { communities_.extended.push_back( community ); }

   // One value, or several in brackets.
   template < typename Read >
   void list( Read read ) {
      if ( !text_.take( '[' ) ) {
         read();
         return;
      }
      for ( skip(); !text_.take( ']' ); skip() ) {
         read();
      }
   }

   Cursor& text_;
   const Context& context_;
   Rule& rule_;
   std::vector< Fault >& remarks_;
   MatchParts match_;
   Wire::EncodedAction communities_;
   AddressFamily family_ = AddressFamily::none; // as the text says it before the match
   Zorv::IpGenAddr nextHop_;
   std::size_t actionAt_ = 0;
   bool passedOver_ = false; // communities that say nothing
};

bool Reader::takeAction( std::size_t at, std::string_view action ) {
   if ( action == "accept" ) {
   } else if ( action == "discard" ) {
      add( CommunityParts::rate( CommunityType::rateBytes, 0, 0 ) );
   } else if ( action == "rate-limit" ) {
      const auto rate = static_cast< float >( text_.number( maxRate ) );
      add( CommunityParts::rate( CommunityType::rateBytes, 0, rate ) );
   } else if ( action == "redirect" ) {
      redirect();
   } else if ( action == "redirect-to-nexthop" ) {
      add( CommunityParts::as2( CommunityType::redirectNextHop, 0, 0 ) );
   } else if ( action == "redirect-to-nexthop-ietf" ) {
      const Zorv::IpGenAddr target = text_.address();
      if ( target.family() == AddressFamily::ipv4 ) {
         add( CommunityParts::as4( CommunityType::redirectIp, target.ipv4Value(), 0 ) );
      } else {
         communities_.ipv6.push_back(
            CommunityParts::ipv6( Wire::Ipv6CommunityType::redirectIp, target, 0 ) );
      }
   } else if ( action == "copy" ) {
      nextHop_ = text_.address();
      add( CommunityParts::as2( CommunityType::redirectNextHop, 0, 1 ) );
   } else if ( action == "mark" ) {
      add( CommunityParts::as2( CommunityType::marking, 0,
                                static_cast< U32 >( text_.number( 63 ) ) ) );
   } else if ( action == "action" ) {
      this->action();
   } else if ( action == "extended-community" ) {
      list( [&] { add( extendedCommunity() ); } );
   } else if ( action == "community" || action == "large-community" ) {
      list( [&] {
         if ( text_.takeUntil( " \t\r\n;[]{}" ).empty() ) {
            text_.failExpecting( "a community" );
         }
      } );
      // Once: a remark costs the time to count lines.
      if ( !std::exchange( passedOver_, true ) ) {
         remarks_.push_back( text_.faultAt(
            at, Vek::concat( action, " is passed over: it is not part of the action" ) ) );
      }
   } else {
      return false;
   }
   return true;
}

// To a route target, or to an address by way of the next hop.
void Reader::redirect() {
   const std::size_t at = text_.offset();
   const std::string_view target = text_.takeAllOf( "0123456789." );
   const bool isTarget = text_.next() == ':';
   text_.offsetIs( at );
   if ( !isTarget ) {
      nextHop_ = text_.address();
      add( CommunityParts::as2( CommunityType::redirectNextHop, 0, 0 ) );
   } else if ( target.find( '.' ) != std::string_view::npos ) {
      text_.fail( "ExaBGP takes no address in a route target" );
   } else {
      add( ofAs( CommunityType::redirectAs2, CommunityType::redirectAs4 ) );
   }
}

void Reader::action() {
   const std::size_t at = text_.offset();
   const std::string_view what = text_.takeWord();
   const bool both = what == "sample-terminal" || what == "terminal-sample";
   if ( !both && what != "sample" && what != "terminal" ) {
      text_.failExpectingAt( at, "'sample', 'terminal' or 'sample-terminal'" );
   }
   // What ExaBGP calls terminal is the bit that lets the next rule be tried.
   const U32 bits = ( what == "terminal" ? 0U : 2U ) | ( what == "sample" ? 0U : 1U );
   add( CommunityParts::as2( CommunityType::trafficAction, 0, bits ) );
}

// An AS number, ":" and a number: of the type for what has two octets of AS number, or of the
// other.
ExtendedCommunity Reader::ofAs( U16 type, U16 type4 ) {
   const U64 as = text_.number( max32, "an AS number" );
   text_.take( 'L' );
   text_.expect( ":" );
   if ( as > max16 ) {
      return CommunityParts::as4( type4, static_cast< U32 >( as ),
                                  static_cast< U16 >( text_.number( max16 ) ) );
   }
   return CommunityParts::as2( type, static_cast< U16 >( as ),
                               static_cast< U32 >( text_.number( max32 ) ) );
}

ExtendedCommunity Reader::hexadecimal() {
   constexpr std::size_t digits = 16;
   const std::size_t at = text_.offset();
   text_.take( "0x" );
   const std::string_view word = text_.takeWord();
   U64 value = 0;
   const auto [end, error] = std::from_chars( word.data(), word.data() + word.size(), value, 16 );
   if ( word.size() != digits || error != std::errc() || end != word.data() + word.size() ) {
      text_.failExpectingAt( at, "16 hexadecimal digits after '0x'" );
   }
   ExtendedCommunity community;
   Osk::storeBig64( community.data(), value );
   return community;
}

ExtendedCommunity Reader::extendedCommunity() {
   struct Name {
      std::string_view name;
      U16 type;
      U16 type4;
   };
   constexpr U16 originAs2 = 0x0003;
   constexpr U16 originAs4 = 0x0203;
   constexpr Name names[] = {
      { "target:", CommunityType::routeTargetAs2, CommunityType::routeTargetAs4 },
      { "origin:", originAs2, originAs4 },
      { "redirect:", CommunityType::redirectAs2, CommunityType::redirectAs4 },
   };
   if ( text_.rest().starts_with( "0x" ) ) {
      return hexadecimal();
   }
   if ( text_.takeWord( "redirect-to-nexthop" ) ) {
      return CommunityParts::as2( CommunityType::redirectNextHop, 0, 0 );
   }
   for ( const Name& name : names ) {
      if ( text_.take( name.name ) ) {
         return ofAs( name.type, name.type4 );
      }
   }
   if ( text_.next() >= '0' && text_.next() <= '9' ) {
      return ofAs( CommunityType::routeTargetAs2, CommunityType::routeTargetAs4 );
   }
   text_.failExpecting( "an extended community: '0x' and digits, 'target:', 'origin:' or "
                        "'redirect:'" );
}

bool Reader::takeScope( std::string_view scope ) {
   if ( scope != "interface-set" ) {
      return false;
   }
   list( [&] { interfaceSet(); } );
   return true;
}

void Reader::interfaceSet() {
   constexpr std::array< std::string_view, 3 > directions = {
      "input:", "output:", "input-output:" };
   constexpr U64 maxGroup = 0x3FFF;
   const bool transitive = text_.take( "transitive:" );
   if ( !transitive && !text_.take( "non-transitive:" ) ) {
      text_.failExpecting( "'transitive:' or 'non-transitive:'" );
   }
   const auto direction = std::ranges::find_if(
      directions, [&]( std::string_view name ) { return text_.take( name ); } );
   if ( direction == directions.end() ) {
      text_.failExpecting( "'input:', 'output:' or 'input-output:'" );
   }
   const auto as = static_cast< U32 >( text_.number( max32, "an AS number" ) );
   text_.expect( ":" );
   const U64 group = text_.number( maxGroup );
   const auto bits = static_cast< U64 >( direction - directions.begin() + 1 ) << 14;
   add( CommunityParts::as4( transitive ? CommunityType::interfaceSet
                                        : CommunityType::interfaceSetLocal,
                             as, static_cast< U16 >( bits | group ) ) );
}

} // namespace

void readExaBgp( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks ) {
   Reader( text, context, rule, remarks ).read();
}

} // namespace Forms
