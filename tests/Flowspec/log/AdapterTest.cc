#include "Flowspec/FlowspecDalb.h"
#include "Vek/entity/EntityInfo.h"
#include "Vek/log/Receiver.h"
#include "tests/support/Hex.h"
#include "tests/support/LogStream.h"
#include "tests/support/MessageList.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::hexOf;
using TestSupport::messages;
using TestSupport::take;
using Vek::log::EntityStreamAdapter;
using Vek::log::Sender;
using Vek::log::Source;

// A key of 6 bytes of words, for short messages.
FlowspecKey ruleKey( U8 protocol ) {
   FlowspecKey key;
   key.setOpVal( 0, MatchCompType::ipProto, 0x81, protocol );
   return key;
}

// Of some messages, those that carry a counter's snapshot.
std::vector< std::string > snapshots( std::vector< std::string > all ) {
   std::erase_if(
      all, []( const std::string& message ) { return !message.starts_with( "member 2 258" ); } );
   return all;
}

class Adapter : public testing::Test {
protected:
   Adapter() {
      source.rootIs( *status );
      source.rootIs( *counter );
      take( sender );
   }

   // The messages since the last call.
   std::vector< std::string > sent() { return messages( take( sender ) ); }

   Vek::Ptr< Status > status = statusFactory( "status" );
   Vek::Ptr< Counter > counter = counterFactory( "counter" );
   Source source;
   Sender sender{ source };
};

TEST_F( Adapter, ChangingThePacketCountStreamsTheCountersOnce ) {
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) );
   sent();
   rule->packetCountIs( 7 );
   EXPECT_THAT( sent(),
                ElementsAre( "attribute 4 262 0000000000000007" + std::string( 160, '0' ) ) );
   rule->packetCountIs( 7 );
   EXPECT_THAT( sent(), IsEmpty() );
}

TEST_F( Adapter, EachAttributeOfARuleStatusIsOneMessage ) {
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) );
   sent();
   rule->statusCodeIs( HwRuleProgrammingStatus::unsupportedAction );
   rule->errorReasonIs( "no" );
   rule->versionIs( Osk::UniqueId( 255 ) );
   rule->resolvedNexthopInfoIs( L3::ResolvedNexthopInfo( {}, { L3::Via{} } ) );
   EXPECT_THAT( sent(), ElementsAre( "attribute 4 260 00000005", "attribute 4 261 000000026E6F",
                                     "attribute 4 265 00000000000000FF",
                                     "attribute 4 266 0000000000000001" + std::string( 56, '0' ) +
                                        "0010000000" ) );
}

TEST_F( Adapter, StreamsOnlyStoredAttributes ) {
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) );
   sent();
   EntityStreamAdapter& adapter = *EntityStreamAdapter::of( *rule, source );
   for ( const U16 id : { U16{ 260 }, U16{ 261 }, U16{ 262 }, U16{ 265 }, U16{ 266 } } ) {
      EXPECT_TRUE( adapter.streamAdapterOnAttribute( id ) );
      EXPECT_EQ( sent().size(), 1U ) << id;
   }
   for ( const U16 id : { U16{ 2 }, U16{ 256 }, U16{ 257 }, U16{ 258 }, U16{ 259 }, U16{ 263 },
                          U16{ 264 }, U16{ 267 }, U16{ 268 }, U16{ 269 }, U16{ 65535 } } ) {
      EXPECT_FALSE( adapter.streamAdapterOnAttribute( id ) );
      EXPECT_THAT( sent(), IsEmpty() ) << id;
   }
}

