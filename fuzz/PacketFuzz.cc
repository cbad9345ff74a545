#include "fuzz/Check.h"
#include "match/LinkLayer.h"
#include "match/Matcher.h"
#include "tests/match/SlowMatch.h"

// An input is a byte that chooses the link type, and a frame.

namespace {

using namespace Flowspec;

// A rule for each field of either family, each true of some packets that have the field.
std::vector< FlowspecKey > makeKeys() {
   static constexpr std::string_view texts[] = {
      "*;*;IP:=6",    "*;*;IP:<>6",   "*;*;P:<1024", "*;*;DP:=53|=80", "*;*;SP:>1023", "*;*;IT:<=8",
      "*;*;IC:=0",    "*;*;TCP:2",    "*;*;TCP:!18", "*;*;LEN:>60",    "*;*;DSCP:=46", "*;*;FRAG:2",
      "*;*;FRAG:=10", "*;*;FRAG:!14", "*;*;FRAG:1",  "*;*;FL:>0",      "*;*",
   };
   std::vector< FlowspecKey > keys;
   for ( const auto family : { Zorv::AddressFamily::ipv4, Zorv::AddressFamily::ipv6 } ) {
      for ( const std::string_view text : texts ) {
         FlowspecKey& key = keys.emplace_back();
         key.addressFamilyIs( family );
         Fuzz::require( !readStrCli( text, false, key ), "a rule can be read" );
      }
      const bool ipv4 = family == Zorv::AddressFamily::ipv4;
      FlowspecKey& key = keys.emplace_back();
      key.addressFamilyIs( family );
      key.destPrefixIs( *Zorv::IpGenPrefix::fromText( ipv4 ? "10.0.0.0/8" : "2001:db8::/32" ) );
      key.srcPrefixIs( *Zorv::IpGenPrefix::fromText( ipv4 ? "128.0.0.0/1" : "2000::/3" ) );
   }
   return keys;
}

Match::Matcher makeMatcher( const std::vector< FlowspecKey >& keys ) {
   std::vector< Match::Candidate > rules;
   for ( U32 i = 0; i < keys.size(); ++i ) {
      rules.push_back( { &keys[i], i, i } );
   }
   return Match::Matcher( rules );
}

void checkFields( const Match::Packet& packet ) {
   const bool ipv4 = packet.family == Zorv::AddressFamily::ipv4;
   Fuzz::require( ipv4 || packet.family == Zorv::AddressFamily::ipv6, "a packet has a family" );
   Fuzz::require( packet.destination.family() == packet.family &&
                     packet.source.family() == packet.family,
                  "the addresses are of the family" );
   Fuzz::require( packet.dscp < 64, "a DSCP has 6 bits" );
   Fuzz::require( packet.flowLabel.has_value() != ipv4, "IPv6 has a flow label" );
   Fuzz::require( packet.protocol || !( packet.srcPort || packet.icmpType ),
                  "what has a transport header has a protocol" );
   Fuzz::require( packet.srcPort || !packet.destPort, "the source port stands in front" );
   Fuzz::require( packet.icmpType || !packet.icmpCode, "the type stands in front" );
   Fuzz::require( !packet.tcpFlags || packet.protocol == 6, "flags are TCP's" );
   Fuzz::require( !packet.fragment || !( *packet.fragment & 2 ) || !packet.srcPort,
                  "only a first fragment has ports" );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   static constexpr U32 linkTypes[] = { Match::LinkType::rawIp, Match::LinkType::ethernet,
                                        Match::LinkType::linuxCooked, 0 };
   static const std::vector< FlowspecKey > keys = makeKeys();
   static const Match::Matcher matcher = makeMatcher( keys );
   if ( size == 0 ) {
      return 0;
   }
   const auto bytes =
      Match::ipPacketOf( { data + 1, size - 1 }, linkTypes[data[0] % std::size( linkTypes )] );
   const auto packet = Match::parsePacket( bytes );
   if ( packet ) {
      checkFields( *packet );
   }
   for ( U32 i = 0; i < keys.size(); ++i ) {
      const bool matches = TestSupport::slowMatches( keys[i], bytes );
      Fuzz::require( ( packet && Match::RuleMatch( keys[i] ).matches( *packet ) ) == matches,
                     "both implementations agree" );
      Fuzz::require( !packet || ( matcher.match( *packet, [i]( U32 id ) { return id == i; } ) ==
                                  ( matches ? std::optional( i ) : std::nullopt ) ),
                     "the matcher finds each rule" );
   }
   return 0;
}
