#include "Vek/log/Receiver.h"
#include "Vek/log/Schema.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/Hex.h"
#include "tests/support/LogStream.h"
#include "tests/support/RandomTree.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::bytesOf;
using TestSupport::ChangeRecorder;
using TestSupport::encoded;
using TestSupport::RandomTree;
using TestSupport::take;
using Vek::Directory;
using Vek::LogReader;
using Vek::log::EntityProxy;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;
using Vek::log::StreamType;

class RuleProxy : public testing::Test {
protected:
   bool receive( U16 fieldId, const std::string& hex, bool removed = false ) {
      const std::vector< U8 > bytes = bytesOf( hex );
      LogReader in( bytes );
      return proxy.doHandleAttrDeserialization( fieldId, removed, bytes.size(), in );
   }

   Vek::Ptr< RuleStatus > rule = ruleStatusFactory( FlowspecKey() );
   StreamType type{ RuleStatus::type() };
   EntityProxy proxy{ 1, *rule, type };
   ChangeRecorder changes{ *rule };
};

TEST_F( RuleProxy, AStatusCodeKeepsTheLowByteOfWhatWasReceived ) {
   EXPECT_TRUE( receive( 260, "00000104" ) );
   EXPECT_EQ( rule->statusCode(), HwRuleProgrammingStatus::unsupportedTcamProfile );
   EXPECT_THAT( changes.take(), ElementsAre( "260 statusCode was unprocessed" ) );
   EXPECT_TRUE( receive( 260, "00000004" ) );
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_TRUE( receive( 260, "00000009" ) );
   EXPECT_EQ( static_cast< U8 >( rule->statusCode() ), 9 );
}

TEST_F( RuleProxy, ValuesAreAppliedLikeLocalChanges ) {
   EXPECT_TRUE( receive( 261, "00000002 6E6F" ) );
   EXPECT_TRUE( receive( 262, std::string( 15, '0' ) + "7" + std::string( 160, '0' ) ) );
   EXPECT_TRUE( receive( 265, "00000000000000FF" ) );
   EXPECT_TRUE( receive( 266, "00000000 00000000" ) );
   EXPECT_EQ( rule->errorReason(), "no" );
   EXPECT_EQ( rule->packetCount(), 7U );
   EXPECT_EQ( rule->version(), Osk::UniqueId( 255 ) );
   EXPECT_EQ( changes.take().size(), 3U );
}

TEST_F( RuleProxy, FieldsThatAreNotStreamedAreNotHandled ) {
   for ( const U16 id : { U16{ 2 }, U16{ 256 }, U16{ 258 }, U16{ 263 }, U16{ 264 }, U16{ 267 },
                          U16{ 268 }, U16{ 300 } } ) {
      EXPECT_FALSE( receive( id, "00000000" ) ) << id;
   }
   EXPECT_FALSE( proxy.doHandleAttrTransaction( 260, 0 ) );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST_F( RuleProxy, AValueTakesTheWholePayload ) {
   EXPECT_THROW( receive( 260, "00000004 00" ), Vek::StreamException );
   EXPECT_THROW( receive( 261, "00000002 6E6F 00" ), Vek::StreamException );
   EXPECT_THROW( receive( 261, "00000003 6E6F" ), Vek::StreamException );
   EXPECT_THROW( receive( 261, "00000002 6E00" ), Vek::StreamException );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST_F( RuleProxy, AReadOnlyProxyAsksWhetherAFieldMayBeWritten ) {
   const Vek::log::RemoteWrites codeOnly = []( const Vek::Entity&, const Vek::Field& row ) {
      return row.id == 260;
   };
   proxy.readOnlyIs( &codeOnly );
   EXPECT_TRUE( receive( 260, "00000001" ) );
   try {
      receive( 261, "00000002 6E6F" );
      ADD_FAILURE() << "it was written";
   } catch ( const Vek::ReadOnlyProxyException& exception ) {
      EXPECT_STREQ( exception.what(),
                    "Flowspec::RuleStatus errorReason was written from a read-only proxy" );
   }
   EXPECT_EQ( rule->errorReason(), "" );
}

TEST( Transactions, RemoveWhatWasNotReceivedByTheCollectionsOwnOperation ) {
   const auto set = interfaceSetFactory( 7 );
   for ( const U64 id : { 1U, 2U, 3U } ) {
      set->intfIs( Zorv::IntfId( id ) );
   }
   const StreamType type( InterfaceSet::type() );
   EntityProxy proxy( 1, *set, type );
   ChangeRecorder changes( *set );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 259, 0 ) );
   const auto receive = [&]( const std::string& hex ) {
      const std::vector< U8 > bytes = bytesOf( hex );
      LogReader in( bytes );
      EXPECT_TRUE( proxy.doHandleAttrDeserialization( 259, false, bytes.size(), in ) );
   };
   receive( "0000000000000002" );
   receive( "0000000000000004" );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 259, 1 ) );
   EXPECT_THAT( changes.take(), ElementsAre( "259 intf[intf4]" ) );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 259, 2 ) );
   EXPECT_THAT( changes.take(), ElementsAre( "259 intf[intf1]", "259 intf[intf3]" ) );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 259, 2 ) );
   EXPECT_FALSE( proxy.doHandleAttrTransaction( 258, 0 ) );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST( Transactions, KeepWhatThisProcessMakesMeanwhile ) {
   const auto set = interfaceSetFactory( 7 );
   for ( const U64 id : { 1U, 2U, 3U, 4U } ) {
      set->intfIs( Zorv::IntfId( id ) );
   }
   const StreamType type( InterfaceSet::type() );
   EntityProxy proxy( 1, *set, type );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 259, 0 ) );
   const std::vector< U8 > two = bytesOf( "0000000000000002" );
   LogReader in( two );
   EXPECT_TRUE( proxy.doHandleAttrDeserialization( 259, false, two.size(), in ) );
   set->intfIs( Zorv::IntfId( 9 ) ); // new
   set->intfIs( Zorv::IntfId( 3 ) ); // there already
   set->intfDel( Zorv::IntfId( 4 ) );
   set->intfIs( Zorv::IntfId( 4 ) ); // another one than at the beginning
   set->intfIs( Zorv::IntfId( 8 ) );
   set->intfDel( Zorv::IntfId( 8 ) );
   ChangeRecorder changes( *set );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 259, 2 ) );
   EXPECT_THAT( changes.take(), ElementsAre( "259 intf[intf1]", "259 intf[intf3]" ) );
   EXPECT_THAT( set->intf(), testing::UnorderedElementsAre( Zorv::IntfId( 2 ), Zorv::IntfId( 4 ),
                                                            Zorv::IntfId( 9 ) ) );
}