TEST_F( Adapter, ConstructorParametersTravelAheadOfAnEntity ) {
   const auto vrf = status->vrfRuleStatusIs( 5 );
   const auto rule = vrf->ruleStatusIs( ruleKey( 6 ) );
   const auto family = vrf->activeIntfPerAfIs( Zorv::AddressFamily::ipv6 );
   const auto set = status->interfaceSetIs( 0x102 );
   const auto parameters = [&]( const Vek::Entity& entity ) {
      const EntityStreamAdapter& adapter = *EntityStreamAdapter::of( entity, source );
      std::vector< U8 > bytes( adapter.attrLogSizeCtorParams() );
      Vek::LogWriter out( bytes.data() );
      adapter.serializeConstructorParams( out );
      EXPECT_EQ( out.at(), bytes.data() + bytes.size() );
      return hexOf( bytes );
   };
   EXPECT_EQ( parameters( *status ), "00000006737461747573" );
   EXPECT_EQ( parameters( *vrf ), "00000005" );
   EXPECT_EQ( parameters( *family ), "00000002" );
   EXPECT_EQ( parameters( *set ), "0102" );
   EXPECT_EQ( parameters( *rule ), hexOf( TestSupport::logBytes( ruleKey( 6 ) ) ) );
}

TEST_F( Adapter, ChildrenAreAnnouncedBeforeTheirAttributes ) {
   const std::string key = hexOf( TestSupport::logBytes( ruleKey( 6 ) ) );
   const auto vrf = status->vrfRuleStatusIs( 5 );
   vrf->ruleStatusIs( ruleKey( 6 ) )->versionIs( Osk::UniqueId( 1 ) );
   status->interfaceSetIs( 9 )->intfIs( Zorv::IntfId( 3 ) );
   EXPECT_THAT( sent(),
                ElementsAre( "child 1 258 000000000000000300000005", "transaction 3 259 00",
                             "transaction 3 261 00", "child 3 261 0000000000000004" + key,
                             "child 1 262 00000000000000050009", "transaction 3 259 02",
                             "transaction 3 260 00", "transaction 3 260 02", "transaction 3 261 02",
                             "attribute 4 260 00000000", "attribute 4 261 00000000",
                             "attribute 4 262 " + std::string( 176, '0' ),
                             "attribute 4 265 0000000000000001", "attribute 4 266 0000000000000000",
                             "transaction 5 259 00", "member 5 259 0000000000000003",
                             "transaction 5 259 02" ) );
}

TEST_F( Adapter, AWholeStatusInTheOrderOfItsFields ) {
   status->vrfRuleStatusIs( 5 );
   status->counterUpdateTimeIs( 1.0 );
   status->unsupportedQualIs( UnsupportedQual( Zorv::AddressFamily::ipv4 ) );
   status->interfaceSetIs( 9 );
   Source fresh;
   fresh.rootIs( *status );
   Sender whole( fresh );
   std::vector< std::string > all = messages( take( whole ) );
   EXPECT_THAT( all.front(), testing::StartsWith( "types 0 0 " ) );
   all.erase( all.begin() );
   EXPECT_THAT(
      all,
      ElementsAre( "root 1 0 00000010466C6F77737065633A3A53746174757300000006737461747573",
                   "transaction 1 258 00", "transaction 1 262 00",
                   "child 1 258 000000000000000200000005", "transaction 2 259 00",
                   "transaction 2 261 00", "child 1 262 00000000000000030009",
                   "transaction 1 258 02", "attribute 1 259 3FF0000000000000", "attribute 1 260 00",
                   "transaction 1 261 00", "member 1 261 00000001000000010000000000000000",
                   "transaction 1 261 02", "transaction 1 262 02", "transaction 2 259 02",
                   "transaction 2 260 00", "transaction 2 260 02", "transaction 2 261 02",
                   "transaction 3 259 00", "transaction 3 259 02", "synchronised 0 0 " ) );
}

TEST_F( Adapter, MembersAndTheirRemovals ) {
   const auto vrf = status->vrfRuleStatusIs( 1 );
   const auto set = status->interfaceSetIs( 2 );
   sent();
   const IntfErrorKey error( Zorv::IntfId( 3 ), Zorv::AddressFamily::ipv4 );
   vrf->intfErrorIs( error, "x" );
   vrf->intfErrorDel( error );
   set->intfIs( Zorv::IntfId( 4 ) );
   set->intfDel( Zorv::IntfId( 4 ) );
   status->unsupportedQualIs( UnsupportedQual( Zorv::AddressFamily::ipv6 ) );
   status->unsupportedQualDel( Zorv::AddressFamily::ipv6 );
   EXPECT_THAT( sent(), ElementsAre( "member 3 260 0000000000000003000000010000000178",
                                     "member 3 260 removed 000000000000000300000001",
                                     "member 4 259 0000000000000004",
                                     "member 4 259 removed 0000000000000004",
                                     "member 1 261 00000002000000020000000000000000",
                                     "member 1 261 removed 00000002" ) );
}

