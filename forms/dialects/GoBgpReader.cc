#include "forms/dialects/Communities.h"
#include "forms/dialects/CommunityParts.h"
#include "forms/dialects/GoBgp.h"
#include "forms/dialects/GoBgpNames.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace Forms {

namespace {

using namespace Flowspec;
using namespace GoBgp;
using Wire::CommunityType;
using Zorv::AddressFamily;

constexpr U64 max16 = std::numeric_limits< U16 >::max();
constexpr U64 max32 = std::numeric_limits< U32 >::max();

// The longer of two that begin alike first.
constexpr Operator numericOperators[] = {
   { "==", OpBits::eq },
   { "!=", OpBits::lt | OpBits::gt },
   { "=!", OpBits::lt | OpBits::gt },
   { "<=", OpBits::lt | OpBits::eq },
   { ">=", OpBits::gt | OpBits::eq },
   { "=", OpBits::eq },
   { "!", OpBits::lt | OpBits::gt },
   { "<", OpBits::lt },
   { ">", OpBits::gt },
};
constexpr Operator flagOperators[] = {
   { "==", OpBits::match },
   { "!=", OpBits::match | OpBits::invert },
   { "=!", OpBits::match | OpBits::invert },
   { "=", OpBits::match },
   { "!", OpBits::invert },
};

class Reader {
public:
   Reader( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks )
      : text_( text ), context_( context ), rule_( rule ), remarks_( remarks ) {}

   void read() {
      const std::size_t begin = text_.offset();
      actionAt_ = begin;
      readSections();
      const AddressFamily family = familyOfText();
      if ( family == AddressFamily::none ) {
         text_.failAt( begin, "nothing tells the family: expected '-a ipv4-flowspec' or another" );
      }
      if ( familyName_ && familyName_->vpn != rule_.rd.has_value() ) {
         text_.failAt( familyAt_, std::string_view( rule_.rd ? "the family has no 'rd'"
                                                             : "the family wants 'rd'" ) );
      }
      match_.fill( text_, family, begin, rule_ );
      takeCommunities( text_, actionAt_, communities_, {}, context_, rule_, remarks_ );
   }

private:
   enum class Section : U8 { command, match, then };

   // GoBGP joins its arguments and drops what is no part of a value between them.
   void skip() { text_.takeAllOf( " \t\r\n'\"," ); }
   std::string_view peekWord() const {
      Cursor ahead = text_;
      return ahead.takeWord();
   }

   AddressFamily familyOfText() const {
      return familyName_                              ? familyName_->family
             : match_.family() != AddressFamily::none ? match_.family()
                                                      : context_.family;
   }

   void readSections();
   void readOption();
   void readDistinguisher();

   bool takeComponent( std::size_t at, std::string_view word );
   Zorv::IpGenPrefix prefix();
   void offset( std::size_t at, std::string_view text );
   bool atTerm();
   void readTerms( const ComponentName& name );
   U32 flags( const ComponentName& name );
   U32 number( const ComponentName& name );

   bool takeAction( std::size_t at, std::string_view word );
   void rateLimit( float rate );
   Wire::RouteTarget routeTarget();

   void add( const Wire::ExtendedCommunity& community ) {
      communities_.extended.push_back( community );
   }