TEST( Transactions, RemoveAMemberThatThisProcessChangesMeanwhile ) {
   const auto counter = counterFactory( "counter" );
   FlowspecKey first;
   first.vrfIdIs( 1 );
   FlowspecKey second;
   second.vrfIdIs( 2 );
   counter->snapshotIs( second, CounterVersion() );
   const StreamType type( Counter::type() );
   EntityProxy proxy( 1, *counter, type );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 258, 0 ) );
   counter->snapshotIs( first, CounterVersion() );
   counter->snapshotIs( second, CounterVersion() );
   EXPECT_EQ( counter->snapshot().size(), 2U );
   EXPECT_TRUE( proxy.doHandleAttrTransaction( 258, 2 ) );
   ASSERT_EQ( counter->snapshot().size(), 1U );
   EXPECT_EQ( counter->snapshot().begin()->first, first );
}

TEST( Transactions, ObserversOfAReaderThatWasCutOffSeeOnlyWhatChanged ) {
   Directory here;
   Directory there;
   RandomTree tree( here, 5 );
   for ( int i = 0; i < 3000; ++i ) {
      tree.change();
   }
   Source source;
   for ( const auto& root : tree.roots() ) {
      source.rootIs( *root );
   }
   const auto resynchronise = [&] {
      Sender sender( source );
      Receiver receiver( there );
      receiver.receive( take( sender ) );
   };
   resynchronise();
   const auto status = Vek::Ptr< Vek::Entity >( there.entity( "status" ) );
   const auto& replica = static_cast< const Status& >( *status );
   ASSERT_GT( replica.vrfRuleStatus().size(), 0U );
   std::vector< std::unique_ptr< ChangeRecorder > > recorders;
   recorders.push_back( std::make_unique< ChangeRecorder >( *status ) );
   for ( const auto& [vrf, child] : replica.vrfRuleStatus() ) {
      recorders.push_back( std::make_unique< ChangeRecorder >( *child ) );
      for ( const auto& rule : child->ruleStatus() ) {
         recorders.push_back( std::make_unique< ChangeRecorder >( *rule ) );
      }
   }
   resynchronise();
   for ( const auto& recorder : recorders ) {
      EXPECT_THAT( recorder->take(), IsEmpty() );
   }
   static_cast< Status& >( *here.entity( "status" ) ).counterUpdateTimeIs( 99 );
   resynchronise();
   EXPECT_THAT( recorders.front()->take(), ElementsAre( testing::StartsWith( "259 " ) ) );
}

