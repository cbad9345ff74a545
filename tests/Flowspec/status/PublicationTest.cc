#include "tests/support/Publication.h"

#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"

#include <cmath>

namespace Flowspec {
namespace {

using TestSupport::checkPublications;
using Zorv::AddressFamily;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

Vek::String inBrackets( const FlowspecKey& key ) {
   return Vek::concat( '[', valueToStrep( key ), ']' );
}

Zorv::IntfId intf( U64 number ) { return Zorv::IntfId( number ); }
Osk::UniqueId id( U64 number ) { return Osk::UniqueId( number ); }

QosLib::ColoredCounters hits( U64 packets, U64 bytes ) {
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( packets );
   counters.byteHitsIs( bytes );
   return counters;
}

L3::ResolvedNexthopInfo nexthop( U32 address ) {
   return L3::ResolvedNexthopInfo( { Zorv::IpGenAddr::ipv4( address ) }, {} );
}

const Vek::String colors = ",green=0/0/0,yellow=0/0/0,red=0/0/0>";
Vek::String counters( const char* hits ) { return Vek::concat( "<packetHits=", hits, colors ); }

TEST( StatusPublication, RuleStatusScalars ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   status->versionIs( id( 1 ) );
   checkPublications< RuleStatus >(
      *status,
      {
         STEP( RuleStatus, statusCodeIs( unprocessed ) ),
         STEP( RuleStatus, statusCodeIs( programmed ), "260 statusCode was unprocessed" ),
         STEP( RuleStatus, statusCodeIs( programmed ) ),
         STEP( RuleStatus, statusCodeIs( resourceExhausted ), "260 statusCode was programmed" ),
         STEP( RuleStatus, errorReasonIs( "" ) ),
         STEP( RuleStatus, errorReasonIs( "full" ), "261 errorReason was " ),
         STEP( RuleStatus, errorReasonIs( "full" ) ),
         STEP( RuleStatus, errorReasonIs( Vek::String( "full\0", 5 ) ),
               "261 errorReason was full" ),
         STEP( RuleStatus, versionIs( id( 1 ) ) ),
         STEP( RuleStatus, versionIs( id( 2 ) ), "265 version was 0000000000000001" ),
         STEP( RuleStatus, versionIs( id( 2 ) ) ),
         STEP( RuleStatus, versionIs( id( 0 ) ), "265 version was 0000000000000002" ),
         STEP( RuleStatus, resolvedNexthopInfoIs( L3::ResolvedNexthopInfo() ) ),
         STEP( RuleStatus, resolvedNexthopInfoIs( nexthop( 0xC0000201 ) ),
               "266 resolvedNexthopInfo was <nexthopSet={};vias={}>" ),
         STEP( RuleStatus, resolvedNexthopInfoIs( nexthop( 0xC0000201 ) ) ),
         STEP( RuleStatus, resolvedNexthopInfoIs( nexthop( 0xC0000202 ) ),
               "266 resolvedNexthopInfo was <nexthopSet={192.0.2.1};vias={}>" ),
      } );
}

// The counts are two views of one stored value, and published as that.
TEST( StatusPublication, RuleStatusCounters ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   checkPublications< RuleStatus >(
      *status, {
                  STEP( RuleStatus, coloredCountersIs( hits( 0, 0 ) ) ),
                  STEP( RuleStatus, packetCountIs( 0 ) ),
                  STEP( RuleStatus, byteCountIs( 0 ) ),
                  STEP( RuleStatus, packetCountIs( 3 ),
                        "262 coloredCounters was " + counters( "0,byteHits=0" ) ),
                  STEP( RuleStatus, packetCountIs( 3 ) ),
                  STEP( RuleStatus, byteCountIs( 192 ),
                        "262 coloredCounters was " + counters( "3,byteHits=0" ) ),
                  STEP( RuleStatus, byteCountIs( 192 ) ),
                  STEP( RuleStatus, packetCountIs( 3 ) ),
                  STEP( RuleStatus, coloredCountersIs( hits( 3, 192 ) ) ),
                  STEP( RuleStatus, coloredCountersIs( hits( 4, 256 ) ),
                        "262 coloredCounters was " + counters( "3,byteHits=192" ) ),
                  STEP( RuleStatus, packetCountIs( 4 ) ),
                  STEP( RuleStatus, byteCountIs( 256 ) ),
                  STEP( RuleStatus, packetCountIs( 0 ),
                        "262 coloredCounters was " + counters( "4,byteHits=256" ) ),
               } );
}

TEST( StatusPublication, VrfRuleStatus ) {
   const Vek::String one = inBrackets( keyOf( 1 ) );
   const Vek::String two = inBrackets( keyOf( 2 ) );
   const Vek::String three = inBrackets( keyOf( 3 ) );
   const auto vrf = vrfRuleStatusFactory( 7 );
   checkPublications< VrfRuleStatus >(
      *vrf,
      {
         STEP( VrfRuleStatus, ruleStatusIs( keyOf( 3 ) ), "261 ruleStatus" + three ),
         STEP( VrfRuleStatus, ruleStatusIs( keyOf( 3 ) ) ),
         STEP( VrfRuleStatus, ruleStatus( keyOf( 1 ) ) ),
         STEP( VrfRuleStatus, ruleStatusIs( keyOf( 1 ) ), "261 ruleStatus" + one ),
         STEP( VrfRuleStatus, ruleStatusIs( keyOf( 2 ) ), "261 ruleStatus" + two ),
         STEP( VrfRuleStatus, ruleStatusDel( keyOf( 9 ) ) ),
         STEP( VrfRuleStatus, ruleStatusDel( keyOf( 2 ) ), "261 ruleStatus" + two ),
         STEP( VrfRuleStatus, ruleStatusDel( keyOf( 2 ) ) ),
         STEP( VrfRuleStatus, ruleStatusDel( e.ruleStatus().begin() ), "261 ruleStatus" + one ),
         STEP( VrfRuleStatus, ruleStatusIs( keyOf( 2 ) ), "261 ruleStatus" + two ),
         STEP( VrfRuleStatus, ruleStatusDelAll(), "261 ruleStatus" + two,
               "261 ruleStatus" + three ),
         STEP( VrfRuleStatus, ruleStatusDelAll() ),
         STEP( VrfRuleStatus, activeIntfPerAfIs( AddressFamily::ipv6 ),
               "259 activeIntfPerAf[ipv6]" ),
         STEP( VrfRuleStatus, activeIntfPerAfIs( AddressFamily::ipv6 ) ),
         STEP( VrfRuleStatus, activeIntfPerAf( AddressFamily::ipv4 ) ),
         STEP( VrfRuleStatus, activeIntfPerAfDel( AddressFamily::ipv4 ) ),
         STEP( VrfRuleStatus, activeIntfPerAfDel( AddressFamily::ipv6 ),
               "259 activeIntfPerAf[ipv6]" ),
         STEP( VrfRuleStatus, activeIntfPerAfIs( AddressFamily::ipv6 ),
               "259 activeIntfPerAf[ipv6]" ),
         STEP( VrfRuleStatus, activeIntfPerAfIs( AddressFamily::ipv4 ),
               "259 activeIntfPerAf[ipv4]" ),
         STEP( VrfRuleStatus, activeIntfPerAfDelAll(), "259 activeIntfPerAf[ipv4]",
               "259 activeIntfPerAf[ipv6]" ),
         STEP( VrfRuleStatus, activeIntfPerAfDelAll() ),
      } );
}

IntfErrorKey errorKey( U64 number, AddressFamily family ) {
   return IntfErrorKey( intf( number ), family );
}

TEST( StatusPublication, InterfaceErrors ) {
   constexpr AddressFamily v4 = AddressFamily::ipv4;
   constexpr AddressFamily v6 = AddressFamily::ipv6;
   const auto vrf = vrfRuleStatusFactory( 7 );
   checkPublications< VrfRuleStatus >(
      *vrf,
      {
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 10, v4 ), "down" ),
               "260 intfError[intf10,ipv4]" ),
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 10, v4 ), "down" ) ),
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 10, v4 ), "full" ),
               "260 intfError[intf10,ipv4] was down" ),
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 10, v4 ), "" ),
               "260 intfError[intf10,ipv4] was full" ),
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 2, v6 ), "" ), "260 intfError[intf2,ipv6]" ),
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 2, v4 ), "" ), "260 intfError[intf2,ipv4]" ),
         STEP( VrfRuleStatus, intfError( errorKey( 9, v4 ) ) ),
         STEP( VrfRuleStatus, intfErrorDel( errorKey( 10, v6 ) ) ),
         STEP( VrfRuleStatus, intfErrorDelAll(), "260 intfError[intf2,ipv4] was ",
               "260 intfError[intf2,ipv6] was ", "260 intfError[intf10,ipv4] was " ),
         STEP( VrfRuleStatus, intfErrorDelAll() ),
         STEP( VrfRuleStatus, intfErrorIs( errorKey( 1, v4 ), "down" ),
               "260 intfError[intf1,ipv4]" ),
         STEP( VrfRuleStatus, intfErrorDel( errorKey( 1, v4 ) ),
               "260 intfError[intf1,ipv4] was down" ),
      } );
}

