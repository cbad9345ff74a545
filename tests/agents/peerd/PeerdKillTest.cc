#include "tests/agents/peerd/RunningPeerd.h"
#include "tests/support/Dump.h"

#include <map>
#include <random>
#include <regex>

namespace {

using namespace TestSupport;
using Flowspec::FlowspecKey;

constexpr int rounds = 50;
constexpr unsigned manyRules = 60;

FlowspecKey numbered( unsigned number ) {
   return keyOf( Vek::concat( "0;ipv4;10.0.", number, ".0/24;*;IP:=0L6;" ).c_str() );
}

/// A speaker with rules that change all the time, which tells a peerd all of them in each session.
class Controller {
public:
   explicit Controller( RunningPeerd& peerd ) : peerd_( peerd ) {
      Bgp::SessionConfig session =
         config( "peerd", "127.0.0.12", "127.0.0.21", peerd.listens.port );
      session.connectRetryTime = 1;
      session.idleHoldTime = 0;
      side_.set.apply( { session } );
   }

   /// Announces or withdraws a rule, now or when there is a session.
   void change( unsigned number, std::optional< std::string > communities ) {
      const FlowspecKey key = numbered( number );
      if ( communities ) {
         rules_[number] = *communities;
         side_.session().send( announcement( key, *communities ) );
      } else if ( rules_.erase( number ) != 0 ) {
         side_.session().send( withdrawal( key ) );
      }
   }

   /// Lets both sides go on until something is so.
   bool until( const std::function< bool() >& holds ) {
      return peerd_.until( [&] {
         int turns = 0;
         world_.until( [&turns] { return ++turns > 10; }, Bgp::Duration( 0 ) );
         tellAll();
         // Pauses between attempts pass in no time.
         world_.advance( side_.up == 0 ? std::chrono::milliseconds( 500 )
                                       : std::chrono::milliseconds( 0 ) );
         return holds();
      } );
   }
   bool isUp() const { return side_.up == 1; }
   U64 sessions() const { return told_; }
   const std::map< unsigned, std::string >& rules() const { return rules_; }

private:
   // In a new session.
   void tellAll() {
      Bgp::Session& session = side_.session();
      if ( std::exchange( told_, session.establishments() ) == session.establishments() ) {
         return;
      }
      for ( const auto& [number, communities] : rules_ ) {
         session.send( announcement( numbered( number ), communities ) );
      }
      session.send( endOfRib() );
   }

   RunningPeerd& peerd_;
   World world_;
   Side side_{ world_ };
   std::map< unsigned, std::string > rules_;
   U64 told_ = 0; ///< of how many sessions
};

Vek::String filed( const RunningPeerd& peerd ) {
   static const std::regex version( ", version [0-9a-f]{16}" );
   return std::regex_replace( dump( peerd.filed(), 0 ), version, "" );
}

TEST( PeerdKillTest, TheEndIsThatOfAnUndisturbedRun ) {
   RunningPeerd peerd;
   Controller controller( peerd );
   ASSERT_TRUE( controller.until( [&] { return controller.isUp(); } ) ) << peerd.process->errors();
   std::mt19937 random( 1 );
   for ( int round = 0; round < rounds; ++round ) {
      for ( int i = 0; i < 20; ++i ) {
         static const std::string actions[] = { "8006000000000000", "8006000046160000",
                                                "800900000000002e" };
         const auto number = static_cast< unsigned >( random() % manyRules );
         controller.change( number, random() % 3 == 0 ? std::nullopt
                                                      : std::optional( actions[random() % 3] ) );
      }
      // Somewhere on the way of the changes.
      auto turns = random() % 3;
      controller.until( [&turns] { return turns-- == 0; } );
      if ( round % 2 == 0 ) {
         peerd.process->kill();
         peerd.start();
         ASSERT_TRUE( controller.until( [&] { return !controller.isUp(); } ) );
      } else {
         peerd.database.process().kill();
         peerd.database.start();
      }
      ASSERT_TRUE( controller.until( [&] { return controller.isUp(); } ) )
         << peerd.process->errors();
   }
   EXPECT_EQ( controller.sessions(), 1U + rounds / 2 ) << "the database's end ends no session";

   RunningPeerd undisturbed;
   const auto peer = undisturbed.session();
   for ( const auto& [number, communities] : controller.rules() ) {
      peer->send( announcement( numbered( number ), communities ) );
   }
   peer->send( endOfRib() );
   ASSERT_GT( controller.rules().size(), 10U );
   ASSERT_TRUE(
      undisturbed.until( [&] { return undisturbed.rules() == controller.rules().size(); } ) );
   EXPECT_TRUE( controller.until( [&] { return filed( peerd ) == filed( undisturbed ); } ) );
   EXPECT_EQ( filed( peerd ), filed( undisturbed ) );
}

} // namespace
