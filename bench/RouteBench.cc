#include "agents/bgp/message/Header.h"
#include "agents/peerd/rib/RouteIn.h"
#include "agents/peerd/rib/RouteOut.h"
#include "bench/support/Heap.h"
#include "bench/support/Measure.h"
#include "bench/support/Rules.h"
#include "bench/system/PeerSpeaker.h"

/// What becomes of the rules that peers announce, and announcing ours, without sessions and files.

namespace {

using namespace Bench;
using namespace Peerd;

class Sink final : public RuleSink {
public:
   void begin() override {}
   void withdraw( const Flowspec::FlowspecKey& ) override { --filed; }
   void file( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action,
              PeerId ) override {
      ++filed;
      if ( keeps ) {
         rules.emplace_back( key, action );
      }
   }
   void commit() override {}

   U32 filed = 0;
   bool keeps = false;
   std::vector< std::pair< Flowspec::FlowspecKey, Flowspec::RuleAction > > rules;
};

Bgp::Agreed agreed() {
   Bgp::Agreed agreed;
   agreed.localAs = 64500;
   agreed.peerAs = 64600;
   agreed.families = { Bgp::ipv4Flow };
   agreed.fourOctetAs = true;
   return agreed;
}

struct Speaker {
   Speaker() : in( sink ) {
      PeerImport import;
      import.localAs = 64500;
      import.peerAs = 64600;
      import.checksOriginator = false;
      import.policy = ImportPolicy{ {}, true };
      in.sessionsIs( { { *Zorv::IpGenAddr::fromText( "127.0.0.1" ),
                         *Zorv::IpGenAddr::fromText( "127.0.1.1" ) } } );
      in.peerIs( 1, import );
      in.established( 1, 1, {} );
   }

   void take( std::span< const U8 > messages ) {
      while ( !messages.empty() ) {
         const std::size_t length = messages[16] * 256U + messages[17];
         if ( Bgp::readUpdate( messages.first( length ).subspan( Bgp::headerSize ), agreed_,
                               update_ ) ) {
            require( false, "an update" );
         }
         in.update( 1, update_ );
         messages = messages.subspan( length );
      }
   }

   Sink sink;
   RouteIn in;

private:
   const Bgp::Agreed agreed_ = agreed();
   Bgp::Update update_;
};

void announceRules( benchmark::State& state ) {
   const std::vector< U8 > messages = announcements( 0, ruleCount );
   double bytes = 0;
   for ( auto _ : state ) {
      const U64 before = heapBytes();
      Speaker speaker;
      speaker.take( messages );
      bytes = static_cast< double >( heapBytes() - before ) / ruleCount;
      require( speaker.sink.filed == ruleCount, "the number of rules" );
      state.PauseTiming();
      require( bytes < 2048, "the memory of a rule" );
      state.ResumeTiming();
   }
   perItemCounter( state, ruleCount );
   state.counters["bytes"] = bytes;
}
BENCHMARK( announceRules );

void announceAndWithdrawRules( benchmark::State& state ) {
   const std::vector< U8 > messages = announcements( 0, ruleCount );
   const std::vector< U8 > withdrawn = withdrawals( 0, ruleCount );
   Speaker speaker;
   for ( auto _ : state ) {
      speaker.take( messages );
      speaker.take( withdrawn );
      require( speaker.sink.filed == 0, "the number of rules" );
   }
   perItemCounter( state, ruleCount );
}
BENCHMARK( announceAndWithdrawRules );

void loseSession( benchmark::State& state ) {
   const std::vector< U8 > messages = announcements( 0, ruleCount );
   Speaker speaker;
   for ( auto _ : state ) {
      speaker.take( messages );
      speaker.in.down( 1, {} );
      while ( speaker.in.work( 500 ) ) {
      }
      require( speaker.sink.filed == 0, "the number of rules" );
   }
   perItemCounter( state, ruleCount );
}
BENCHMARK( loseSession );

void announceOurs( benchmark::State& state ) {
   Speaker speaker;
   speaker.sink.keeps = true;
   speaker.take( announcements( 0, ruleCount ) );
   std::vector< U8 > out;
   for ( auto _ : state ) {
      RouteOut ours;
      ours.peerIs( 1, ExportPolicy{ .announcesOthers = true } );
      for ( const auto& [key, action] : speaker.sink.rules ) {
         ours.put( key, action );
      }
      ours.established( 1, agreed() );
      while ( ours.isPending( 1 ) ) {
         out.clear();
         ours.write( 1, out );
      }
      require( ours.announced( 1 ) == ruleCount, "the number of rules" );
   }
   perItemCounter( state, ruleCount );
}
BENCHMARK( announceOurs );

} // namespace
