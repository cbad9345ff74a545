// What a user of the installed library writes: reads a rule, adds a port to it, prints it.
#include "Flowspec/key/FlowspecKey.h"

#include <iostream>

int main() {
   Flowspec::FlowspecKey key;
   key.vrfIdIs( 5 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   if ( !key.copyInStrCli( "10.1.0.0/16;*;IP:=6;", false ) ) {
      return 1;
   }
   constexpr U8 equalWithLength2 = 0x11;
   key.setOpVal( key.matchOpVals(), Flowspec::MatchCompType::destPort, equalWithLength2, 443 );
   std::cout << key.toStrepCli( false ) << '\n' << key.toStrepCliDetail() << '\n' << key << '\n';
}
