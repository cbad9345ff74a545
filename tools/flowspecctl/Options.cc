#include "tools/flowspecctl/Options.h"

#include "Vek/mount/Endpoint.h"

#include <limits>

namespace Flowspec::Tools {

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

void addSocket( CLI::App& command, Vek::String& endpoint ) {
   command
      .add_option( "--socket", endpoint,
                   "Where the state database listens, a path or 127.0.0.1:PORT" )
      ->type_name( "ENDPOINT" )
      ->capture_default_str()
      ->check( Vek::log::Endpoint::fault );
}

void addFiles( CLI::App& command, std::vector< Vek::String >& files ) {
   command.add_option( "FILE", files, "Files to read; standard input when there is none, or -" )
      ->type_name( "" );
   command.footer(
      "Exit status: 0 when all lines were good, 1 when one was not, 2 for wrong usage." );
}

} // namespace Flowspec::Tools