TEST_F( Adapter, ARemovedChildIsItsKeyAndAnEmptyMember ) {
   const auto vrf = status->vrfRuleStatusIs( 1 );
   vrf->ruleStatusIs( ruleKey( 6 ) );
   sent();
   vrf->ruleStatusDel( ruleKey( 6 ) );
   status->vrfRuleStatusDel( 1 );
   EXPECT_THAT( sent(), ElementsAre( "child 3 261 removed 0000000000000000" +
                                        hexOf( TestSupport::logBytes( ruleKey( 6 ) ) ),
                                     "child 1 258 removed 000000000000000000000001" ) );
}

TEST_F( Adapter, AChildThatGoesBeforeItIsAnnouncedIsNeverSent ) {
   const auto vrf = status->vrfRuleStatusIs( 1 );
   vrf->ruleStatusIs( ruleKey( 6 ) );
   status->vrfRuleStatusDel( 1 );
   EXPECT_THAT( sent(), IsEmpty() );
}

TEST_F( Adapter, AChildThatIsMadeAgainReplacesTheOldOne ) {
   status->interfaceSetIs( 2 );
   sent();
   const auto blocker = status->vrfRuleStatusIs( 1 ); // keeps the connection from being up to date
   status->interfaceSetDel( 2 );
   status->interfaceSetIs( 2 );
   const auto all = sent();
   EXPECT_THAT( all, testing::Contains( "child 1 262 00000000000000050002" ) );
   EXPECT_THAT( all, testing::Not( testing::Contains( testing::HasSubstr( "removed" ) ) ) );
}

TEST_F( Adapter, ANewConnectionReceivesEachSnapshotOnceAndThenTheChanges ) {
   for ( U8 protocol = 1; protocol <= 3; ++protocol ) {
      counter->snapshotIs( ruleKey( protocol ), CounterVersion() );
   }
   const std::vector< std::string > first = sent();
   EXPECT_EQ( first.size(), 3U );
   Sender late( source );
   EXPECT_EQ( snapshots( messages( take( late ) ) ), first );
   counter->snapshotIs( ruleKey( 9 ), CounterVersion() );
   const std::vector< std::string > change = sent();
   EXPECT_EQ( change.size(), 1U );
   EXPECT_EQ( messages( take( late ) ), change );
}

TEST_F( Adapter, AKeyThatChangesTwiceWhileAConnectionIsFullIsSentOnceWithItsLatestValue ) {
   for ( U8 protocol = 1; protocol <= 3; ++protocol ) {
      counter->snapshotIs( ruleKey( protocol ), CounterVersion( {}, Osk::UniqueId( protocol ) ) );
   }
   Sender full( source, 200 );
   std::vector< std::string > received;
   while ( received.empty() ) {
      full.fill();
      const auto pending = full.pending();
      ASSERT_FALSE( pending.empty() );
      received = snapshots( messages( pending ) );
      full.sent( pending.size() );
   }
   sent();
   for ( U64 round = 1; round <= 2; ++round ) {
      for ( const U8 protocol : { U8{ 1 }, U8{ 3 } } ) {
         counter->snapshotIs( ruleKey( protocol ),
                              CounterVersion( {}, Osk::UniqueId( 16 * round + protocol ) ) );
      }
   }
   EXPECT_THAT( received, ElementsAre( testing::EndsWith( "01" ) ) );
   EXPECT_THAT( snapshots( messages( take( full ) ) ),
                ElementsAre( testing::EndsWith( "21" ), testing::EndsWith( "02" ),
                             testing::EndsWith( "23" ) ) );
}

