#include "tests/support/ExampleLog.h"

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "tests/support/LogStream.h"

namespace TestSupport {

using namespace Flowspec;

namespace {

Zorv::IpGenAddr address( const char* text ) { return *Zorv::IpGenAddr::fromText( text ); }
Zorv::IntfId intf( U64 number ) { return Zorv::IntfId( number ); }

FlowspecKey key( std::string_view text ) {
   FlowspecKey key;
   key.copyInStringValue( text );
   return key;
}

template < typename T >
Vek::Ptr< T > root( Vek::Directory& directory, const char* name ) {
   return Vek::Ptr< T >( static_cast< T* >( directory.create( T::type().name, name ).get() ) );
}

const FlowspecKey web = key( "5;ipv4;IFSET:=3,17;10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;" );
const FlowspecKey icmp = key( "5;ipv6;2001:db8::/32;*;IT:=0L128;" );
const FlowspecKey never = key( "5;ipv4;*;*;IP:=0L1;DP:=0L80;" );

void fill( Config& config ) {
   config.twoColorCounterEnabledIs( true );
   config.enabledIntfIs( intf( 3 ) );
   const auto rules = config.vrfRuleConfigIs( 5 );
   const auto rule = rules->ruleIs( web );
   rule->ruleIdIs( 7 );
   MatchComponent flags( MatchCompType::tcpFlags );
   flags.tcpBitMaskIs( TcpBitMask( true, 2, 18 ) );
   MatchComponent fragments( MatchCompType::fragment );
   fragments.ipBitMaskIs( IpBitMask( false, 1, 3 ) );
   std::vector< MatchComponent > components;
   if ( matchSetFromKey( web, components ) ) {
      throw std::logic_error( "the rule has no match set" );
   }
   matchSetReplace( *rule, components );
   rule->matchSetIs( flags );
   rule->matchSetIs( fragments );
   rule->actionFieldSetIs( ActionFieldSet( 0x28 ) );
   rule->trafficActionIs( TrafficAction( 1 ) );
   TrafficRedirect redirect;
   redirect.vrfIdIs( 8 );
   redirect.typeIs( TrafficRedirectType::addr );
   redirect.addrIs( address( "192.0.2.1" ) );
   redirect.srTePolicyKeyIs( SrTePolicy::PolicyKey( 100, address( "2001:db8::1" ) ) );
   redirect.copyIs( true );
   rule->trafficRedirectIs( redirect );
   rule->trafficMarkingDscpIs( Zorv::IpTos( 184 ) );
   rule->trafficRateLimitIs( 0.1F );
   rules->ruleIs( icmp )->ruleIdIs( 8 );
   const auto infeasible = rules->infeasibleRuleIs( never );
   infeasible->ruleIdIs( 9 );
   infeasible->matchCompTypeIs( MatchCompType::destPort );
}

void fill( CliConfig& config ) {
   config.enabledIntfIs( InterfaceEnableConfig( intf( 3 ), IpVersion( 3 ), "red" ) );
   config.counterUpdateRequestTimeIs( 12.5 );
   FlowspecIntfInterfaceSetConfig sets( intf( 3 ) );
   sets.interfaceSetIs( FlowspecIntfSetId( 17 ) );
   sets.interfaceSetIs( FlowspecIntfSetId() );
   config.intfInterfaceSetConfigIs( sets );
   config.sourceVrfOverrideIs( intf( 3 ), "blue\n\"mgmt\"" );
   config.interfaceSetCountLimitIs( 64 );
   config.isConfigDrivenIs( true );
}

void fill( Status& status ) {
   const auto vrf = status.vrfRuleStatusIs( 5 );
   vrf->activeIntfPerAfIs( Zorv::AddressFamily::ipv4 )->intfIs( intf( 3 ) );
   vrf->intfErrorIs( IntfErrorKey( intf( 4 ), Zorv::AddressFamily::ipv6 ), "no TCAM profile" );
   const auto rule = vrf->ruleStatusIs( web );
   rule->statusCodeIs( HwRuleProgrammingStatus::resourceExhausted );
   rule->errorReasonIs( "out of entries" );
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( 12 );
   counters.byteHitsIs( 3400 );
   counters.redIs( { 1, 64, 2 } );
   rule->coloredCountersIs( counters );
   rule->versionIs( Osk::UniqueId( 255 ) );
   rule->resolvedNexthopInfoIs(
      { { address( "192.0.2.1" ) },
        { { address( "192.0.2.1" ), intf( 3 ), L3::MplsLabel( 16 ), true },
          { address( "2001:db8::1" ), intf( 4 ), L3::MplsLabel() } } } );
   vrf->ruleStatusIs( icmp )->versionIs( Osk::UniqueId( 256 ) );
   status.counterUpdateTimeIs( 99.25 );
   status.flowspecSupportedIs( true );
   UnsupportedQual qual( Zorv::AddressFamily::ipv6 );
   qual.qualIs( MatchCompType::flowLabel, "no such key" );
   qual.unsupportedActionsIs( ActionFieldSet( 0x20 ) );
   status.unsupportedQualIs( qual );
   status.interfaceSetIs( 17 )->intfIs( intf( 3 ) );
}

void fill( Counter& counter ) {
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( 12 );
   counter.snapshotIs( web, CounterVersion( counters, Osk::UniqueId( 255 ) ) );
   counter.timestampIs( 100.5 );
}

void fill( FlowspecPolicyConfig& policy ) {
   const auto actions = policy.actionsIs( "actions" );
   actions->dropActionIs( "drop", Osk::UniqueId( 1 ) );
   actions->policeActionIs( "police", Osk::UniqueId( 2 ), PolicyMap::PoliceRate( 1000 ),
                            PolicyMap::PoliceBurstSize( 64 ) );
   actions->setDscpActionIs( "mark", Osk::UniqueId( 3 ), PolicyMap::Dscp( 46 ) );
   actions->setNexthopActionIs( "away", Osk::UniqueId( 4 ) );
   actions->redirectVrfRtActionIs( "clean", Osk::UniqueId( 5 ), 4259840001 );
}

} // namespace

std::vector< U8 > exampleLog() {
   Vek::Directory directory;
   const auto cliConfig = root< CliConfig >( directory, "cli" );
   const auto config = root< Config >( directory, "config" );
   const auto counter = root< Counter >( directory, "counter" );
   const auto policy = root< FlowspecPolicyConfig >( directory, "policy" );
   const auto status = root< Status >( directory, "status" );
   fill( *cliConfig );
   fill( *config );
   fill( *counter );
   fill( *policy );
   fill( *status );
   Vek::log::Source source;
   for ( const Vek::String& name : directory.names() ) {
      source.rootIs( *directory.entity( name ) );
   }
   Vek::log::Sender sender( source );
   std::vector< U8 > bytes = take( sender );

   const auto vrf = status->vrfRuleStatusIs( 5 );
   vrf->ruleStatusIs( web )->statusCodeIs( HwRuleProgrammingStatus::programmed );
   vrf->ruleStatusDel( icmp );
   status->unsupportedQualDel( Zorv::AddressFamily::ipv6 );
   config->enabledIntfDel( intf( 3 ) );
   config->enabledIntfIs( intf( 4 ) );
   config->vrfRuleConfigIs( 6 );
   policy->actionsDel();
   source.rootDel( *cliConfig );
   const std::vector< U8 > changes = take( sender );
   bytes.insert( bytes.end(), changes.begin(), changes.end() );
   return bytes;
}

} // namespace TestSupport