TEST( Transactions, OneThatIsCutOffRemovesNothing ) {
   Directory here;
   Directory there;
   Source source;
   const auto counter = here.create( "Flowspec::Counter", "counter" );
   auto& snapshots = static_cast< Counter& >( *counter );
   TestSupport::KeyGenerator random( 6 );
   for ( int i = 0; i < 20; ++i ) {
      snapshots.snapshotIs( random.canonicalKey(), CounterVersion() );
   }
   source.rootIs( *counter );
   {
      Sender sender( source );
      Receiver receiver( there );
      receiver.receive( take( sender ) );
   }
   const auto& replica = static_cast< const Counter& >( *there.entity( "counter" ) );
   ASSERT_EQ( replica.snapshot().size(), 20U );
   snapshots.snapshotDelAll();
   Sender sender( source );
   const std::vector< U8 > whole = take( sender );
   const std::size_t end = whole.size() - 16 - 24 - 17; // without the end, timestamp and mark
   Receiver receiver( there );
   receiver.receive( std::span( whole ).first( end ) );
   EXPECT_EQ( replica.snapshot().size(), 20U );
   receiver.receive( std::span( whole ).subspan( end ) );
   EXPECT_EQ( replica.snapshot().size(), 0U );
}

class BadStream : public testing::Test {
protected:
   BadStream() {
      RandomTree tree( here, 7 );
      // Each corruption costs as much as the stream is long.
      for ( int i = 100; i > 0; --i ) {
         tree.change();
      }
      recorded = encoded( tree.roots() );
   }

   // What a receiver says to a stream; "" when it takes it.
   std::string refusal( std::span< const U8 > bytes ) {
      Directory there;
      Receiver receiver( there );
      try {
         receiver.receive( bytes );
      } catch ( const Vek::StreamException& exception ) {
         // What was taken before is whole: it can be dumped, encoded and dropped.
         encoded( there );
         return exception.what();
      }
      encoded( there );
      return "";
   }

   Directory here;
   std::vector< U8 > recorded;
};

TEST_F( BadStream, EveryTruncationLeavesAValidState ) {
   for ( std::size_t size = 0; size < recorded.size(); ++size ) {
      EXPECT_EQ( refusal( std::span( recorded ).first( size ) ), "" ) << size;
   }
}

TEST_F( BadStream, EveryCorruptByteIsRefusedOrLeavesAValidState ) {
   std::size_t refused = 0;
   std::vector< U8 > bytes = recorded;
   for ( std::size_t at = 0; at < bytes.size(); ++at ) {
      const U8 was = bytes[at];
      for ( const U8 flip : { U8{ 0x01 }, U8{ 0x80 }, U8{ 0xFF } } ) {
         bytes[at] = was ^ flip;
         refused += !refusal( bytes ).empty();
      }
      bytes[at] = was;
   }
   EXPECT_GT( refused, 0U );
}

TEST_F( BadStream, PreambleAndTypes ) {
   std::vector< U8 > bytes = recorded;
   bytes[0] = 'H';
   EXPECT_EQ( refusal( bytes ), "the peer does not speak the attribute log" );
   bytes = recorded;
   bytes[5] = 2;
   EXPECT_EQ( refusal( bytes ),
              "the peer speaks version 2 of the attribute log, this process version 1" );
   bytes = recorded;
   bytes[15] ^= 1;
   EXPECT_EQ( refusal( bytes ),
              "message 1 (types): the types do not have the digest that was told" );
}

// Why a root of `type`, of a peer that told the types `told`, is refused.
std::string refusalOfRoot( const std::string& told, const std::string& type ) {
   std::vector< U8 > stream = bytesOf( "56454B4C 0001 0000" );
   const auto append = [&]( const std::vector< U8 >& bytes ) {
      stream.insert( stream.end(), bytes.begin(), bytes.end() );
   };
   const auto number = [&]( U64 value, unsigned size ) {
      while ( size-- > 0 ) {
         stream.push_back( static_cast< U8 >( value >> 8 * size ) );
      }
   };
   number( Vek::log::typesDigest( told ), 8 );
   number( told.size(), 4 );
   append( bytesOf( "01 0000000000000000 0000 00" ) );
   append( { told.begin(), told.end() } );
   Directory there;
   Receiver receiver( there );
   receiver.receive( stream );
   stream.clear();
   number( 4 + type.size() + 9, 4 );
   append( bytesOf( "02 0000000000000001 0000 00" ) );
   number( type.size(), 4 );
   append( { type.begin(), type.end() } );
   append( bytesOf( "00000005 7374617465" ) );
   try {
      receiver.receive( stream );
   } catch ( const Vek::StreamException& exception ) {
      EXPECT_THAT( there.names(), IsEmpty() );
      return exception.what();
   }
   return "";
}

TEST( Types, ARootIsOfATypeThatWasTold ) {
   EXPECT_EQ( refusalOfRoot( "Vek::String value ()\n", "Flowspec::Status" ),
              "message 2 (root): the type Flowspec::Status was not told" );
}

TEST( Types, ARootIsOfATypeThatThisProcessHas ) {
   EXPECT_EQ( refusalOfRoot( "Vek::String value ()\nZone root (Vek::String)\n", "Zone" ),
              "message 2 (root): Vek::Directory: type 'Zone' is not loaded" );
}

} // namespace
} // namespace Flowspec
