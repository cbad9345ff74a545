#include "tools/flowspecctl/GuardedPackets.h"

#include "Flowspec/key/FlowspecKeyReader.h"

namespace Tools {

using namespace Flowspec;

namespace {

FlowspecKey keyOf( Zorv::AddressFamily family ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   return key;
}

} // namespace

GuardedPackets protectedPrefix( const Zorv::IpGenPrefix& prefix ) {
   FlowspecKey key = keyOf( prefix.family() );
   key.destPrefixIs( prefix );
   return { false, prefix.stringValue(), Match::PacketSet( key ) };
}

GuardedPackets sessionWith( const Zorv::IpGenAddr& address ) {
   FlowspecKey key = keyOf( address.family() );
   [[maybe_unused]] const auto fault = readStrCli( "*;*;IP:=6;P:=179;", false, key );
   key.srcPrefixIs( { address, Zorv::IpGenAddr::bits( address.family() ) } );
   return { true, address.stringValue(), Match::PacketSet( key ) };
}

void addGuarded( CLI::App& command, std::vector< GuardedPackets >& guarded ) {
   addOption(
      command, "--protect", "PREFIX", "Tell of rules that touch packets to it",
      Zorv::IpGenPrefix::fromText, "a prefix",
      [&]( const Zorv::IpGenPrefix& prefix ) { guarded.push_back( protectedPrefix( prefix ) ); } )
      ->take_all()
      ->trigger_on_parse();
   addOption(
      command, "--session", "ADDRESS", "Tell of rules that touch BGP, TCP port 179, from it",
      Zorv::IpGenAddr::fromText, "an address",
      [&]( const Zorv::IpGenAddr& address ) { guarded.push_back( sessionWith( address ) ); } )
      ->take_all()
      ->trigger_on_parse();
}

} // namespace Tools
