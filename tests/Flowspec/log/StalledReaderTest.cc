#include "Vek/log/Connection.h"
#include "tests/support/LogStream.h"
#include "tests/support/RandomTree.h"
#include "tests/support/Sanitized.h"

#include <algorithm>
#include <functional>

#include <malloc.h>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::difference;
using TestSupport::sanitized;
using Vek::Directory;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;

std::size_t heapInUse() { return ::mallinfo2().uordblks; }

// Distinct keys, as many as rules are wanted.
FlowspecKey ruleKey( U32 number ) {
   FlowspecKey key;
   key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( number ), 32 ) );
   return key;
}

constexpr U32 rules = 100000;
constexpr U32 rounds = 100;

class StalledReader : public testing::Test {
protected:
   StalledReader() {
      status = Vek::Ptr< Status >(
         static_cast< Status* >( here.create( "Flowspec::Status", "status" ).get() ) );
      counter = Vek::Ptr< Counter >(
         static_cast< Counter* >( here.create( "Flowspec::Counter", "counter" ).get() ) );
      vrf = status->vrfRuleStatusIs( 1 );
      for ( U32 rule = 0; rule < rules; ++rule ) {
         vrf->ruleStatusIs( ruleKey( rule ) );
         counter->snapshotIs( ruleKey( rule ), CounterVersion() );
      }
      source.rootIs( *status );
      source.rootIs( *counter );
   }

   void changeAll( U32 round ) {
      QosLib::ColoredCounters counters;
      counters.packetHitsIs( round );
      const Osk::UniqueId version( round + 1 );
      const Vek::String reason = Vek::concat( "round ", round );
      for ( const auto& rule : vrf->ruleStatus() ) {
         rule->statusCodeIs( static_cast< HwRuleProgrammingStatus >( round % 8 ) );
         rule->errorReasonIs( reason );
         rule->coloredCountersIs( counters );
         rule->versionIs( version );
      }
      for ( U32 rule = 0; rule < rules; ++rule ) {
         counter->snapshotIs( ruleKey( rule ), CounterVersion( counters, version ) );
      }
   }

   Directory here;
   Vek::Ptr< Status > status;
   Vek::Ptr< Counter > counter;
   Vek::Ptr< VrfRuleStatus > vrf;
   Source source;
};

TEST_F( StalledReader, CostsTheWriterMemoryBoundedByTheState ) {
   Directory there;
   Sender sender( source );
   Receiver receiver( there );
   receiver.receive( TestSupport::take( sender ) );
   ASSERT_TRUE( receiver.synchronised() );
   changeAll( 0 );
   sender.fill();
   const std::size_t stalled = heapInUse();
   for ( U32 round = 1; round < rounds; ++round ) {
      changeAll( round );
      sender.fill();
   }
   if ( !sanitized ) {
      EXPECT_LT( heapInUse(), stalled + stalled / 100 );
   }
   receiver.receive( TestSupport::take( sender ) );
   EXPECT_EQ( difference( there, here ), "" );
}

TEST_F( StalledReader, IsSentEachChangeOnce ) {
   Directory there;
   Sender sender( source );
   Receiver receiver( there );
   receiver.receive( TestSupport::take( sender ) );
   const U64 before = receiver.messages();
   // What fits into the buffer is sent at once; of the rest only the last change.
   for ( U32 round = 0; round < 10; ++round ) {
      changeAll( round );
   }
   receiver.receive( TestSupport::take( sender ) );
   const U64 sent = receiver.messages() - before;
   EXPECT_GE( sent, U64{ rules } * 5 );
   EXPECT_LT( sent, U64{ rules } * 5 + 20000 ); // the buffer holds fewer
}

// A collection, and how a member comes and goes.
struct Churned {
   const char* name;
   std::function< Vek::Ptr< Vek::NamedEntity >( Directory& ) > root;
   std::function< void( Vek::NamedEntity&, U32 number ) > insert;
   std::function< void( Vek::NamedEntity&, U32 number ) > erase;
};

