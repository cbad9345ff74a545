#include "agents/peerd/policy/ExportPolicy.h"
#include "agents/peerd/policy/ImportPolicy.h"
#include "agents/peerd/policy/VrfTable.h"

#include "Flowspec/key/FlowspecKeyReader.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using Zorv::AddressFamily;

Zorv::IpGenPrefix prefix( const char* text ) { return *Zorv::IpGenPrefix::fromText( text ); }

Flowspec::FlowspecKey rule( const char* text, AddressFamily family = AddressFamily::ipv4 ) {
   Flowspec::FlowspecKey key;
   key.addressFamilyIs( family );
   EXPECT_FALSE( Flowspec::readStrCli( text, false, key ) ) << text;
   return key;
}

Flowspec::RuleAction dropping() {
   Flowspec::RuleAction action;
   action.fields.trafficDropIs( true );
   return action;
}

bool holds( const RuleCondition& condition, const char* text ) {
   return condition.holds( rule( text ), {} );
}

constexpr U32 bit( Flowspec::MatchCompType type ) { return U32{ 1 } << static_cast< U8 >( type ); }

TEST( PeerdPolicy, PrefixInsidePrefix ) {
   EXPECT_TRUE( isInside( prefix( "10.1.0.0/16" ), prefix( "10.0.0.0/8" ) ) );
   EXPECT_TRUE( isInside( prefix( "10.0.0.0/8" ), prefix( "10.0.0.0/8" ) ) );
   EXPECT_FALSE( isInside( prefix( "10.0.0.0/7" ), prefix( "10.0.0.0/8" ) ) );
   EXPECT_FALSE( isInside( prefix( "11.0.0.0/16" ), prefix( "10.0.0.0/8" ) ) );
   EXPECT_TRUE( isInside( prefix( "0.0.0.0/0" ), prefix( "0.0.0.0/0" ) ) );
   EXPECT_FALSE( isInside( {}, prefix( "0.0.0.0/0" ) ) );
   EXPECT_FALSE( isInside( prefix( "10.1.0.0/16" ), prefix( "::/0" ) ) );
   EXPECT_FALSE( isInside( prefix( "10.1.0.0/16" ), Zorv::IpGenPrefix() ) )
      << "an empty one has no family";
   EXPECT_TRUE( isInside( prefix( "2001:db8:1::/48" ), prefix( "2001:db8::/32" ) ) );
}

TEST( PeerdPolicy, DefaultConditionHoldsForAll ) {
   EXPECT_TRUE( holds( {}, "*;*;IP:=6;" ) );
   EXPECT_TRUE( holds( {}, "10.1.0.0/16;10.2.0.0/16;" ) );
}

TEST( PeerdPolicy, Destinations ) {
   const RuleCondition condition{
      .destinations = { prefix( "10.0.0.0/8" ), prefix( "192.0.2.0/24" ) },
      .minDestinationLength = 16 };
   EXPECT_TRUE( holds( condition, "10.1.0.0/16;*;" ) );
   EXPECT_TRUE( holds( condition, "192.0.2.7/32;*;" ) );
   EXPECT_FALSE( holds( condition, "10.0.0.0/15;*;" ) );
   EXPECT_FALSE( holds( condition, "192.0.3.7/32;*;" ) );
   EXPECT_FALSE( holds( condition, "*;10.1.0.0/16;" ) );
   EXPECT_TRUE( holds( { .minDestinationLength = 16 }, "11.1.0.0/16;*;" ) );
   EXPECT_FALSE( holds( { .minDestinationLength = 1 }, "*;11.1.0.0/16;" ) );
}

TEST( PeerdPolicy, Sources ) {
   const RuleCondition condition{ .sources = { prefix( "10.0.0.0/8" ) }, .minSourceLength = 16 };
   EXPECT_TRUE( holds( condition, "*;10.1.0.0/16;" ) );
   EXPECT_FALSE( holds( condition, "*;10.0.0.0/9;" ) );
   EXPECT_FALSE( holds( condition, "10.1.0.0/16;*;" ) );
}