UnsupportedQual qualOf( AddressFamily family, const char* reason ) {
   UnsupportedQual value( family );
   value.qualIs( port, reason );
   return value;
}

TEST( StatusPublication, Status ) {
   constexpr AddressFamily v4 = AddressFamily::ipv4;
   constexpr AddressFamily v6 = AddressFamily::ipv6;
   const auto status = statusFactory( "status" );
   checkPublications< Status >(
      *status,
      {
         STEP( Status, vrfRuleStatusIs( 20 ), "258 vrfRuleStatus[20]" ),
         STEP( Status, vrfRuleStatusIs( 20 ) ),
         STEP( Status, vrfRuleStatus( 3 ) ),
         STEP( Status, vrfRuleStatusIs( 3 ), "258 vrfRuleStatus[3]" ),
         STEP( Status, vrfRuleStatusIs( 4 ), "258 vrfRuleStatus[4]" ),
         STEP( Status, vrfRuleStatusDel( 9 ) ),
         STEP( Status, vrfRuleStatusDel( 4 ), "258 vrfRuleStatus[4]" ),
         STEP( Status, vrfRuleStatusDel( 4 ) ),
         STEP( Status, vrfRuleStatusDelAll(), "258 vrfRuleStatus[3]", "258 vrfRuleStatus[20]" ),
         STEP( Status, vrfRuleStatusDelAll() ),
         STEP( Status, counterUpdateTimeIs( 0 ) ),
         STEP( Status, counterUpdateTimeIs( -0.0 ) ),
         STEP( Status, counterUpdateTimeIs( 1.5 ), "259 counterUpdateTime was 0" ),
         STEP( Status, counterUpdateTimeIs( 1.5 ) ),
         STEP( Status, counterUpdateTimeIs( NAN ), "259 counterUpdateTime was 1.5" ),
         STEP( Status, counterUpdateTimeIs( NAN ), "259 counterUpdateTime was nan" ),
         STEP( Status, flowspecSupportedIs( false ) ),
         STEP( Status, flowspecSupportedIs( true ), "260 flowspecSupported was 0" ),
         STEP( Status, flowspecSupportedIs( true ) ),
         STEP( Status, unsupportedQualIs( qualOf( v6, "a" ) ), "261 unsupportedQual[ipv6]" ),
         STEP( Status, unsupportedQualIs( qualOf( v6, "a" ) ) ),
         STEP( Status, unsupportedQualIs( e.unsupportedQual().begin()->second ) ),
         STEP( Status, unsupportedQualIs( qualOf( v6, "b" ) ),
               "261 unsupportedQual[ipv6] was <addressFamily=ipv6;quals=1;unsupportedActions=>" ),
         STEP( Status, unsupportedQualIs( qualOf( v4, "a" ) ), "261 unsupportedQual[ipv4]" ),
         STEP( Status, unsupportedQual( AddressFamily::none ) ),
         STEP( Status, unsupportedQualDel( AddressFamily::none ) ),
         STEP( Status, unsupportedQualDel( v4 ),
               "261 unsupportedQual[ipv4] was <addressFamily=ipv4;quals=1;unsupportedActions=>" ),
         STEP( Status, unsupportedQualIs( UnsupportedQual( v4 ) ), "261 unsupportedQual[ipv4]" ),
         STEP( Status, unsupportedQualDelAll(),
               "261 unsupportedQual[ipv4] was <addressFamily=ipv4;quals=0;unsupportedActions=>",
               "261 unsupportedQual[ipv6] was <addressFamily=ipv6;quals=1;unsupportedActions=>" ),
         STEP( Status, unsupportedQualDelAll() ),
         STEP( Status, interfaceSetIs( 300 ), "262 interfaceSet[300]" ),
         STEP( Status, interfaceSetIs( 300 ) ),
         STEP( Status, interfaceSet( 1 ) ),
         STEP( Status, interfaceSetIs( 65535 ), "262 interfaceSet[65535]" ),
         STEP( Status, interfaceSetDel( 1 ) ),
         STEP( Status, interfaceSetDel( 65535 ), "262 interfaceSet[65535]" ),
         STEP( Status, interfaceSetIs( 0 ), "262 interfaceSet[0]" ),
         STEP( Status, interfaceSetDelAll(), "262 interfaceSet[0]", "262 interfaceSet[300]" ),
         STEP( Status, interfaceSetDelAll() ),
      } );
}