template < typename T >
auto rootOf() {
   return []( Directory& directory ) { return directory.create( T::type().name, "root" ); };
}
template < typename T, typename F >
auto on( F f ) {
   return [f]( Vek::NamedEntity& root, U32 number ) { f( static_cast< T& >( root ), number ); };
}
Zorv::IntfId intf( U32 number ) { return Zorv::IntfId( number ); }
MatchCompType compType( U32 number ) { return static_cast< MatchCompType >( 1 + number % 13 ); }

const Churned everyKind[] = {
   { "set", rootOf< Config >(),
     on< Config >( []( Config& c, U32 i ) { c.enabledIntfIs( intf( i ) ); } ),
     on< Config >( []( Config& c, U32 i ) { c.enabledIntfDel( intf( i ) ); } ) },
   { "map", rootOf< CliConfig >(),
     on< CliConfig >( []( CliConfig& c, U32 i ) { c.sourceVrfOverrideIs( intf( i ), "x" ); } ),
     on< CliConfig >( []( CliConfig& c, U32 i ) { c.sourceVrfOverrideDel( intf( i ) ); } ) },
   { "values that know their keys", rootOf< CliConfig >(),
     on< CliConfig >(
        []( CliConfig& c, U32 i ) { c.enabledIntfIs( InterfaceEnableConfig( intf( i ) ) ); } ),
     on< CliConfig >( []( CliConfig& c, U32 i ) { c.enabledIntfDel( intf( i ) ); } ) },
   { "map of a child", rootOf< Status >(), on< Status >( []( Status& s, U32 i ) {
        s.vrfRuleStatusIs( 1 )->intfErrorIs( IntfErrorKey( intf( i ), Zorv::AddressFamily::ipv4 ),
                                             "x" );
     } ),
     on< Status >( []( Status& s, U32 i ) {
        s.vrfRuleStatusIs( 1 )->intfErrorDel(
           IntfErrorKey( intf( i ), Zorv::AddressFamily::ipv4 ) );
     } ) },
   { "set of a child", rootOf< Status >(),
     on< Status >( []( Status& s, U32 i ) { s.interfaceSetIs( 1 )->intfIs( intf( i ) ); } ),
     on< Status >( []( Status& s, U32 i ) { s.interfaceSetIs( 1 )->intfDel( intf( i ) ); } ) },
   { "flat map", rootOf< Config >(), on< Config >( []( Config& c, U32 i ) {
        c.vrfRuleConfigIs( 1 )
           ->ruleIs( FlowspecKey() )
           ->matchSetIs( MatchComponent( compType( i ) ) );
     } ),
     on< Config >( []( Config& c, U32 i ) {
        c.vrfRuleConfigIs( 1 )->ruleIs( FlowspecKey() )->matchSetDel( compType( i ) );
     } ) },
   { "keys of rules", rootOf< Counter >(),
     on< Counter >( []( Counter& c, U32 i ) { c.snapshotIs( ruleKey( i ), CounterVersion() ); } ),
     on< Counter >( []( Counter& c, U32 i ) { c.snapshotDel( ruleKey( i ) ); } ) },
   { "hashed children", rootOf< Status >(),
     on< Status >( []( Status& s, U32 i ) { s.vrfRuleStatusIs( i ); } ),
     on< Status >( []( Status& s, U32 i ) { s.vrfRuleStatusDel( i ); } ) },
   { "ordered children", rootOf< Config >(),
     on< Config >( []( Config& c, U32 i ) { c.vrfRuleConfigIs( 1 )->ruleIs( ruleKey( i ) ); } ),
     on< Config >( []( Config& c, U32 i ) { c.vrfRuleConfigIs( 1 )->ruleDel( ruleKey( i ) ); } ) },
};

class ChurnBeforeAStalledReader : public testing::TestWithParam< Churned > {
protected:
   ChurnBeforeAStalledReader() {
      for ( const U32 number : kept ) {
         insert( number );
      }
      source.rootIs( *root );
   }

   void insert( U32 number ) { GetParam().insert( *root, number ); }
   void erase( U32 number ) { GetParam().erase( *root, number ); }

