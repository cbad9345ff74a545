#include "Vek/text/Text.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/system/RootWriter.h"

#include <limits>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Zorv::AddressFamily;
using Zorv::IntfId;

struct ChangeOptions {
   SystemOptions system;
   std::vector< IntfId > intfs;
   std::optional< AddressFamily > family; // both when there is none
   std::optional< Vek::String > vrf;      // a VRF's name
   std::vector< U16 > interfaceSets;
};

// One of the changes, on an interface.
using Change = void( CliConfig& cli, IntfId intf, const ChangeOptions& options );

static_assert( Vek::listsRows< InterfaceEnableConfig, 4 > );

// Enables the family beside what is enabled, and names the VRF when there is one.
void enable( CliConfig& cli, IntfId intf, const ChangeOptions& options ) {
   const InterfaceEnableConfig before = cli.enabledIntf( intf );
   IpVersion families = before.ipVersion();
   families.ipv4Is( families.ipv4() || options.family != AddressFamily::ipv6 );
   families.ipv6Is( families.ipv6() || options.family != AddressFamily::ipv4 );
   cli.enabledIntfIs( { intf, families, options.vrf.value_or( before.sourceVrfOverride() ) } );
}

// The opposite; an interface without families has no entry.
void disable( CliConfig& cli, IntfId intf, const ChangeOptions& options ) {
   InterfaceEnableConfig config = cli.enabledIntf( intf );
   IpVersion families = config.ipVersion();
   families.ipv4Is( families.ipv4() && options.family == AddressFamily::ipv6 );
   families.ipv6Is( families.ipv6() && options.family == AddressFamily::ipv4 );
   if ( families ) {
      config.ipVersionIs( families );
      cli.enabledIntfIs( config );
   } else {
      cli.enabledIntfDel( intf );
   }
}

// The interface is in these sets only.
void interfaceSetsAre( CliConfig& cli, IntfId intf, const ChangeOptions& options ) {
   if ( options.interfaceSets.empty() ) {
      cli.intfInterfaceSetConfigDel( intf );
      return;
   }
   FlowspecIntfInterfaceSetConfig config( intf );
   for ( const U16 set : options.interfaceSets ) {
      config.interfaceSetIs( FlowspecIntfSetId( set ) );
   }
   cli.intfInterfaceSetConfigIs( config );
}

// The interface's traffic is matched in the VRF; in its own without one.
void vrfOverrideIs( CliConfig& cli, IntfId intf, const ChangeOptions& options ) {
   if ( options.vrf ) {
      cli.sourceVrfOverrideIs( intf, *options.vrf );
   } else {
      cli.sourceVrfOverrideDel( intf );
   }
}

// An interface as "intf3" or "3".
std::optional< IntfId > interface( const Vek::String& text ) {
   const auto number = Vek::decimal( text, std::numeric_limits< U64 >::max() );
   return number ? IntfId( *number ) : IntfId::fromText( text );
}

std::optional< U16 > interfaceSet( const Vek::String& text ) {
   const auto number = Vek::decimal( text, maxInterfaceSetId );
   return number ? std::optional( static_cast< U16 >( *number ) ) : std::nullopt;
}

std::optional< AddressFamily > ipFamily( std::string_view text ) {
   const auto family = Zorv::addressFamily( text );
   return family == AddressFamily::ipv4 || family == AddressFamily::ipv6 ? family : std::nullopt;
}

// Operands whose texts `read` turns into optionals of what `list` holds.
template < typename Read, typename Element >
CLI::Option* addList( CLI::App& command, const char* name, const char* help, Read read,
                      const char* expected, std::vector< Element >& list ) {
   return command
      .add_option_function< std::vector< Vek::String > >(
         name,
         [=, &list]( const std::vector< Vek::String >& texts ) {
            for ( const Vek::String& text : texts ) {
               const auto element = read( text );
               if ( !element ) {
                  throw CLI::ValidationError(
                     name, Vek::concat( "'", text, "' is not ", std::string_view( expected ) ) );
               }
               list.push_back( *element );
            }
         },
         help )
      ->type_name( "" );
}

// The operands of a command for any number of interfaces, and of one for a single interface.
void addInterfaces( CLI::App& command, ChangeOptions& options ) {
   addList( command, "INTERFACE", "Interfaces, such as intf3 or 3", interface, "an interface",
            options.intfs )
      ->required();
   addOption( command, "--family", "FAMILY", "Address family, ipv4 or ipv6; both when not given",
              ipFamily, "ipv4 or ipv6", [&]( AddressFamily family ) { options.family = family; } );
}

void addInterface( CLI::App& command, ChangeOptions& options ) {
   addOption( command, "INTERFACE", "", "Interface, such as intf3 or 3", interface, "an interface",
              [&]( IntfId intf ) { options.intfs.push_back( intf ); } )
      ->required();
}

Run changing( const std::shared_ptr< ChangeOptions >& options, Change* change ) {
   return [=]( Output& ) {
      const Deadline deadline;
      const SystemOptions& system = options->system;
      RootWriter( system.endpoint, system.cliConfig, CliConfig::type(), deadline )
         .write( true, [&]( Vek::NamedEntity& root ) {
            for ( const IntfId intf : options->intfs ) {
               change( static_cast< CliConfig& >( root ), intf, *options );
            }
         } );
      return true;
   };
}

} // namespace

Run addEnable( CLI::App& command ) {
   const auto options = std::make_shared< ChangeOptions >();
   addSystem( command, options->system, { cliConfigRoot } );
   addInterfaces( command, *options );
   command.add_option( "--vrf", options->vrf, "Name of the VRF whose rules apply" )
      ->type_name( "NAME" );
   return changing( options, enable );
}

Run addDisable( CLI::App& command ) {
   const auto options = std::make_shared< ChangeOptions >();
   addSystem( command, options->system, { cliConfigRoot } );
   addInterfaces( command, *options );
   return changing( options, disable );
}

Run addInterfaceSet( CLI::App& command ) {
   const auto options = std::make_shared< ChangeOptions >();
   addSystem( command, options->system, { cliConfigRoot } );
   addInterface( command, *options );
   addList( command, "SET", "Interface sets, numbers from 0 to 16383; none when not given",
            interfaceSet, "an interface set, a number from 0 to 16383", options->interfaceSets );
   return changing( options, interfaceSetsAre );
}

Run addVrfOverride( CLI::App& command ) {
   const auto options = std::make_shared< ChangeOptions >();
   addSystem( command, options->system, { cliConfigRoot } );
   addInterface( command, *options );
   command.add_option( "VRF", options->vrf, "Name of the VRF; the interface's own when not given" )
      ->type_name( "" );
   return changing( options, vrfOverrideIs );
}

} // namespace Tools
