#include "tests/support/Dump.h"

#include "Flowspec/status/Status.h"
#include "tests/support/EntangledKeys.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::dump;
using TestSupport::indented;
using Zorv::AddressFamily;

/// The dump at indent 0, and the same lines deeper at others.
template < typename T >
void expectDump( const T& object, const std::string& expected ) {
   for ( const U32 indent : { 0U, 1U, 2U, 4U } ) {
      EXPECT_EQ( dump( object, indent ), indented( indent, expected ) );
   }
}

FlowspecKey portKey( U16 value ) {
   FlowspecKey key;
   key.addressFamilyIs( AddressFamily::ipv4 );
   key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A010000 ), 16 ) );
   key.setOpVal( 0, destPort, 0x91, value );
   return key;
}

const std::string emptyStatus = "key: 10.1.0.0/16;*;DP:=80;\n"
                                "statusCode 0, errorReason , version 0000000000000abc\n"
                                "resolvedNexthopInfo nexthopSet: {}\n"
                                "resolvedNexthopInfo viasActive #0\n";

Vek::Ptr< RuleStatus > emptied( Vek::Ptr< RuleStatus > status ) {
   status->versionIs( Osk::UniqueId( 0xABC ) );
   return status;
}

TEST( StatusDump, RuleStatus ) {
   const auto status = emptied( ruleStatusFactory( portKey( 80 ) ) );
   expectDump( *status, emptyStatus );
   status->statusCodeIs( unsupportedTcamProfile );
   status->errorReasonIs( "no room for 100% of it, %s" );
   status->packetCountIs( 7 );
   status->resolvedNexthopInfoIs( L3::ResolvedNexthopInfo(
      { Zorv::IpGenAddr::ipv4( 0xC0000202 ), Zorv::IpGenAddr::ipv4( 0xC0000201 ) },
      { { Zorv::IpGenAddr::ipv4( 0xC0000209 ), Zorv::IntfId( 3 ), L3::MplsLabel( 100 ), true },
        { Zorv::IpGenAddr::ipv4( 0xC0000208 ), Zorv::IntfId( 4 ), {}, false },
        { {}, Zorv::IntfId(), {}, true } } ) );
   expectDump( *status, "key: 10.1.0.0/16;*;DP:=80;\n"
                        "statusCode 4, errorReason no room for 100% of it, %s, version "
                        "0000000000000abc\n"
                        "resolvedNexthopInfo nexthopSet: {192.0.2.1,192.0.2.2}\n"
                        "resolvedNexthopInfo viasActive #2\n"
                        "  192.0.2.9, intf3, 100\n"
                        "  , intf0, none\n" );
}

TEST( StatusDump, CodeWithoutAName ) {
   const auto status = emptied( ruleStatusFactory( portKey( 80 ) ) );
   status->statusCodeIs( HwRuleProgrammingStatus{ 9 } );
   std::string expected = emptyStatus;
   expected.replace( expected.find( "statusCode 0" ), 12, "statusCode 9" );
   expectDump( *status, expected );
}

TEST( StatusDump, LongKeysAndReasonsAreWhole ) {
   FlowspecKey key;
   U32 index = 0;
   for ( U32 value = 0; value < 1000; ++value ) {
      index = key.setOpVal( index, destPort, value == 999 ? 0x91 : 0x11, 10'000 + value );
   }
   const auto status = emptied( ruleStatusFactory( key ) );
   const Vek::String reason( 100'000, 'x' );
   status->errorReasonIs( reason );
   const std::string keyText = key.toStrepCli( false );
   ASSERT_GT( keyText.size(), 7000U );
   expectDump( *status, "key: " + keyText + "\nstatusCode 0, errorReason " + reason +
                           ", version 0000000000000abc\n"
                           "resolvedNexthopInfo nexthopSet: {}\n"
                           "resolvedNexthopInfo viasActive #0\n" );
}

TEST( StatusDump, UnsupportedQual ) {
   UnsupportedQual value;
   expectDump( value, "AF none\n  Unsupported actions: 0x0\n" );
   value = UnsupportedQual( AddressFamily::ipv6 );
   value.unsupportedActionsIs( ActionFieldSet( 0xA4 ) );
   value.qualIs( flowLabel, "not in this profile" );
   value.qualIs( MatchCompType{ 200 }, "" );
   value.qualIs( invalid, "%n" );
   value.qualIs( tcpFlags, "no flags" );
   expectDump( value, "AF ipv6\n"
                      "  invalid --> %n\n"
                      "  tcpFlags --> no flags\n"
                      "  flowLabel --> not in this profile\n"
                      "  200 --> \n"
                      "  Unsupported actions: 0xa4\n" );
   expectDump( UnsupportedQual( AddressFamily{ 9 } ), "AF af9\n  Unsupported actions: 0x0\n" );
}

TEST( StatusDump, StatusGoesDownToTheRules ) {
   const auto status = statusFactory( "status" );
   expectDump( *status, "FlowspecStatus: vrfRuleStatuses #0\nUnsupported AF quals: #0\n" );
   // In an order that is not ascending; what is not dumped is there as well.
   for ( const U32 vrfId : { 4294967295U, 20U } ) {
      status->vrfRuleStatusIs( vrfId );
   }
   const auto vrf = status->vrfRuleStatusIs( 3 );
   emptied( vrf->ruleStatusIs( portKey( 81 ) ) );
   emptied( vrf->ruleStatusIs( portKey( 80 ) ) );
   vrf->activeIntfPerAfIs( AddressFamily::ipv4 );
   vrf->intfErrorIs( IntfErrorKey(), "down" );
   status->interfaceSetIs( 5 );
   status->unsupportedQualIs( UnsupportedQual( AddressFamily::ipv6 ) );
   status->unsupportedQualIs( UnsupportedQual( AddressFamily::ipv4 ) );
   std::string second = emptyStatus;
   second.replace( second.find( "=80" ), 3, "=81" );
   const std::string vrfText =
      "vrfId is 3, ruleStatuses #2\n" + indented( 2, emptyStatus ) + indented( 2, second );
   expectDump( *vrf, vrfText );
   expectDump( *status, "FlowspecStatus: vrfRuleStatuses #3\n" + indented( 2, vrfText ) +
                           "  vrfId is 20, ruleStatuses #0\n"
                           "  vrfId is 4294967295, ruleStatuses #0\n"
                           "Unsupported AF quals: #2\n"
                           "  AF ipv4\n"
                           "    Unsupported actions: 0x0\n"
                           "  AF ipv6\n"
                           "    Unsupported actions: 0x0\n" );
}

TEST( StatusDump, DoesNotDependOnTheOrderOfInsertion ) {
   const auto filled = []( bool backwards ) {
      auto status = statusFactory( "status" );
      const std::vector< FlowspecKey > keys = TestSupport::entangledKeys();
      for ( U32 i = 0; i < 40; ++i ) {
         const U32 vrfId = backwards ? 39 - i : i;
         const auto vrf = status->vrfRuleStatusIs( vrfId * 1000 );
         for ( std::size_t k = 0; k < keys.size(); ++k ) {
            emptied( vrf->ruleStatusIs( keys[backwards ? keys.size() - 1 - k : k] ) );
         }
         status->unsupportedQualIs( UnsupportedQual( static_cast< AddressFamily >( vrfId ) ) );
      }
      return dump( *status, 0 );
   };
   EXPECT_EQ( filled( false ), filled( true ) );
}

} // namespace
} // namespace Flowspec