   // Members come and go that the reader never hears of; no more than that grows.
   void churn() {
      const std::size_t before = heapInUse();
      for ( U32 number = 100; number < ( sanitized ? 2000 : 20000 ); ++number ) {
         insert( number );
         erase( number );
         if ( number % 1000 == 0 ) {
            sender.fill();
         }
      }
      if ( !sanitized ) {
         EXPECT_LT( heapInUse(), before + 16384 );
      }
   }

   // What the reader lacks is sent now, in less than 50 messages.
   void expectCaughtUp() {
      const U64 before = receiver.messages();
      receiver.receive( TestSupport::take( sender ) );
      EXPECT_TRUE( receiver.synchronised() );
      EXPECT_LT( receiver.messages(), before + 50 );
      EXPECT_EQ( difference( there, here ), "" );
   }

   static constexpr U32 kept[] = { 1, 3, 5 };

   Directory here;
   Directory there;
   Vek::Ptr< Vek::NamedEntity > root = GetParam().root( here );
   Source source;
   Sender sender{ source, 1 }; // holds one message at a time
   Receiver receiver{ there };
};

TEST_P( ChurnBeforeAStalledReader, CostsNothingThatLasts ) {
   receiver.receive( TestSupport::take( sender ) );
   churn();
   expectCaughtUp();
}

TEST_P( ChurnBeforeAStalledReader, CostsNothingWhileItsFirstCopyIsSent ) {
   for ( int i = 0; i < 12; ++i ) {
      receiver.receive( TestSupport::take( sender, sender.pending().size() + 1 ) );
      churn();
   }
   receiver.receive( TestSupport::take( sender ) );
   EXPECT_TRUE( receiver.synchronised() );
   EXPECT_EQ( difference( there, here ), "" );
}

TEST_P( ChurnBeforeAStalledReader, RemovesWhatTheReaderHasAndTellsWhatIsThere ) {
   for ( U32 number = 20; number < 33; ++number ) {
      insert( number );
   }
   receiver.receive( TestSupport::take( sender ) );
   for ( const U32 number : kept ) {
      erase( number );
   }
   churn();
   for ( U32 number = 20; number < 33; ++number ) {
      erase( number );
   }
   insert( 3 );
   insert( 7 );
   churn();
   expectCaughtUp();
}

INSTANTIATE_TEST_SUITE_P(, ChurnBeforeAStalledReader, testing::ValuesIn( everyKind ),
                         []( const auto& tested ) {
                            std::string name = tested.param.name;
                            std::replace( name.begin(), name.end(), ' ', '_' );
                            return name;
                         } );

// Roots come and go while a connection holds one message at a time.
class RootsBeforeAStalledReader : public testing::Test {
protected:
   RootsBeforeAStalledReader() { source.rootIs( *status ); }

   // What the peer is told now, but for the types.
   std::vector< std::string > told() {
      std::vector< std::string > texts = TestSupport::messages( TestSupport::take( sender ) );
      std::erase_if( texts,
                     []( const std::string& text ) { return text.starts_with( "types " ); } );
      return texts;
   }
   // Of that, those about roots.
   std::vector< std::string > toldOfRoots() {
      std::vector< std::string > texts = told();
      std::erase_if( texts,
                     []( const std::string& text ) { return !text.starts_with( "root " ); } );
      return texts;
   }
   void fillBuffer() {
      status->vrfRuleStatusIs( 1 )->intfErrorIs( IntfErrorKey(), "x" );
      sender.fill();
      ASSERT_FALSE( sender.idle() );
   }

   Vek::Ptr< Status > status = statusFactory( "s" );
   Vek::Ptr< Config > config = configFactory( "c" );
   Source source;
   Sender sender{ source, 1 };
};

TEST_F( RootsBeforeAStalledReader, OneThatItNeverHeardOfGoesInSilence ) {
   told();
   fillBuffer();
   source.rootIs( *config );
   config->vrfRuleConfigIs( 1 )->ruleIs( FlowspecKey() );
   source.rootDel( *config );
   EXPECT_EQ( toldOfRoots(), std::vector< std::string >() );
   EXPECT_TRUE( sender.idle() );
}

