#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Vek/text/Text.h"

namespace TestSupport {

/// The VRFs of the interfaces 1 to 99, a line for each that has one, after a line for the root.
inline Vek::String text( const Flowspec::CliConfig& cli ) {
   Vek::String lines = "root\n";
   for ( U64 intf = 1; intf < 100; ++intf ) {
      const auto config = cli.enabledIntf( Zorv::IntfId( intf ) );
      const Vek::String vrf = config.sourceVrfOverride();
      if ( !vrf.empty() ) {
         lines += Vek::concat( intf, ' ', vrf, '\n' );
      }
   }
   return lines;
}

} // namespace TestSupport
