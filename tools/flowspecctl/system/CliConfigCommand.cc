#include "tools/flowspecctl/system/CliConfigCommand.h"

#include "Vek/Text.h"
#include "tools/flowspecctl/system/RuleText.h"

#include <cmath>
#include <limits>

namespace Flowspec::Tools {

namespace {

using Zorv::AddressFamily;
using Zorv::IntfId;

constexpr std::chrono::seconds patience( 10 );

// Takes the configuration over, changes it, and waits until the state database was told.
void change( const SystemOptions& system, const std::function< void( CliConfig& ) >& apply ) {
   StateRoots roots{ Vek::log::Endpoint( system.endpoint ) };
   roots.takeOver( Vek::String( CliConfig::type().name ), system.cliConfig );
   roots.settle();
   apply( *roots.get< CliConfig >( system.cliConfig ) );
   const Vek::log::Mount& mount = *roots.mounts().front();
   if ( !roots.until( [&] { return mount.allSent(); }, patience ) ) {
      throw std::runtime_error( system.cliConfig + ": the state database does not answer" );
   }
}

void enable( CliConfig& cli, IntfId intf, const CliChangeOptions& options ) {
   const InterfaceEnableConfig before = cli.enabledIntf( intf );
   IpVersion families = before.ipVersion();
   families.ipv4Is( families.ipv4() || options.family != AddressFamily::ipv6 );
   families.ipv6Is( families.ipv6() || options.family != AddressFamily::ipv4 );
   cli.enabledIntfIs( { intf, families, options.vrf.value_or( before.sourceVrfOverride() ) } );
}

void disable( CliConfig& cli, IntfId intf, const CliChangeOptions& options ) {
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

void interfaceSetsAre( CliConfig& cli, IntfId intf, const std::vector< U16 >& sets ) {
   if ( sets.empty() ) {
      cli.intfInterfaceSetConfigDel( intf );
      return;
   }
   FlowspecIntfInterfaceSetConfig config( intf );
   for ( const U16 set : sets ) {
      config.interfaceSetIs( FlowspecIntfSetId( set ) );
   }
   cli.intfInterfaceSetConfigIs( config );
}

} // namespace

void changeCliConfig( CliChange what, const CliChangeOptions& options ) {
   change( options.system, [&]( CliConfig& cli ) {
      for ( const IntfId intf : options.intfs ) {
         switch ( what ) {
         case CliChange::enable:
            enable( cli, intf, options );
            break;
         case CliChange::disable:
            disable( cli, intf, options );
            break;
         case CliChange::interfaceSet:
            interfaceSetsAre( cli, intf, options.interfaceSets );
            break;
         case CliChange::vrfOverride:
            if ( options.vrf ) {
               cli.sourceVrfOverrideIs( intf, *options.vrf );
            } else {
               cli.sourceVrfOverrideDel( intf );
            }
            break;
         }
      }
   } );
}

void refreshCounters( const SystemOptions& system, StateRoots& roots, const Counter& counter ) {
   double request =
      std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
         .count();
   change( system, [&]( CliConfig& cli ) {
      if ( cli.counterUpdateRequestTime() == request ) {
         // Two requests within the clock's step are two.
         request = std::nextafter( request, std::numeric_limits< double >::max() );
      }
      cli.counterUpdateRequestTimeIs( request );
   } );
   if ( !roots.until( [&] { return counter.timestamp() >= request; }, patience ) ) {
      throw std::runtime_error( system.counter + ": no agent answered within 10 seconds" );
   }
}

void runRefresh( const SystemOptions& system, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( system.endpoint ) };
   roots.read( system.counter );
   roots.settle();
   const auto counter = roots.get< Counter >( system.counter );
   refreshCounters( system, roots, *counter );
   output.text() +=
      Vek::concat( counter->snapshot().size(),
                   " counters read from hardware: ", timeText( counter->timestamp() ), '\n' );
   output.flush();
}

} // namespace Flowspec::Tools
