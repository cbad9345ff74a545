#include "forms/MatchSetText.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Forms {

using namespace Flowspec;

namespace {

TEST( MatchSetText, PrefixesRangesAndMasks ) {
   const auto rule = ruleConfigFactory( FlowspecKey() );
   MatchComponent prefix( destPrefix );
   prefix.prefixIs( *Zorv::IpGenPrefix::fromText( "10.1.0.0/16" ) );
   MatchComponent ports( destPort );
   ports.numericalRangeIs( { 443, 500 } );
   ports.numericalRangeIs( { 80, 80 } );
   ports.numericalRangeIs( { 22, 23 } );
   MatchComponent flags( tcpFlags );
   flags.tcpBitMaskIs( TcpBitMask( true, 0x02, 0x12 ) );
   flags.tcpBitMaskIs( TcpBitMask( true, 0x04, 0x04 ) );
   MatchComponent parts( fragment );
   parts.ipBitMaskIs( IpBitMask( true, 0, 0x2 ) );
   EXPECT_EQ( componentText( prefix ), "10.1.0.0/16" );
   EXPECT_EQ( componentText( ports ), "22-23,80,443-500" );
   EXPECT_EQ( componentText( flags ), "SYN:1,ACK:0 or RST:1" );
   EXPECT_EQ( componentText( parts ), "is-fragment:0" );
   for ( const MatchComponent& component : { prefix, ports, flags, parts } ) {
      rule->matchSetIs( component );
   }
   EXPECT_EQ( matchSetJson( rule->matchSet() ).dump(),
              R"({"destPrefix":"10.1.0.0/16","destPort":[[22,23],[80,80],[443,500]],)"
              R"("tcpFlags":[{"value":2,"mask":18},{"value":4,"mask":4}],)"
              R"("fragment":[{"value":0,"mask":2}]})" );
}

TEST( MatchSetText, WhatMatchesNothingOrTestsNoBit ) {
   EXPECT_EQ( componentText( MatchComponent( destPort ) ), "nothing" );
   EXPECT_EQ( componentText( MatchComponent( srcPrefix ) ), "nothing" );
   MatchComponent any( tcpFlags );
   any.tcpBitMaskIs( TcpBitMask( true, 0, 0 ) );
   EXPECT_EQ( componentText( any ), "any" );
}

} // namespace
} // namespace Forms