TEST_F( RootsBeforeAStalledReader, OneThatItHeardOfIsSaidToBeGone ) {
   told();
   source.rootIs( *config );
   config->vrfRuleConfigIs( 1 )->ruleIs( FlowspecKey() );
   // Its announcement is in the buffer, and that of its child is not.
   sender.fill();
   source.rootDel( *config );
   const std::vector< std::string > texts = told();
   ASSERT_GE( texts.size(), 2U );
   EXPECT_TRUE( texts.front().starts_with( "root 2 0 0" ) ) << texts.front();
   EXPECT_EQ( texts.back(), "root 2 0 removed " );
   EXPECT_TRUE( std::ranges::none_of(
      texts, []( const std::string& text ) { return text.starts_with( "child " ); } ) );
}

TEST_F( RootsBeforeAStalledReader, OneThatComesAgainIsAnotherOne ) {
   source.rootIs( *config );
   told();
   fillBuffer();
   source.rootDel( *config );
   source.rootIs( *config );
   const std::vector< std::string > texts = toldOfRoots();
   ASSERT_EQ( texts.size(), 2U );
   EXPECT_EQ( texts[0], "root 2 0 removed " );
   EXPECT_TRUE( texts[1].starts_with( "root 4 0 0" ) ) << texts[1];
}

TEST_F( RootsBeforeAStalledReader, TheOthersAreInItsFirstCopy ) {
   const auto counter = counterFactory( "n" );
   source.rootIs( *config );
   source.rootIs( *counter );
   // The types are in the buffer, and no root is. One goes before the copy has come to it.
   sender.fill();
   source.rootDel( *config );
   const std::vector< std::string > texts = toldOfRoots();
   ASSERT_EQ( texts.size(), 2U );
   EXPECT_TRUE( texts[0].starts_with( "root 1 0 0" ) ) << texts[0];
   EXPECT_TRUE( texts[1].starts_with( "root 3 0 0" ) ) << texts[1];
}

TEST_F( RootsBeforeAStalledReader, TheOthersAreInItsFirstCopyAfterOneThatWasTold ) {
   source.rootIs( *config );
   sender.fill();
   sender.sent( sender.pending().size() );
   // The announcement of the first root is in the buffer.
   sender.fill();
   source.rootDel( *status );
   const std::vector< std::string > texts = toldOfRoots();
   ASSERT_EQ( texts.size(), 3U );
   EXPECT_TRUE( texts[0].starts_with( "root 1 0 0" ) ) << texts[0];
   EXPECT_EQ( texts[1], "root 1 0 removed " );
   EXPECT_TRUE( texts[2].starts_with( "root 2 0 0" ) ) << texts[2];
}

TEST( KeysThatWait, AreReplacedByATransactionWhenTheyOutnumberTheMembers ) {
   Directory here;
   const auto root = here.create( "Flowspec::Config", "config" );
   auto& config = static_cast< Config& >( *root );
   for ( U32 number = 1; number <= 17; ++number ) {
      config.enabledIntfIs( intf( number ) );
   }
   Source source;
   source.rootIs( config );
   Sender sender( source, 1 );
   TestSupport::take( sender );
   config.twoColorCounterEnabledIs( true ); // fills the buffer
   for ( U32 number = 1; number <= 16; ++number ) {
      config.enabledIntfDel( intf( number ) );
   }
   // 16 keys, and one member is left: each is told.
   std::vector< std::string > told = TestSupport::messages( TestSupport::take( sender ) );
   EXPECT_EQ( told.size(), 17U );
   EXPECT_EQ( told[1], "member 1 258 removed 0000000000000001" );
   config.twoColorCounterEnabledIs( false );
   for ( U32 number = 1; number <= 18; ++number ) {
      config.enabledIntfIs( intf( number ) );
   }
   for ( U32 number = 1; number <= 17; ++number ) {
      config.enabledIntfDel( intf( number ) );
   }
   told = TestSupport::messages( TestSupport::take( sender ) );
   EXPECT_EQ( told, ( std::vector< std::string >{ "attribute 1 260 00", "transaction 1 258 00",
                                                  "member 1 258 0000000000000012",
                                                  "transaction 1 258 02" } ) );
}

} // namespace
} // namespace Flowspec
