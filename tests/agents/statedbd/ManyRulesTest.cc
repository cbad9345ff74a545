#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"

#include <algorithm>
#include <array>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using TestSupport::Database;
using Vek::log::Mount;

constexpr U32 count = 100'000;
constexpr const char* root = "flowspec/config";

// A reader that takes what comes and keeps nothing of it.
class Drain {
public:
   explicit Drain( const Database& database ) : fd_( database.endpoint().connect() ) {
      const Vek::String greeting = Vek::concat( "mount/1 read drain ", root, '\n' );
      EXPECT_EQ( ::write( fd_, greeting.data(), greeting.size() ),
                 static_cast< ssize_t >( greeting.size() ) );
   }
   Drain( const Drain& ) = delete;
   Drain& operator=( const Drain& ) = delete;
   ~Drain() { ::close( fd_ ); }

   void take() {
      std::array< char, 1 << 16 > bytes;
      for ( ssize_t size; ( size = ::read( fd_, bytes.data(), bytes.size() ) ) > 0; ) {
         taken_ += static_cast< U64 >( size );
      }
   }
   U64 taken() const { return taken_; }

private:
   int fd_;
   U64 taken_ = 0;
};

class ManyRules : public testing::Test {
protected:
   ManyRules() { EXPECT_TRUE( TestSupport::untilAllStand( { &writer } ) ); }

   static FlowspecKey ruleKey( U32 number ) {
      FlowspecKey key;
      key.vrfIdIs( 0 );
      key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
      key.setOpVal( 0, destPort, 0x91, number & 0xFFFF );
      key.setOpVal( 1, srcPort, 0x91, number >> 16 );
      return key;
   }

   // Lets all but the stalled one go on until the copy is as it should be.
   template < typename IsDone >
   bool until( IsDone isDone ) {
      const auto end = Mount::Clock::now() + std::chrono::minutes( 2 );
      Mount* const mounts[] = { &writer, &reader };
      while ( !isDone() ) {
         if ( Mount::Clock::now() > end ) {
            return false;
         }
         Mount::wait( mounts, std::chrono::milliseconds( 5 ) );
         for ( Mount* const mount : mounts ) {
            mount->process();
         }
         for ( const auto& drain : drains ) {
            drain->take();
         }
      }
      return true;
   }

   // Whether the copy has all rules with this number, which the last one has last.
   bool allHave( U64 ruleId ) {
      const auto copy = replica.entity( root );
      const auto vrf = copy ? static_cast< Config& >( *copy ).vrfRuleConfig( 0 ) : nullptr;
      return vrf && vrf->rule().size() == count &&
             ( *std::prev( vrf->rule().end() ) )->ruleId() == ruleId &&
             std::ranges::all_of( vrf->rule(),
                                  [&]( const auto& rule ) { return rule->ruleId() == ruleId; } );
   }

   Database database;
   Vek::Ptr< Config > config = configFactory( root );
   Vek::Directory replica;
   Mount writer{ database.endpoint(), "configd", *config };
   Mount reader{ database.endpoint(), "reader", root, replica };
   std::vector< std::unique_ptr< Drain > > drains;
};

TEST_F( ManyRules, AreFiledChangedAndRemovedBeforeTwentyReadersOfWhichOneStalls ) {
   for ( int i = 0; i < 18; ++i ) {
      drains.push_back( std::make_unique< Drain >( database ) );
   }
   const Drain stalled( database );
   const auto vrf = config->vrfRuleConfigIs( 0 );
   for ( U32 number = 0; number < count; ++number ) {
      vrf->ruleIs( ruleKey( number ) )->ruleIdIs( 1 );
   }
   ASSERT_TRUE( until( [&] { return allHave( 1 ); } ) );
   const U64 filed = database.process().memory();
   for ( U64 ruleId = 2; ruleId <= 4; ++ruleId ) {
      for ( const auto& rule : vrf->rule() ) {
         rule->ruleIdIs( ruleId );
      }
      ASSERT_TRUE( until( [&] { return allHave( ruleId ); } ) );
   }
   // Marks for what the stalled one has not been told, not the changes.
   EXPECT_LT( database.process().memory(), filed + filed / 2 + 20'000 );
   for ( U32 number = 0; number < count; ++number ) {
      vrf->ruleDel( ruleKey( number ) );
   }
   ASSERT_TRUE( until( [&] {
      const auto copy = replica.entity( root );
      return static_cast< Config& >( *copy ).vrfRuleConfig( 0 )->rule().size() == 0;
   } ) );
   for ( const auto& drain : drains ) {
      // Each rule was announced with its key, of which a word alone is 6 bytes.
      EXPECT_GT( drain->taken(), U64{ count } * 62 );
   }
}

} // namespace
} // namespace Flowspec