TEST_F( Adapter, NewFlowOutMarksWhatStandsBeforeAFieldAsSent ) {
   Sender late( source );
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) );
   take( late );
   EntityStreamAdapter& adapter = *EntityStreamAdapter::of( *rule, source );
   Vek::log::FlowOut& waiting = adapter.newFlowOut( late, 262 );
   EXPECT_EQ( waiting.dirty, 0b11100U );
}

TEST_F( Adapter, FlowOutResumesAtTheFieldThatDidNotFit ) {
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) );
   rule->errorReasonIs( Vek::String( 50, 'x' ) );
   sent();
   Sender small( source, 150 );
   EntityStreamAdapter& adapter = *EntityStreamAdapter::of( *rule, source );
   small.fill();
   while ( !small.idle() ) {
      small.sent( small.pending().size() );
      small.fill();
   }
   Vek::log::FlowOut& waiting = adapter.newFlowOut( small );
   // 20 and 70 bytes fit, the counters' 104 do not.
   EXPECT_EQ( adapter.handleAttrFlowOut( 0, waiting ), 262 );
   EXPECT_EQ( small.pending().size(), 90U );
   EXPECT_EQ( adapter.handleAttrFlowOut( 262, waiting ), 262 );
   small.sent( 90 );
   EXPECT_EQ( adapter.handleAttrFlowOut( 262, waiting ), 266 );
   small.sent( small.pending().size() );
   EXPECT_EQ( adapter.handleAttrFlowOut( 266, waiting ), 0 );
   EXPECT_EQ( adapter.handleAttrFlowOut( 0, waiting ), 0 );
}

TEST_F( Adapter, OnlyAttributesAreStreamedOnDemand ) {
   EntityStreamAdapter* const adapter = EntityStreamAdapter::of( *status, source );
   ASSERT_NE( adapter, nullptr );
   // No field, a collection of values, and children.
   for ( const U16 fieldId : { U16{ 1 }, U16{ 9999 }, U16{ 261 }, U16{ 262 } } ) {
      EXPECT_FALSE( adapter->streamAdapterOnAttribute( fieldId ) ) << fieldId;
   }
   EXPECT_THAT( sent(), IsEmpty() );
}

TEST_F( Adapter, AnEntityMayBeStreamedByTwoSources ) {
   Source other;
   other.rootIs( *status );
   Sender second( other );
   take( second );
   status->vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) )->statusCodeIs( programmed );
   const auto kinds = []( const std::vector< std::string >& all ) {
      std::vector< std::string > words;
      for ( const std::string& message : all ) {
         words.push_back( message.substr( 0, message.find( ' ' ) ) );
      }
      return words;
   };
   const std::vector< std::string > first = kinds( sent() );
   EXPECT_EQ( std::ranges::count( first, "child" ), 2 );
   EXPECT_EQ( kinds( messages( take( second ) ) ), first );
   status->vrfRuleStatusDel( 1 );
   EXPECT_THAT( sent(), ElementsAre( "child 1 258 removed 000000000000000000000001" ) );
   EXPECT_THAT( messages( take( second ) ),
                ElementsAre( "child 1 258 removed 000000000000000000000001" ) );
}

TEST_F( Adapter, AKeyThatTheFirstCopyHasYetToComeToIsToldOnce ) {
   constexpr U16 count = 10000;
   const auto portKey = []( U16 port ) {
      FlowspecKey key;
      key.setOpVal( 0, MatchCompType::destPort, 0x91, port );
      return key;
   };
   for ( U16 port = 0; port < count; ++port ) {
      counter->snapshotIs( portKey( port ), CounterVersion( {}, Osk::UniqueId( 1 ) ) );
   }
   Sender late( source, 4096 );
   std::vector< std::string > told;
   while ( told.empty() ) {
      late.fill();
      const auto pending = late.pending();
      ASSERT_FALSE( pending.empty() );
      told = snapshots( messages( pending ) );
      late.sent( pending.size() );
   }
   counter->snapshotIs( portKey( count - 1 ), CounterVersion( {}, Osk::UniqueId( 2 ) ) );
   const std::vector< std::string > rest = snapshots( messages( take( late ) ) );
   EXPECT_EQ( told.size() + rest.size(), count );
   EXPECT_THAT( rest.back(), testing::EndsWith( "02" ) );
}

