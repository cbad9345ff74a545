#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/log/Receiver.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/LogStream.h"
#include "tests/support/PeerStream.h"
#include "tests/support/Sanitized.h"

#include <malloc.h>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using TestSupport::ChangeRecorder;
using TestSupport::PeerStream;
using Vek::log::MessageKind;

// What a receiver makes of a peer's messages, whose roots are Flowspec::Status "status", number 1,
// and Flowspec::Config "config", number 2.
class Peer : public testing::Test {
protected:
   Peer() {
      stream.root( 1, "Flowspec::Status", "status" );
      stream.root( 2, "Flowspec::Config", "config" );
      EXPECT_EQ( refusal(), "" );
   }

   // Why the receiver refuses what was sent since the last call; "" when it does not.
   Vek::String refusal() {
      try {
         const std::vector< U8 > bytes = stream.take();
         EXPECT_EQ( receiver.receive( bytes ), bytes.size() );
         return "";
      } catch ( const Vek::StreamException& exception ) {
         return exception.what();
      }
   }

   Status& status() { return static_cast< Status& >( *directory.entity( "status" ) ); }
   Config& config() { return static_cast< Config& >( *directory.entity( "config" ) ); }

   Vek::Directory directory;
   Vek::log::Receiver receiver{ directory };
   PeerStream stream;
};

TEST_F( Peer, ARootMayBeAnnouncedUnderASecondNumberWhichReplacesTheFirst ) {
   const Vek::Ptr< Vek::NamedEntity > before = directory.entity( "status" );
   stream.root( 7, "Flowspec::Status", "status" );
   stream.attribute( 7, 260, "01" );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( directory.entity( "status" ), before );
   EXPECT_TRUE( status().flowspecSupported() );
   EXPECT_EQ( receiver.entity( 7 ), before.get() );
   EXPECT_EQ( receiver.entity( 1 ), nullptr );
   stream.attribute( 1, 260, "00" );
   EXPECT_EQ( refusal(), "message 6 (attribute): no entity has the number 1" );
}

TEST_F( Peer, ChildrenGoWithTheFirstNumberOfTheirRoot ) {
   stream.child( 1, 258, 3, "00000005" );
   stream.root( 7, "Flowspec::Status", "status" );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( status().vrfRuleStatus().size(), 1U );
   EXPECT_EQ( receiver.entity( 3 ), nullptr );
}

TEST_F( Peer, AChildAnnouncedAgainOutsideATransactionReplacesTheFirst ) {
   stream.child( 1, 262, 3, "0009" );
   stream.member( 3, 259, "0000000000000004" );
   EXPECT_EQ( refusal(), "" );
   const Vek::Ptr< InterfaceSet > before = status().interfaceSet( 9 );
   ASSERT_EQ( before->intf().size(), 1U );
   ChangeRecorder changes( status() );
   stream.child( 1, 262, 4, "0009" );
   EXPECT_EQ( refusal(), "" );
   EXPECT_THAT( changes.take(), ElementsAre( "262 interfaceSet[9]", "262 interfaceSet[9]" ) );
   EXPECT_NE( status().interfaceSet( 9 ), before );
   EXPECT_EQ( status().interfaceSet( 9 )->intf().size(), 0U );
   EXPECT_EQ( before->parent(), nullptr );
   EXPECT_EQ( receiver.entity( 3 ), nullptr );
   stream.member( 3, 259, "0000000000000005" );
   EXPECT_EQ( refusal(), "message 7 (member): no entity has the number 3" );
   EXPECT_EQ( before->intf().size(), 1U );
}