template < typename T >
void checkMembers( const Vek::Ptr< T >& entity ) {
   checkPublications< T >( *entity,
                           {
                              STEP( T, intfIs( intf( 10 ) ), "259 intf[intf10]" ),
                              STEP( T, intfIs( intf( 10 ) ) ),
                              STEP( T, intfIs( intf( 9 ) ), "259 intf[intf9]" ),
                              STEP( T, intfIs( intf( 8 ) ), "259 intf[intf8]" ),
                              STEP( T, intfDel( intf( 1 ) ) ),
                              STEP( T, intfDel( intf( 9 ) ), "259 intf[intf9]" ),
                              STEP( T, intfDel( intf( 9 ) ) ),
                              STEP( T, intfDelAll(), "259 intf[intf8]", "259 intf[intf10]" ),
                              STEP( T, intfDelAll() ),
                           } );
}

TEST( StatusPublication, InterfaceMembers ) {
   checkMembers( interfaceSetFactory( 3 ) );
   checkMembers( afIntfCollFactory( AddressFamily::ipv6 ) );
}

CounterVersion snapshot( U64 packets, U64 version ) {
   return CounterVersion( hits( packets, 0 ), id( version ) );
}

TEST( StatusPublication, Counter ) {
   const Vek::String one = "258 snapshot" + inBrackets( keyOf( 1 ) );
   const Vek::String two = "258 snapshot" + inBrackets( keyOf( 2 ) );
   const Vek::String was = " was " + counters( "3,byteHits=0" ) + ";";
   const auto counter = counterFactory( "counters" );
   checkPublications< Counter >(
      *counter,
      {
         STEP( Counter, snapshotIs( keyOf( 2 ), snapshot( 3, 5 ) ), two ),
         STEP( Counter, snapshotIs( keyOf( 2 ), snapshot( 3, 5 ) ) ),
         STEP( Counter, snapshotIs( keyOf( 2 ), e.snapshot( keyOf( 2 ) ) ) ),
         STEP( Counter, snapshotIs( e.snapshot().begin()->first, e.snapshot().begin()->second ) ),
         STEP( Counter, snapshotIs( keyOf( 2 ), snapshot( 3, 6 ) ),
               two + was + "0000000000000005;" ),
         STEP( Counter, snapshotIs( keyOf( 2 ), snapshot( 4, 6 ) ),
               two + was + "0000000000000006;" ),
         STEP( Counter, snapshotIs( keyOf( 2 ), snapshot( 3, 5 ) ),
               two + " was " + counters( "4,byteHits=0" ) + ";0000000000000006;" ),
         STEP( Counter, snapshot( keyOf( 9 ) ) ),
         STEP( Counter, snapshotDel( keyOf( 9 ) ) ),
         STEP( Counter, snapshotDel( keyOf( 2 ) ), two + was + "0000000000000005;" ),
         STEP( Counter, snapshotDel( keyOf( 2 ) ) ),
         STEP( Counter, snapshotIs( keyOf( 2 ), snapshot( 3, 5 ) ), two ),
         STEP( Counter, snapshotIs( keyOf( 1 ), snapshot( 3, 5 ) ), one ),
         STEP( Counter, snapshotDelAll(), one + was + "0000000000000005;",
               two + was + "0000000000000005;" ),
         STEP( Counter, snapshotDelAll() ),
         STEP( Counter, timestampIs( 0 ) ),
         STEP( Counter, timestampIs( 1.5 ), "259 timestamp was 0" ),
         STEP( Counter, timestampIs( 1.5 ) ),
         STEP( Counter, timestampIs( NAN ), "259 timestamp was 1.5" ),
         STEP( Counter, timestampIs( NAN ), "259 timestamp was nan" ),
         STEP( Counter, timestampIs( -0.0 ), "259 timestamp was nan" ),
         STEP( Counter, timestampIs( 0 ) ),
      } );
}

} // namespace
} // namespace Flowspec