// Puts another child in the place of one that comes, once, before the stream is told of it.
class Replacing final : public Vek::Observer {
public:
   explicit Replacing( Status& status ) : status_( status ) {}

   void onChange( const Vek::Change& change ) override {
      if ( !done_ && !change.removed ) {
         done_ = true;
         status_.vrfRuleStatusDel( 1 );
         status_.vrfRuleStatusIs( 1 )->ruleStatusIs( ruleKey( 6 ) )->packetCountIs( 7 );
      }
   }

private:
   Status& status_;
   bool done_ = false;
};

TEST_F( Adapter, AChildThatAnObserverReplacesIsStreamedAsItIsThen ) {
   Replacing replacing( *status );
   const Vek::Observation observation = status->observe( replacing );
   status->vrfRuleStatusIs( 1 );
   Vek::Directory there;
   Vek::log::Receiver receiver( there );
   Sender late( source );
   receiver.receive( take( late ) );
   const std::vector< std::string > told = sent();
   EXPECT_EQ( std::ranges::count_if(
                 told, []( const auto& line ) { return line.starts_with( "child 1 258" ); } ),
              1 )
      << testing::PrintToString( told );
   EXPECT_EQ( static_cast< Status& >( *there.entity( "status" ) )
                 .vrfRuleStatus( 1 )
                 ->ruleStatus( ruleKey( 6 ) )
                 ->packetCount(),
              7U );
   // Both are observed from then on.
   status->vrfRuleStatus( 1 )->ruleStatus( ruleKey( 6 ) )->packetCountIs( 8 );
   EXPECT_EQ( sent().size(), 1U );
}

// A user's type, with an attribute that it changes itself and one that is not stored as it is set.
class Uptime final : public Vek::EntityOf< Uptime, Vek::NamedEntity > {
public:
   static constexpr std::string_view typeName = "Test::Uptime";
   static const Vek::TypeInfo& type();

   Uptime( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   void tick();
   U32 minutes() const { return seconds_ / 60; }
   void minutesIs( U32 minutes );
   void noteIs( U32 note );

   struct Table;

protected:
   ~Uptime() override = default;

private:
   U32 seconds_ = 0;
   U32 note_ = 0;
};

struct Uptime::Table {
   static constexpr Vek::Rows rows{
      Vek::attr< &Uptime::seconds_ >( 258, "seconds" ),
      Vek::property< &Uptime::minutes, &Uptime::minutesIs >( 259, "minutes" ),
      Vek::attr< &Uptime::note_, &Uptime::noteIs >( 260, "note" ) };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< Uptime, rows, Vek::String >( Vek::TypeKind::root );
};
const Vek::TypeInfo& Uptime::type() { return Table::info; }
void Uptime::tick() { put< Table, &Uptime::seconds_ >( seconds_ + 1 ); }
void Uptime::minutesIs( U32 minutes ) { put< Table, &Uptime::seconds_ >( 60 * minutes ); }
void Uptime::noteIs( U32 note ) { put< Table, &Uptime::note_ >( note ); }

TEST_F( Adapter, WhatIsNotStoredOrMayNotBeSetIsNotStreamed ) {
   const auto uptime = Vek::create< Uptime >( "uptime" );
   source.rootIs( *uptime );
   sent();
   uptime->tick();
   uptime->minutesIs( 5 );
   EXPECT_THAT( sent(), IsEmpty() );
   uptime->noteIs( 7 );
   EXPECT_THAT( sent(), ElementsAre( testing::EndsWith( "260 00000007" ) ) );
}

TEST_F( Adapter, TheFirstReasonToFailStays ) {
   source.fail( "one" );
   source.fail( "two" );
   EXPECT_EQ( sender.error(), "one" );
}

} // namespace
} // namespace Flowspec
