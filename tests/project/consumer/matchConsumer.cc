// What a user of the installed library for packets writes: parses one and asks which rule wins it.
#include "Flowspec/key/FlowspecKeyReader.h"
#include "match/Matcher.h"

#include <iostream>

int main() {
   // 10.1.2.3 to 10.1.0.1, TCP from port 1024 to port 443.
   const U8 octets[] = { 0x45, 0, 0,  40, 0,    0,    0, 0, 64,   6,    0, 0, 10, 1,
                         2,    3, 10, 1,  0,    1,    4, 0, 0x01, 0xBB, 0, 0, 0,  0,
                         0,    0, 0,  0,  0x50, 0x02, 0, 0, 0,    0,    0, 0 };
   Flowspec::FlowspecKey wide;
   Flowspec::FlowspecKey narrow;
   wide.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   narrow.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   if ( Flowspec::readStrCli( "10.1.0.0/16;*;", false, wide ) ||
        Flowspec::readStrCli( "10.1.0.0/16;*;IP:=6;DP:=443;", false, narrow ) ) {
      return 1;
   }
   const Match::Candidate rules[] = { { &wide, 2, 100 }, { &narrow, 1, 200 } };
   const Match::Matcher matcher( rules );
   const auto packet = Match::parsePacket( octets );
   const auto winner = packet ? matcher.match( *packet ) : std::nullopt;
   std::cout << "rule " << winner.value_or( 0 ) << '\n';
}
