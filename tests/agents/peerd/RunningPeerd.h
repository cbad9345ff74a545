#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/key/FlowspecKeyReader.h"
#include "agents/bgp/message/UpdateWriter.h"
#include "peers/PeerTable.h"
#include "tests/agents/bgp/session/RawPeer.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/support/Hex.h"
#include "wire/NlriEncoder.h"

namespace TestSupport {

/// A port of a loopback address that nobody listens on.
inline U16 freePort( const char* local ) {
   const int fd = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
   sockaddr_in end{};
   end.sin_family = AF_INET;
   end.sin_addr.s_addr = htonl( address( local ).ipv4Value() );
   socklen_t size = sizeof end;
   EXPECT_EQ( ::bind( fd, reinterpret_cast< sockaddr* >( &end ), size ), 0 );
   EXPECT_EQ( ::getsockname( fd, reinterpret_cast< sockaddr* >( &end ), &size ), 0 );
   ::close( fd );
   return ntohs( end.sin_port );
}

/// A state database, a peerd of AS 64500 that listens on 127.0.0.21, and a reader of what it
/// writes.
class RunningPeerd {
public:
   /// A peer that connects from 127.0.0.12, with some more members.
   static Vek::String peer( std::string_view more = "" ) {
      return Vek::concat( R"({"name":"one","address":"127.0.0.12","as":64500,"passive":true,)"
                          R"("idleHoldTime":0,"families":["ipv4-flow","ipv6-flow"])",
                          more, "}" );
   }

   /// `vrfs` are entries of the table of VRFs.
   explicit RunningPeerd( const Vek::String& peers = peer(), Vek::String vrfs = "" )
      : vrfs_( std::move( vrfs ) ) {
      directory_.create( "Flowspec::Config", rules_.root() );
      directory_.create( "Peers::PeerTable", peers_.root() );
      configure( peers );
      start();
   }

   /// Writes its file.
   void configure( const Vek::String& peers ) {
      file_ = database.folder().file( "peerd.json",
                                      Vek::concat( R"({"localAs":64500,"routerId":"127.0.0.21",)"
                                                   R"("listen":[{"address":"127.0.0.21","port":)",
                                                   listens.port, "}],\"vrfs\":[", vrfs_,
                                                   "],\n\"peers\":[", peers, "]}" ) );
   }
   void start() {
      process.reset();
      process = std::make_unique< Process >( std::vector< Vek::String >{ PEERD, "--socket",
                                                                         database.endpoint().text(),
                                                                         "--config", file_ },
                                             database.folder().path() + "/peerd-errors" );
   }

   bool until( const std::function< bool() >& done ) {
      return TestSupport::until( { &rules_, &peers_ }, done );
   }
   bool untilTold( const Vek::String& text ) {
      return until( [&] { return process->errors().find( text ) != Vek::String::npos; } );
   }

   /// What it has filed.
   const Flowspec::Config& filed() const {
      return static_cast< const Flowspec::Config& >( *directory_.entity( rules_.root() ) );
   }
   Vek::Ptr< Flowspec::RuleConfig > rule( const Flowspec::FlowspecKey& key ) const {
      const auto vrf = filed().vrfRuleConfig( key.vrfId() );
      return vrf ? vrf->rule( key ) : nullptr;
   }
   /// Whether it is filed, though maybe no packet can match it.
   bool isFiled( const Flowspec::FlowspecKey& key ) const {
      const auto vrf = static_cast< const Flowspec::Config& >( *directory_.entity( rules_.root() ) )
                          .vrfRuleConfig( key.vrfId() );
      return vrf && ( vrf->rule( key ) || vrf->infeasibleRule( key ) );
   }
   std::size_t filed( U32 vrfId ) const {
      const auto vrf = static_cast< const Flowspec::Config& >( *directory_.entity( rules_.root() ) )
                          .vrfRuleConfig( vrfId );
      return vrf ? vrf->rule().size() + vrf->infeasibleRule().size() : 0;
   }
   std::size_t rules() const {
      const auto vrf = filed().vrfRuleConfig( 0 );
      return vrf ? vrf->rule().size() : 0;
   }
   Vek::Ptr< Peers::Peer > state( const Vek::String& name = "one" ) const {
      return static_cast< const Peers::PeerTable& >( *directory_.entity( peers_.root() ) )
         .peer( name );
   }
   bool isEstablished( const Vek::String& name = "one" ) const {
      const auto peer = state( name );
      return peer && peer->state() == Peers::SessionState::established;
   }

   /// A session of "one" that is up.
   std::unique_ptr< RawPeer > session( const Bgp::Open& open = RawPeer::open() ) {
      EXPECT_TRUE( until( [&] { return state() && !isEstablished(); } ) );
      auto raw = std::make_unique< RawPeer >( listens );
      raw->send( RawPeer::octets( open ) );
      raw->send( RawPeer::keepalive() );
      EXPECT_TRUE( until( [&] { return isEstablished(); } ) ) << process->errors();
      return raw;
   }

   const Bgp::SocketAddress listens{ address( "127.0.0.21" ), freePort( "127.0.0.21" ) };
   Database database;
   std::unique_ptr< Process > process;

private:
   const Vek::String vrfs_;
   Vek::String file_;
   Vek::Directory directory_;
   Vek::log::Mount rules_{ database.endpoint(), "test", "flowspec/bgp", directory_ };
   Vek::log::Mount peers_{ database.endpoint(), "test", "flowspec/peers", directory_ };
};

inline Flowspec::FlowspecKey keyOf( const char* value ) {
   Flowspec::FlowspecKey key;
   EXPECT_EQ( Flowspec::readStringValue( value, key ), std::nullopt ) << value;
   return key;
}

inline std::vector< U8 > nlriOf( const Flowspec::FlowspecKey& key ) {
   std::vector< U8 > octets;
   EXPECT_EQ( Wire::encodeNlri( key, { key.addressFamily(), false }, {},
                                Wire::ValueLengths::shortest, octets ),
              std::nullopt );
   return octets;
}

/// An update that announces a rule with extended communities, in hexadecimal.
inline std::vector< U8 > announcement( const Flowspec::FlowspecKey& key,
                                       const std::string& communities = "8006000000000000" ) {
   const std::vector< U8 > extended = bytesOf( communities );
   Bgp::PathAttributes attributes;
   attributes.localPref = 100;
   attributes.communities.extended = extended;
   std::vector< U8 > written;
   Bgp::writeAttributes( attributes, true, written );
   std::vector< U8 > out;
   auto writer = Bgp::UpdateWriter::announcing( Bgp::ipv4Flow, written, Bgp::maxMessage, out );
   EXPECT_TRUE( writer.add( nlriOf( key ) ) );
   writer.finish();
   return out;
}

inline std::vector< U8 > withdrawal( const Flowspec::FlowspecKey& key ) {
   std::vector< U8 > out;
   auto writer = Bgp::UpdateWriter::withdrawing( Bgp::ipv4Flow, Bgp::maxMessage, out );
   EXPECT_TRUE( writer.add( nlriOf( key ) ) );
   writer.finish();
   return out;
}

/// There is no more of either family.
inline std::vector< U8 > endOfRib() {
   std::vector< U8 > out;
   Bgp::writeEndOfRib( Bgp::ipv4Flow, out );
   Bgp::writeEndOfRib( Bgp::ipv6Flow, out );
   return out;
}

} // namespace TestSupport
