#include "tools/flowspecctl/Options.h"

#include "Vek/log/Endpoint.h"

#include <limits>

namespace Flowspec::Tools {

namespace {

std::optional< Form > readableForm( std::string_view name ) {
   const auto form = formOf( name );
   return form && info( *form ).readable ? form : std::nullopt;
}

} // namespace

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

} // namespace Flowspec::Tools
