#include "tools/flowspecctl/system/CliConfigCommand.h"

#include "Vek/Text.h"
#include "tools/flowspecctl/system/RuleText.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>
#include <utility>

namespace Flowspec::Tools {

namespace {

using Zorv::AddressFamily;
using Zorv::IntfId;

constexpr std::chrono::seconds patience( 10 );
constexpr std::chrono::milliseconds pause( 100 );

/// The time that a command has.
class Deadline {
public:
   std::chrono::milliseconds left() const {
      const auto now = std::chrono::steady_clock::now();
      return std::max( std::chrono::ceil< std::chrono::milliseconds >( end_ - now ),
                       std::chrono::milliseconds( 0 ) );
   }
   bool over() const { return left().count() == 0; }

private:
   std::chrono::steady_clock::time_point end_ = std::chrono::steady_clock::now() + patience;
};

/// A change of what operators configured, which is the same however often it is made.
class CliConfigWriter {
public:
   CliConfigWriter( const SystemOptions& system, const Deadline& deadline )
      : system_( system ), deadline_( deadline ) {}

   // Takes the configuration over, changes it, and waits until the state database has the change. A
   // database that goes meanwhile may come again: then all of it is done once more, as others may
   // have changed the configuration, too.
   void write( bool creates, const std::function< void( CliConfig& ) >& change ) {
      for ( ;; ) {
         const Vek::String fault = attempt( creates, change );
         const bool isFirst = std::exchange( isFirst_, false );
         if ( fault.empty() ) {
            return;
         }
         // In a database that has come again the configuration may be yet to come.
         const bool isHopeless = !reached_ || ( isFirst && fault == StateRoots::absent );
         if ( isHopeless || deadline_.over() ) {
            throw std::runtime_error( system_.cliConfig + ": " + fault );
         }
         std::this_thread::sleep_for( std::min( pause, deadline_.left() ) );
      }
   }

private:
   // Why it did not come to its end; empty when it did.
   Vek::String attempt( bool creates, const std::function< void( CliConfig& ) >& change ) {
      if ( !creates ) {
         if ( const Vek::String fault = look(); !fault.empty() ) {
            return fault;
         }
      }
      StateRoots roots{ Vek::log::Endpoint( system_.endpoint ) };
      roots.takeOver( Vek::String( CliConfig::type().name ), system_.cliConfig );
      const Vek::log::Mount& mount = *roots.mounts().front();
      if ( const Vek::String fault = settle( roots ); !fault.empty() ) {
         return fault;
      }
      change( *roots.get< CliConfig >( system_.cliConfig ) );
      // A mount has an error until it works for the first time, too.
      roots.until( [&] { return mount.acknowledged() || mount.refused() || mount.fd() < 0; },
                   deadline_.left() );
      if ( mount.acknowledged() ) {
         return {};
      }
      return mount.error().empty() ? "the state database does not answer" : mount.error();
   }

   // Whether the configuration is there: a command that only asks does not create it.
   Vek::String look() {
      StateRoots roots{ Vek::log::Endpoint( system_.endpoint ) };
      roots.read( system_.cliConfig );
      if ( const Vek::String fault = settle( roots ); !fault.empty() ) {
         return fault;
      }
      return roots.find( system_.cliConfig ) ? "" : StateRoots::absent;
   }

   Vek::String settle( StateRoots& roots ) {
      const Vek::log::Mount& mount = *roots.mounts().front();
      roots.settle( deadline_.left() );
      reached_ = reached_ || !StateRoots::unreachable( mount );
      return StateRoots::fault( mount );
   }

   const SystemOptions& system_;
   const Deadline& deadline_;
   bool isFirst_ = true;
   bool reached_ = false; // there was a database
};

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
   const Deadline deadline;
   CliConfigWriter( options.system, deadline ).write( true, [&]( CliConfig& cli ) {
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

Vek::Ptr< Counter > refreshCounters( const SystemOptions& system, StateRoots& roots ) {
   const auto mount = std::ranges::find( roots.mounts(), system.counter, &Vek::log::Mount::root );
   const Deadline deadline;
   CliConfigWriter writer( system, deadline );
   bool lost = false;
   do {
      double request =
         std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
            .count();
      writer.write( false, [&]( CliConfig& cli ) {
         if ( cli.counterUpdateRequestTime() == request ) {
            // Two requests within the clock's step are two.
            request = std::nextafter( request, std::numeric_limits< double >::max() );
         }
         cli.counterUpdateRequestTimeIs( request );
      } );
      const auto answered = [&] {
         const auto counter = roots.find( system.counter );
         return counter && static_cast< const Counter& >( *counter ).timestamp() >= request;
      };
      // A database that goes may take the request with it.
      lost = false;
      roots.until(
         [&] {
            const bool isThere = ( *mount )->error().empty();
            lost = lost || !isThere;
            return answered() || ( lost && isThere );
         },
         deadline.left() );
      if ( answered() ) {
         return roots.get< Counter >( system.counter );
      }
   } while ( lost && !deadline.over() );
   throw std::runtime_error( system.counter + ": no agent answered within 10 seconds" );
}

void runRefresh( const SystemOptions& system, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( system.endpoint ) };
   roots.read( system.counter );
   roots.settle();
   roots.get< Counter >( system.counter );
   const auto counter = refreshCounters( system, roots );
   output.text() +=
      Vek::concat( counter->snapshot().size(),
                   " counters read from hardware: ", timeText( counter->timestamp() ), '\n' );
   output.flush();
}

} // namespace Flowspec::Tools