TEST_F( Peer, AChildAnnouncedAgainInsideATransactionIsKept ) {
   stream.child( 1, 262, 3, "0009" );
   EXPECT_EQ( refusal(), "" );
   const Vek::Ptr< InterfaceSet > before = status().interfaceSet( 9 );
   ChangeRecorder changes( status() );
   stream.transaction( 1, 262, 0 );
   stream.child( 1, 262, 4, "0009" );
   stream.transaction( 1, 262, 2 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_EQ( receiver.entity( 4 ), before.get() );
   EXPECT_EQ( receiver.entity( 3 ), nullptr );
}

TEST_F( Peer, AnOnlyChildIsReplacedByOneWithOtherParametersAndRemoved ) {
   stream.root( 3, "Flowspec::FlowspecPolicyConfig", "policy" );
   stream.child( 3, 261, 4, "00000001 61" );
   EXPECT_EQ( refusal(), "" );
   const auto& policy = static_cast< FlowspecPolicyConfig& >( *directory.entity( "policy" ) );
   const Vek::Entity* const first = policy.actions().get();
   stream.child( 3, 261, 5, "00000001 61" );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( policy.actions().get(), first );
   EXPECT_EQ( receiver.entity( 5 ), first );
   stream.child( 3, 261, 6, "00000001 62" );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( policy.actions()->name(), "b" );
   EXPECT_EQ( receiver.entity( 5 ), nullptr );
   stream.child( 3, 261, 0, "", true );
   stream.child( 3, 261, 0, "", true );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( policy.actions(), nullptr );
   EXPECT_EQ( receiver.entity( 6 ), nullptr );
}

TEST_F( Peer, NoNewEntityHasTheNumber0OrOneThatIsInUse ) {
   stream.root( 0, "Flowspec::Counter", "counter" );
   EXPECT_EQ( refusal(), "message 4 (root): byte 0: a new entity cannot have the number 0" );
   stream.root( 2, "Flowspec::Counter", "counter" );
   EXPECT_EQ( refusal(), "message 5 (root), Flowspec::Config: byte 0: a new entity cannot have the "
                         "number 2" );
   stream.child( 1, 258, 0, "00000005" );
   EXPECT_EQ( refusal(), "message 6 (child), Flowspec::Status 258 vrfRuleStatus: byte 8: a new "
                         "entity cannot have the number 0" );
   stream.child( 1, 258, 1, "00000005" );
   EXPECT_EQ( refusal(), "message 7 (child), Flowspec::Status 258 vrfRuleStatus: byte 8: a new "
                         "entity cannot have the number 1" );
   EXPECT_EQ( directory.entity( "counter" ), nullptr );
   EXPECT_TRUE( status().vrfRuleStatus().empty() );
}

TEST_F( Peer, TheKindOfAMessageIsThatOfItsRow ) {
   constexpr auto none = ": the type does not stream such a field";
   stream.member( 1, 258, "00000005" );
   EXPECT_EQ( refusal(),
              Vek::concat( "message 4 (member), Flowspec::Status 258 vrfRuleStatus", none ) );
   stream.member( 1, 260, "01" );
   EXPECT_EQ( refusal(),
              Vek::concat( "message 5 (member), Flowspec::Status 260 flowspecSupported", none ) );
   stream.attribute( 1, 261, "00000001" );
   EXPECT_EQ( refusal(),
              Vek::concat( "message 6 (attribute), Flowspec::Status 261 unsupportedQual", none ) );
   stream.attribute( 1, 260, "01", true );
   EXPECT_EQ(
      refusal(),
      Vek::concat( "message 7 (attribute), Flowspec::Status 260 flowspecSupported", none ) );
   stream.attribute( 1, 999, "01" );
   EXPECT_EQ( refusal(), Vek::concat( "message 8 (attribute), Flowspec::Status 999", none ) );
   stream.member( 1, 999, "01" );
   EXPECT_EQ( refusal(), Vek::concat( "message 9 (member), Flowspec::Status 999", none ) );
   stream.child( 1, 260, 9, "" );
   EXPECT_EQ(
      refusal(),
      "message 10 (child), Flowspec::Status 260 flowspecSupported: the field holds no children" );
   stream.child( 1, 999, 9, "" );
   EXPECT_EQ( refusal(), "message 11 (child), Flowspec::Status 999: the field holds no children" );
   stream.transaction( 1, 260, 0 );
   EXPECT_EQ( refusal(), "message 12 (transaction), Flowspec::Status 260 flowspecSupported: the "
                         "field is not a collection" );
   stream.message( static_cast< MessageKind >( 8 ), 1, 0, {} );
   EXPECT_EQ( refusal(),
              "message 13 (unknown), Flowspec::Status: there is no such kind of message" );
   EXPECT_FALSE( status().flowspecSupported() );
   EXPECT_TRUE( status().unsupportedQual().empty() && status().vrfRuleStatus().empty() );
}

TEST_F( Peer, WhatIsRemovedIsNamedRight ) {
   stream.child( 1, 258, 3, "00000005" );
   EXPECT_EQ( refusal(), "" );
   stream.rootGone( 3 );
   EXPECT_EQ( refusal(), "message 5 (root), Flowspec::VrfRuleStatus: the entity is not a root" );
   stream.rootGone( 9 );
   EXPECT_EQ( refusal(), "message 6 (root): no entity has the number 9" );
   stream.child( 1, 258, 3, "00000005", true );
   EXPECT_THAT( refusal(), HasSubstr( "a removed child has a number" ) );
   EXPECT_EQ( status().vrfRuleStatus().size(), 1U );
   stream.child( 1, 258, 0, "00000006", true );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( status().vrfRuleStatus().size(), 1U );
   stream.child( 1, 258, 0, "00000005", true );
   EXPECT_EQ( refusal(), "" );
   EXPECT_TRUE( status().vrfRuleStatus().empty() );
   EXPECT_EQ( receiver.entity( 3 ), nullptr );
}

TEST_F( Peer, ARootThatIsGoneLeavesAnotherOfItsName ) {
   const Vek::Ptr< Vek::NamedEntity > theirs = directory.entity( "status" );
   directory.erase( "status" );
   const auto ours = directory.create( "Flowspec::Status", "status" );
   ASSERT_NE( ours, theirs );
   stream.rootGone( 1 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( directory.entity( "status" ), ours );
   stream.rootGone( 2 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( directory.entity( "config" ), nullptr );
}

TEST_F( Peer, TransactionsOfOtherTypesAndEndsWithoutBeginningDoNothing ) {
   config().enabledIntfIs( Zorv::IntfId( 1 ) );
   ChangeRecorder changes( config() );
   stream.transaction( 2, 258, 2 );
   stream.transaction( 2, 258, 1 );
   stream.transaction( 2, 258, 2 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST_F( Peer, ARemovedChildHasNoNumber ) {
   for ( const U64 number : { U64{ 1 }, U64{ 2 }, U64{ 1 } << 63 } ) {
      Vek::Directory own;
      Vek::log::Receiver reader( own );
      PeerStream peer;
      peer.root( 1, "Flowspec::Status", "status" );
      peer.child( 1, 258, 2, "00000005" );
      peer.child( 1, 258, number, "00000005", true );
      const std::vector< U8 > bytes = peer.take();
      EXPECT_THAT( [&] { reader.receive( bytes ); },
                   testing::ThrowsMessage< Vek::StreamException >(
                      HasSubstr( "a removed child has a number" ) ) )
         << number;
      EXPECT_EQ( static_cast< Status& >( *own.entity( "status" ) ).vrfRuleStatus().size(), 1U );
   }
}

// A value that knows its key, under another one.
TEST_F( Peer, AValueUnderAnotherKeyThanItsOwnIsRefused ) {
   const std::string value = TestSupport::hexOf(
      TestSupport::logBytes( InterfaceEnableConfig( Zorv::IntfId( 3 ), IpVersion( 3 ), "red" ) ) );
   stream.root( 3, "Flowspec::CliConfig", "cli" );
   stream.member( 3, 258, "0000000000000003" + value );
   EXPECT_EQ( refusal(), "" );
   const auto& cli = static_cast< CliConfig& >( *directory.entity( "cli" ) );
   EXPECT_EQ( cli.enabledIntf().size(), 1U );
   stream.member( 3, 258, "0000000000000004" + value );
   EXPECT_THAT( refusal(), testing::EndsWith( "the value has another key than its own" ) );
   EXPECT_EQ( cli.enabledIntf().size(), 1U );
}

TEST_F( Peer, ATransactionThatBeginsAgainForgetsWhatWasReceivedBefore ) {
   for ( const U64 id : { 1U, 2U, 3U } ) {
      config().enabledIntfIs( Zorv::IntfId( id ) );
   }
   ChangeRecorder changes( config() );
   stream.transaction( 2, 258, 0 );
   stream.member( 2, 258, "0000000000000001" );
   stream.transaction( 2, 258, 0 );
   stream.member( 2, 258, "0000000000000003" );
   stream.member( 2, 258, "0000000000000002" );
   stream.member( 2, 258, "0000000000000003", true );
   stream.transaction( 2, 258, 2 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_THAT( changes.take(), ElementsAre( "258 enabledIntf[intf3]", "258 enabledIntf[intf1]" ) );
}

TEST_F( Peer, AMemberRemovedAndReceivedAgainInATransactionIsKept ) {
   config().enabledIntfIs( Zorv::IntfId( 1 ) );
   config().enabledIntfIs( Zorv::IntfId( 2 ) );
   stream.transaction( 2, 258, 0 );
   stream.member( 2, 258, "0000000000000001" );
   stream.member( 2, 258, "0000000000000001", true );
   stream.member( 2, 258, "0000000000000001" );
   stream.transaction( 2, 258, 2 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( config().enabledIntf().size(), 1U );
   EXPECT_TRUE( config().enabledIntf().contains( Zorv::IntfId( 1 ) ) );
}

TEST_F( Peer, MembersThatComeAndGoInATransactionAreNotNoted ) {
   config().enabledIntfIs( Zorv::IntfId( 1 ) );
   stream.transaction( 2, 258, 0 );
   std::size_t before = 0;
   for ( U64 i = 1; i <= 5000; ++i ) {
      const std::string intf = TestSupport::hexOf( TestSupport::logBytes( Zorv::IntfId( i ) ) );
      stream.member( 2, 258, intf );
      stream.member( 2, 258, intf, true );
      ASSERT_EQ( refusal(), "" );
      if ( i == 1000 ) {
         before = ::mallinfo2().uordblks;
      }
   }
   if ( !TestSupport::sanitized ) {
      EXPECT_LT( ::mallinfo2().uordblks, before + 8192 );
   }
}

// A child that goes at the end of a transaction has no number any more, so a peer that lets
// children come and go this way costs nothing but the children that are there.
TEST_F( Peer, AChildThatGoesAtTheEndOfATransactionLosesItsNumber ) {
   stream.child( 1, 258, 3, "00000005" );
   stream.child( 3, 259, 4, "00000001" );
   stream.transaction( 1, 258, 0 );
   stream.child( 1, 258, 5, "00000006" );
   stream.transaction( 1, 258, 2 );
   EXPECT_EQ( refusal(), "" );
   EXPECT_EQ( status().vrfRuleStatus().size(), 1U );
   EXPECT_EQ( receiver.entity( 3 ), nullptr );
   EXPECT_EQ( receiver.entity( 4 ), nullptr );
   EXPECT_NE( receiver.entity( 5 ), nullptr );
}

TEST_F( Peer, AMessageAboutAFieldThatIsReadOnlyIsRefusedInEachKind ) {
   Vek::log::Receiver::Policy policy;
   policy.allows = []( const Vek::Entity&, const Vek::Field& row ) { return row.id == 259; };
   for ( const int kind : { 0, 1, 2, 3, 4 } ) {
      Vek::Directory own;
      Vek::log::Receiver reader( own, policy );
      PeerStream peer;
      peer.root( 1, "Flowspec::Status", "status" );
      peer.attribute( 1, 259, "3FF0000000000000" );
      kind == 0   ? peer.attribute( 1, 260, "01" )
      : kind == 1 ? peer.child( 1, 258, 2, "00000005" )
      : kind == 2 ? peer.child( 1, 258, 0, "00000005", true )
      : kind == 3 ? peer.transaction( 1, 258, 0 )
                  : peer.member( 1, 261, "00000001", true );
      try {
         reader.receive( peer.take() );
         ADD_FAILURE() << kind;
      } catch ( const Vek::StreamException& exception ) {
         EXPECT_THAT( exception.what(), HasSubstr( "was written from a read-only proxy" ) );
      }
      EXPECT_EQ( static_cast< Status& >( *own.entity( "status" ) ).counterUpdateTime(), 1.0 );
   }
}

} // namespace
} // namespace Flowspec