TEST( PeerdPolicy, Family ) {
   const RuleCondition condition{ .family = AddressFamily::ipv6 };
   EXPECT_FALSE( condition.holds( rule( "*;*;IP:=6;" ), {} ) );
   EXPECT_TRUE( condition.holds( rule( "*;*;IP:=6;", AddressFamily::ipv6 ), {} ) );
}

TEST( PeerdPolicy, Components ) {
   EXPECT_EQ( componentsOf( rule( "*;*;IP:=6;DP:=80|=443;" ) ),
              bit( Flowspec::ipProto ) | bit( Flowspec::destPort ) );
   EXPECT_EQ( componentsOf( rule( "10.0.0.0/8;10.0.0.0/8;" ) ),
              bit( Flowspec::destPrefix ) | bit( Flowspec::srcPrefix ) );
   const RuleCondition condition{ .with = bit( Flowspec::destPrefix ) | bit( Flowspec::ipProto ),
                                  .without = bit( Flowspec::fragment ) };
   EXPECT_TRUE( holds( condition, "10.0.0.0/8;*;IP:=6;" ) );
   EXPECT_TRUE( holds( condition, "10.0.0.0/8;*;IP:=6;DP:=80;" ) );
   EXPECT_FALSE( holds( condition, "10.0.0.0/8;*;DP:=80;" ) );
   EXPECT_FALSE( holds( condition, "10.0.0.0/8;*;IP:=6;FRAG:2;" ) );
}

TEST( PeerdPolicy, Actions ) {
   RuleCondition condition;
   condition.actions.trafficDropIs( true );
   condition.actions.trafficRateIs( true );
   EXPECT_TRUE( condition.holds( rule( "*;*;IP:=6;" ), dropping() ) );
   EXPECT_FALSE( condition.holds( rule( "*;*;IP:=6;" ), {} ) );
}

TEST( PeerdPolicy, FirstImportTermDecides ) {
   ImportPolicy policy;
   policy.terms.push_back( { .condition = { .destinations = { prefix( "10.1.0.0/16" ) } } } );
   policy.terms.push_back( { .condition = { .destinations = { prefix( "10.0.0.0/8" ) } } } );
   EXPECT_EQ( policy.match( rule( "10.1.2.0/24;*;" ), {} ), 0 );
   EXPECT_EQ( policy.match( rule( "10.2.2.0/24;*;" ), {} ), 1 );
   EXPECT_EQ( policy.match( rule( "11.2.2.0/24;*;" ), {} ), std::nullopt );
}

TEST( PeerdPolicy, FirstExportTermDecides ) {
   ExportPolicy policy;
   policy.terms.push_back(
      { .condition = { .destinations = { prefix( "10.1.0.0/16" ) } }, .announces = false } );
   policy.terms.push_back( { .condition = { .destinations = { prefix( "10.0.0.0/8" ) } } } );
   EXPECT_FALSE( policy.announces( rule( "10.1.2.0/24;*;" ), {} ) );
   EXPECT_TRUE( policy.announces( rule( "10.2.2.0/24;*;" ), {} ) );
   EXPECT_FALSE( policy.announces( rule( "11.2.2.0/24;*;" ), {} ) );
   policy.announcesOthers = true;
   EXPECT_TRUE( policy.announces( rule( "11.2.2.0/24;*;" ), {} ) );
}

TEST( PeerdPolicy, VrfTableFindsAndImports ) {
   const Wire::RouteTarget target{ Wire::RouteTarget::Kind::as2, { 1 } };
   const VrfTable table{ { { 5, {}, { target }, {} }, { 7, {}, { target }, {} } } };
   ASSERT_TRUE( table.find( 7 ) );
   EXPECT_EQ( table.find( 7 )->vrf, 7U );
   EXPECT_FALSE( table.find( 6 ) );
   EXPECT_EQ( table.importTable().vrfOf( target ), 5U );
   EXPECT_EQ( table.importTable().targetOf( 7 ), target );
}

} // namespace
} // namespace Peerd
