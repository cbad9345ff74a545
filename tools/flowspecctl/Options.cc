#include "tools/flowspecctl/Options.h"

#include "Vek/mount/Endpoint.h"

#include "wire/Canonical.h"
#include "wire/Precedence.h"

#include <algorithm>
#include <limits>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

constexpr const char* vrfHelp = "VRF for rules whose form has none";
constexpr const char* familyHelp = "for rules whose form has none";

std::optional< Form > readableForm( std::string_view name ) {
   const auto form = formOf( name );
   return form && info( *form ).readable ? form : std::nullopt;
}

} // namespace

void RuleDefaults::reset( Rule& rule ) const {
   clear( rule.key );
   rule.rd = rd;
   if ( vrfId ) {
      rule.key.vrfIdIs( *vrfId );
   }
   if ( family ) {
      rule.key.addressFamilyIs( *family );
   }
}

Vek::String formNames( bool readableOnly ) {
   Vek::String names;
   for ( const FormInfo& form : forms() ) {
      if ( form.readable || !readableOnly ) {
         names += Vek::concat( std::string_view( names.empty() ? "" : ", " ), form.name );
      }
   }
   return names;
}

void addFrom( CLI::App& command, Form& from ) {
   addOption( command, "--from", "FORM", "Form of the input, cli when not given", readableForm,
              "one of " + formNames( true ), [&]( Form form ) { from = form; } );
}

CLI::Option* addRd( CLI::App& command, RuleDefaults& defaults ) {
   return addOption( command, "--rd", "RD", "Distinguisher for rules that have none",
                     Zorv::RouteDistinguisher::fromText, "a route distinguisher",
                     [&]( Zorv::RouteDistinguisher rd ) { defaults.rd = rd; } );
}

void addVrf( CLI::App& command, RuleDefaults& defaults ) {
   addVrf( command, vrfHelp, defaults.vrfId );
}

void addFamily( CLI::App& command, RuleDefaults& defaults ) {
   addFamily( command, familyHelp, defaults.family );
}

void addVrf( CLI::App& command, const Vek::String& help,
             std::optional< Vrf::VrfIdMap::VrfId >& vrfId ) {
   addOption(
      command, "--vrf", "NUMBER", help,
      []( std::string_view text ) {
         return Vek::decimal( text, std::numeric_limits< U32 >::max() );
      },
      "a whole number from 0 to 4294967295",
      [&]( U64 number ) { vrfId = static_cast< U32 >( number ); } );
}

void addFamily( CLI::App& command, const Vek::String& help,
                std::optional< Zorv::AddressFamily >& family ) {
   addOption( command, "--family", "FAMILY", "Address family, ipv4 or ipv6, " + help,
              Zorv::addressFamily, "an address family",
              [&]( Zorv::AddressFamily value ) { family = value; } );
}

bool isBefore( Order order, const FlowspecKey& a, const FlowspecKey& b ) {
   return order == Order::rfc   ? Wire::precedes( a, b )
          : order == Order::key ? FlowspecKeyOrder()( a, b )
                                : false;
}

Reason makeCanonical( FlowspecKey& key ) {
   if ( key.addressFamily() == Zorv::AddressFamily::none ) {
      return "a rule without an address family has no canonical form";
   }
   const Wire::CanonicalRule rule( key );
   if ( rule.nothing() == invalid ) {
      return "the key is not a rule: it has no canonical form";
   }
   if ( rule.nothing() ) {
      return Vek::concat( "no packet matches the rule: its ", stringValue( *rule.nothing() ),
                          " admits no value" );
   }
   if ( rule.toKey( key ) ) {
      return "the canonical form of the rule has more than 2047 words";
   }
   return std::nullopt;
}

Vek::String difference( const FlowspecKey& a, const FlowspecKey& b ) {
   if ( Wire::equivalent( a, b ) ) {
      return "";
   }
   const Wire::CanonicalRule first( a );
   const Wire::CanonicalRule second( b );
   if ( first.nothing() || second.nothing() ) {
      return stringValue( first.nothing() ? *first.nothing() : *second.nothing() );
   }
   if ( first.family() != second.family() ) {
      return "addressFamily";
   }
   if ( first.destPrefix() != second.destPrefix() ) {
      return stringValue( destPrefix );
   }
   if ( first.srcPrefix() != second.srcPrefix() ) {
      return stringValue( srcPrefix );
   }
   const auto [at, other] = std::ranges::mismatch( first.components(), second.components() );
   const auto typeOf = []( auto found, const auto& components ) {
      return found == components.end() ? MatchCompType{ numComponentTypes } : found->type;
   };
   return stringValue(
      std::min( typeOf( at, first.components() ), typeOf( other, second.components() ) ) );
}

void addSort( CLI::App& command, Sort& sort ) {
   command
      .add_option_function< std::vector< Vek::String > >(
         "--sort",
         [&]( const std::vector< Vek::String >& texts ) {
            sort.order = texts.front() == "rfc" ? Order::rfc : Order::key;
            if ( !texts.front().empty() && texts.front() != "rfc" ) {
               sort.file = texts.front();
            }
         },
         "Write the rules in the order of their keys; with rfc in that in which routers try them" )
      ->expected( 0, 1 )
      ->allow_extra_args( false )
      ->type_name( "[rfc]" );
}

void addCanonical( CLI::App& command, bool& canonical ) {
   command.add_flag( "--canonical", canonical,
                     "Write rules as the canonical ones that admit the same packets" );
}

void addEquivalent( CLI::App& command, std::vector< Vek::String >& rules ) {
   command
      .add_option( "--equivalent", rules,
                   "Tell whether two rules admit the same packets, or where they differ" )
      ->expected( 2 )
      ->allow_extra_args( false )
      ->type_name( "RULE RULE" );
}

void addSocket( CLI::App& command, Vek::String& endpoint ) {
   command
      .add_option( "--socket", endpoint,
                   "Where the state database listens, a path or 127.0.0.1:PORT" )
      ->type_name( "ENDPOINT" )
      ->capture_default_str()
      ->check( Vek::log::Endpoint::fault );
}

void addStrict( CLI::App& command, bool& strict ) {
   command.add_flag( "--strict", strict,
                     "Refuse what is read as something else than it looks like, not only warn" );
}

void addFiles( CLI::App& command, std::vector< Vek::String >& files ) {
   command.add_option( "FILE", files, "Files to read; standard input when there is none, or -" )
      ->type_name( "" );
   command.footer(
      "Exit status: 0 when all lines were good, 1 when one was not, 2 for wrong usage." );
}

} // namespace Tools
