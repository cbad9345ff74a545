#include "bench/system/RouteTaker.h"

#include "Vek/text/Text.h"
#include "agents/bgp/message/Update.h"
#include "agents/bgp/session/SessionSet.h"
#include "agents/peerd/rib/RouteIn.h"
#include "bench/system/Child.h"

namespace Bench {

namespace {

constexpr U32 localAs = 64500;
constexpr U32 peerAs = 64600;

// Counts what is filed, and drops it.
class Sink final : public Peerd::RuleSink {
public:
   void begin() override {}
   void withdraw( const Flowspec::FlowspecKey& ) override {}
   void file( const Flowspec::FlowspecKey&, const Flowspec::RuleAction&, Peerd::PeerId ) override {}
   void commit() override {}
};

class RouteTaker final : public Bgp::SessionHandler {
public:
   explicit RouteTaker( std::atomic< U32 >& filed ) : filed_( filed ) {}

   void peerIs( Peerd::PeerId id, const Zorv::IpGenAddr& address ) {
      Peerd::PeerImport import;
      import.localAs = localAs;
      import.peerAs = peerAs;
      import.address = address;
      import.checksOriginator = false;
      import.policy = Peerd::ImportPolicy{ {}, true };
      in_.peerIs( id, import );
   }

   void guard( const std::vector< Peerd::SessionEnds >& sessions ) { in_.sessionsIs( sessions ); }

   void established( Bgp::Session& session, const Bgp::Agreed& agreed ) override {
      in_.established( idOf( session ), agreed.peerIdentifier, {} );
   }
   void update( Bgp::Session& session, const Bgp::Update& update ) override {
      in_.update( idOf( session ), update );
      filed_ = in_.filed();
   }
   void endOfRib( Bgp::Session&, Bgp::Family ) override {}
   void routeRefresh( Bgp::Session&, Bgp::Family, U8 ) override {}
   void down( Bgp::Session& session, const Bgp::Down& ) override {
      in_.down( idOf( session ), {} );
   }
   void writable( Bgp::Session& ) override {}
   void changed( Bgp::Session& ) override {}

private:
   static Peerd::PeerId idOf( const Bgp::Session& session ) {
      return static_cast< Peerd::PeerId >( *Vek::decimal( session.config().name, 0xFFFF ) );
   }

   std::atomic< U32 >& filed_;
   Sink sink_;
   Peerd::RouteIn in_{ sink_ };
};

} // namespace

void takeRoutes( const std::vector< Zorv::IpGenAddr >& peers, U16 port,
                 std::atomic< U32 >& filed ) {
   Agents::EventLoop loop;
   RouteTaker taker( filed );
   Bgp::SessionSet sessions( loop, taker, { .log = []( std::string_view ) {}, .seed = 1 } );
   const Zorv::IpGenAddr loopback = Zorv::IpGenAddr::ipv4( 0x7F000001 );
   std::vector< Bgp::SessionConfig > configs;
   std::vector< Peerd::SessionEnds > ends;
   for ( const Zorv::IpGenAddr& peer : peers ) {
      const auto id = static_cast< Peerd::PeerId >( configs.size() );
      taker.peerIs( id, peer );
      Bgp::SessionConfig& config = configs.emplace_back();
      config.name = Vek::concat( id );
      config.peer.address = peer;
      config.localAs = localAs;
      config.peerAs = peerAs;
      config.routerId = 0x01010101;
      config.families = { Bgp::ipv4Flow };
      config.passive = true;
      ends.push_back( { loopback, peer, port } );
   }
   taker.guard( ends );
   for ( const Vek::String& reason : sessions.listen( { { loopback, port } } ) ) {
      fail( reason );
   }
   sessions.apply( configs );
   loop.run();
   fail( "the loop has ended" );
}

} // namespace Bench
