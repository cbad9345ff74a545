#include "forms/ComponentWords.h"

#include "Flowspec/config/MatchSetBuilder.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include <gtest/gtest.h>

namespace Forms {
namespace {

using namespace Flowspec;

Vek::String wordsOf( std::string_view text ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   std::vector< MatchComponent > components;
   if ( readStrCli( text, false, key ) || matchSetFromKey( key, components ) ) {
      return "unreadable";
   }
   return components.size() == 1 ? componentWords( components.front() ) : "not one component";
}

TEST( ComponentWords, SayWhatAComponentAsksFor ) {
   EXPECT_EQ( wordsOf( "10.1.0.0/16;*;" ), "destination in 10.1.0.0/16" );
   EXPECT_EQ( wordsOf( "*;10.1.0.0/16;" ), "source in 10.1.0.0/16" );
   EXPECT_EQ( wordsOf( "*;*;IP:=6;" ), "protocol TCP" );
   EXPECT_EQ( wordsOf( "*;*;IP:=6|=17|=99;" ), "protocol TCP, UDP, or 99" );
   EXPECT_EQ( wordsOf( "*;*;IP:=1|=47|=50|=58;" ), "protocol ICMP, GRE, ESP, or ICMPv6" );
   EXPECT_EQ( wordsOf( "*;*;IP:>5&<18;" ), "protocol 6 to 17" );
   EXPECT_EQ( wordsOf( "*;*;IP:=300;" ), "protocol: no value" );
   EXPECT_EQ( wordsOf( "*;*;P:=80|>8079&<8090;" ), "port of either side 80, or 8080 to 8089" );
   EXPECT_EQ( wordsOf( "*;*;DP:=80;" ), "destination port 80" );
   EXPECT_EQ( wordsOf( "*;*;SP:=80;" ), "source port 80" );
   EXPECT_EQ( wordsOf( "*;*;IT:=8;" ), "ICMP type 8" );
   EXPECT_EQ( wordsOf( "*;*;IC:=0;" ), "ICMP code 0" );
   EXPECT_EQ( wordsOf( "*;*;LEN:<=100;" ), "length in bytes 0 to 100" );
   EXPECT_EQ( wordsOf( "*;*;DSCP:=46;" ), "DSCP 46" );
}

TEST( ComponentWords, SayWhichFlagsAreSet ) {
   EXPECT_EQ( wordsOf( "*;*;TCP:=2;" ), "TCP flags: SYN set" );
   EXPECT_EQ( wordsOf( "*;*;TCP:=18;" ), "TCP flags: SYN set and ACK set" );
   EXPECT_EQ( wordsOf( "*;*;TCP:18;" ), "TCP flags: SYN set or ACK set" );
   EXPECT_EQ( wordsOf( "*;*;TCP:!18;" ), "TCP flags: SYN clear and ACK clear" );
   EXPECT_EQ( wordsOf( "*;*;TCP:=2&!16|=4;" ), "TCP flags: SYN set and ACK clear, or RST set" );
   EXPECT_EQ( wordsOf( "*;*;FRAG:!0;" ), "fragment flags: any" );
   EXPECT_EQ( wordsOf( "*;*;FRAG:!2;" ), "fragment flags: is-fragment clear" );
}

} // namespace
} // namespace Forms