   Cursor& text_;
   const Context& context_;
   Rule& rule_;
   std::vector< Fault >& remarks_;
   MatchParts match_;
   Wire::EncodedAction communities_;
   const FamilyName* familyName_ = nullptr;
   std::size_t familyAt_ = 0;
   std::size_t actionAt_ = 0;
   U32 seen_ = 0;            // component types, as bits
   bool passedOver_ = false; // other attributes
};

bool isSection( std::string_view word ) {
   return word == "match" || word == "then" || word == "rd" || word == "-a";
}

void Reader::readSections() {
   constexpr std::string_view commandWords[] = { "gobgp", "global", "rib", "add" };
   Section section = Section::command;
   for ( skip(); !text_.atEnd(); skip() ) {
      const std::size_t at = text_.offset();
      const std::string_view word = text_.takeWord();
      skip();
      if ( word == "match" ) {
         section = Section::match;
      } else if ( word == "then" ) {
         section = Section::then;
         actionAt_ = at;
      } else if ( word == "rd" ) {
         readDistinguisher();
      } else if ( word == "-a" ) {
         readOption();
      } else if ( section == Section::match ? !takeComponent( at, word )
                  : section == Section::then
                     ? !takeAction( at, word )
                     : std::ranges::find( commandWords, word ) == std::end( commandWords ) ) {
         text_.failExpectingAt( at, section == Section::match  ? "a component or 'then'"
                                    : section == Section::then ? "an action"
                                                               : "'match'" );
      }
   }
}

void Reader::readOption() {
   familyAt_ = text_.offset();
   const std::string_view word = text_.takeWord();
   const auto* const row = std::ranges::find( families, word, &FamilyName::name );
   if ( row == std::end( families ) ) {
      text_.failExpectingAt( familyAt_,
                             "a family of flow specifications, such as 'ipv4-flowspec'" );
   }
   familyName_ = row;
}

// As a route target; GoBGP takes AS numbers above 65535 without a dot for 65535.
void Reader::readDistinguisher() {
   const std::size_t at = text_.offset();
   const auto target = routeTargetOf( text_.takeAllOf( "0123456789.:" ) );
   if ( !target ) {
      text_.failExpectingAt( at, "a route distinguisher, such as '65000:1' or '1.0:1'" );
   }
   const U64 value = Osk::loadBig64( target->value.data() ) >> 16;
   rule_.rd = Zorv::RouteDistinguisher( U64{ static_cast< U8 >( target->kind ) } << 48 | value );
}

bool Reader::takeComponent( std::size_t at, std::string_view word ) {
   const auto once = [&]( MatchCompType type ) {
      const U32 bit = U32{ 1 } << static_cast< U8 >( type );
      if ( seen_ & bit ) {
         text_.failAt( at, "the component occurs twice: GoBGP drops the first" );
      }
      seen_ |= bit;
   };
   if ( word == "destination" || word == "source" ) {
      const MatchCompType type = word == "source" ? srcPrefix : destPrefix;
      once( type );
      match_.prefixIs( at, type, prefix() );
      return true;
   }
   const auto* const name = std::ranges::find( components, word, &ComponentName::name );
   if ( name == std::end( components ) ) {
      return false;
   }
   once( name->type );
   readTerms( *name );
   return true;
}

// An address, with or without a length, in IPv6 with an offset after another "/" or a blank.
Zorv::IpGenPrefix Reader::prefix() {
   const std::size_t at = text_.offset();
   const std::string_view word = text_.takeAllOf( "0123456789abcdefABCDEF.:/" );
   const std::size_t slash = word.find( '/' );
   const std::size_t second = slash == std::string_view::npos ? slash : word.find( '/', slash + 1 );
   const std::string_view whole = word.substr( 0, second );
   auto found = Zorv::IpGenPrefix::fromText( whole );
   if ( const auto host = Zorv::IpGenAddr::fromText( whole ) ) {
      found = Zorv::IpGenPrefix( *host, Zorv::IpGenAddr::bits( host->family() ) );
   }
   const bool ipv6 = found && found->family() == AddressFamily::ipv6;
   if ( !found || isWordCharacter( text_.next() ) ||
        ( second != std::string_view::npos && !ipv6 ) ) {
      text_.failExpectingAt( at, "a prefix" );
   }
   if ( second != std::string_view::npos ) {
      offset( at + second + 1, word.substr( second + 1 ) );
   } else if ( ipv6 ) {
      skip();
      const std::size_t offsetAt = text_.offset();
      if ( const auto digits = text_.takeAllOf( "0123456789" ); !digits.empty() ) {
         offset( offsetAt, digits );
      }
   }
   return *found;
}

void Reader::offset( std::size_t at, std::string_view text ) {
   if ( text != "0" ) {
      text_.failAt( at, "a rule key holds no offset of a prefix but 0" );
   }
}

// Whether the component goes on.
bool Reader::atTerm() {
   constexpr std::string_view operatorCharacters = "&=!<>";
   skip();
   if ( text_.atEnd() ) {
      return false;
   }
   if ( operatorCharacters.find( text_.next() ) != std::string_view::npos ) {
      return true;
   }
   const std::string_view word = peekWord();
   return !isSection( word ) && word != "destination" && word != "source" &&
          std::ranges::find( components, word, &ComponentName::name ) == std::end( components );
}

void Reader::readTerms( const ComponentName& name ) {
   const bool bitmask = isBitmask( name.type );
   do {
      skip();
      const std::size_t at = text_.offset();
      const bool andPrevious = text_.take( '&' );
      skip();
      const bool bare = text_.offset() == at;
      if ( const bool isTrue = peekWord() == "true";
           bare && !bitmask && ( isTrue || peekWord() == "false" ) ) {
         text_.takeWord();
         constexpr U8 always = OpBits::lt | OpBits::gt | OpBits::eq;
         match_.add( at, name.type, { false, isTrue ? U8{ 0 } : always, 0 } );
         if ( atTerm() ) {
            text_.fail( "nothing can follow 'true' or 'false' in a component" );
         }
         return;
      }
      const U8 test = bitmask ? takeOperator( text_, flagOperators, 0 )
                              : takeOperator( text_, numericOperators, OpBits::eq );
      skip();
      match_.add( at, name.type, { andPrevious, test, bitmask ? flags( name ) : number( name ) } );
   } while ( atTerm() );
}

// Letters of TCP flags, or names of a fragment's with "+" between them.
U32 Reader::flags( const ComponentName& name ) {
   const std::size_t at = text_.offset();
   U32 value = 0;
   if ( name.type == tcpFlags ) {
      const std::string_view letters = text_.takeWord();
      for ( const char letter : letters ) {
         const std::size_t bit = tcpLetters.find( letter );
         if ( bit == std::string_view::npos ) {
            text_.failExpectingAt( at, "TCP flags out of 'FSRPAUEC'" );
         }
         value |= U32{ 1 } << bit;
      }
      if ( letters.empty() ) {
         text_.failExpecting( "TCP flags out of 'FSRPAUEC'" );
      }
      return value;
   }
   text_.take( '+' );
   do {
      const std::size_t nameAt = text_.offset();
      const std::string_view word = text_.takeWord();
      const auto* const row = std::ranges::find( fragments, word, &NumberName::name );
      if ( row == std::end( fragments ) ) {
         text_.failExpectingAt( nameAt, "a fragment flag" );
      }
      value |= row->value;
   } while ( text_.take( '+' ) );
   return value;
}

U32 Reader::number( const ComponentName& name ) {
   const std::size_t at = text_.offset();
   const std::string_view what = name.type == ipProto ? "a protocol's number or name" : "a number";
   const std::string_view word = text_.takeWord();
   if ( name.type == ipProto ) {
      if ( const auto* const row = std::ranges::find( protocols, word, &NumberName::name );
           row != std::end( protocols ) ) {
         return row->value;
      }
   }
   text_.offsetIs( at );
   const bool digits =
      !word.empty() && word.find_first_not_of( "0123456789" ) == std::string_view::npos;
   if ( !digits ) {
      text_.failExpecting( what );
   }
   return static_cast< U32 >( text_.number( name.max, what ) );
}

bool Reader::takeAction( std::size_t at, std::string_view word ) {
   constexpr std::string_view otherAttributes[] = { "community",  "large-community", "med",
                                                    "local-pref", "nexthop",         "origin" };
   const std::size_t valueAt = text_.offset();
   if ( word == "accept" ) {
   } else if ( word == "discard" ) {
      rateLimit( 0 );
   } else if ( word == "rate-limit" ) {
      float rate = 0;
      const std::string_view digits = text_.takeAllOf( "0123456789." );
      const char* const end = digits.data() + digits.size();
      const auto [last, error] = std::from_chars( digits.data(), end, rate );
      if ( error != std::errc() || last != end ) {
         text_.failExpectingAt( valueAt, "a rate" );
      }
      rateLimit( rate );
   } else if ( word == "redirect" ) {
      addTarget( routeTarget(), redirectTypes, communities_ );
   } else if ( word == "redirect-to-ip" ) {
      const Zorv::IpGenAddr target = text_.address();
      skip();
      const bool copy = text_.takeWord( "copy" );
      if ( target.family() == AddressFamily::ipv4 ) {
         add( CommunityParts::as4( CommunityType::redirectIp, target.ipv4Value(), copy ) );
      } else {
         communities_.ipv6.push_back(
            CommunityParts::ipv6( Wire::Ipv6CommunityType::redirectIp, target, copy ) );
      }
   } else if ( word == "mark" ) {
      add( CommunityParts::as2( CommunityType::marking, 0,
                                static_cast< U32 >( text_.number( 63 ) ) ) );
   } else if ( word == "action" ) {
      const std::string_view what = text_.takeWord();
      const bool both = what == "sample-terminal" || what == "terminal-sample";
      if ( !both && what != "sample" && what != "terminal" ) {
         text_.failExpectingAt( valueAt, "'sample', 'terminal' or 'sample-terminal'" );
      }
      // What GoBGP calls terminal is the bit that lets the next rule be tried.
      const U32 bits = ( what == "terminal" ? 0U : 2U ) | ( what == "sample" ? 0U : 1U );
      add( CommunityParts::as2( CommunityType::trafficAction, 0, bits ) );
   } else if ( word == "color" ) {
      add( CommunityParts::as2( CommunityType::color, 0,
                                static_cast< U32 >( text_.number( max32 ) ) ) );
   } else if ( word == "rt" ) {
      do {
         addTarget( routeTarget(), routeTargetTypes, communities_ );
         skip();
      } while ( text_.next() >= '0' && text_.next() <= '9' );
   } else if ( std::ranges::find( otherAttributes, word ) != std::end( otherAttributes ) ) {
      if ( text_.takeUntil( " \t\r\n'\"" ).empty() ) {
         text_.failExpecting( "a value" );
      }
      // Once: a remark costs the time to count lines.
      if ( !std::exchange( passedOver_, true ) ) {
         remarks_.push_back( text_.faultAt(
            at, Vek::concat( word, " is passed over: it is not part of the action" ) ) );
      }
   } else {
      return false;
   }
   return true;
}

// Takes the AS number that may follow.
void Reader::rateLimit( float rate ) {
   skip();
   U16 as = 0;
   if ( text_.takeWord( "as" ) ) {
      skip();
      as = static_cast< U16 >( text_.number( max16, "an AS number" ) );
   }
   add( CommunityParts::rate( CommunityType::rateBytes, as, rate ) );
}

Wire::RouteTarget Reader::routeTarget() {
   const std::size_t at = text_.offset();
   const auto target = routeTargetOf( text_.takeAllOf( "0123456789abcdefABCDEF.:" ) );
   if ( !target ) {
      text_.failExpectingAt(
         at, "a route target, such as '65000:1' or '1.0:1' for the AS number 65536" );
   }
   return *target;
}

} // namespace

void readGoBgp( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks ) {
   Reader( text, context, rule, remarks ).read();
}

} // namespace Forms
