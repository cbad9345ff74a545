#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

namespace Flowspec {
namespace {

using testing::ElementsAre;
using TestSupport::TraceRecorder;
using Zorv::RouteDistinguisher;

using namespace std::string_literals;

RouteDistinguisher rd( const char* text ) { return RouteDistinguisher::fromText( text ).value(); }

TEST( ReadRd, GivesTheDistinguisherAndFillsTheKey ) {
   for ( const char* text :
         { "100:1", "192.0.2.1:100", "70000:100", "100L:1", "0x00030000000000ff" } ) {
      FlowspecKey key;
      EXPECT_EQ( key.copyInStrCliWithRd( "RD:"s + text + ";*;*;IP:=6;", false ), rd( text ) );
      EXPECT_EQ( key.matchOpVal( 0 ).storage(), 0x03810006U );
   }
   FlowspecKey key;
   EXPECT_EQ( key.copyInStrCliWithRd( "RD:100:1;10.0.0.0/8;*;IP:=0L6", true ), rd( "100:1" ) );
   EXPECT_EQ( key.toStrepCli( true ), "10.0.0.0/8;*;IP:=0L6;" );
}

TEST( ReadRd, ZeroDistinguisherCannotBeToldFromAFailure ) {
   TraceRecorder recorder( traceHandle, { 2 } );
   FlowspecKey key;
   EXPECT_EQ( key.copyInStrCliWithRd( "RD:0:0;*;*;IP:=6;", false ), RouteDistinguisher() );
   EXPECT_TRUE( recorder.records().empty() );
   EXPECT_TRUE( key );
}

struct BadText {
   std::string text;
   std::string message;
   std::size_t offset;
   std::string function = "copyInStrCliWithRd";
};

const std::string cli = "copyInStrCliAtOffset";

const BadText badTexts[] = {
   { "", "Did not find route distinguisher anchor ", 0 },
   { "RD", "Did not find route distinguisher anchor RD", 0 },
   { "10.0.0.0/8;*;IP:=6;", "Did not find route distinguisher anchor 10.0.0.0/8;*;IP:=6;", 0 },
   { " RD:1:1;*;*;", "Did not find route distinguisher anchor  RD:1:1;*;*;", 0 },
   { "rd:1:1;*;*;", "Did not find route distinguisher anchor rd:1:1;*;*;", 0 },
   { "Route Distinguisher: 1:1;*;*;",
     "Did not find route distinguisher anchor Route Distinguisher: 1:1;*;*;", 0 },
   { "RD:", "Did not find route distinguisherRD:", 3 },
   { "RD:;*;*;",
     "Could not parse route distinguisher  : Zorv::RouteDistinguisher: '' is not a route "
     "distinguisher",
     3 },
   { "RD:x",
     "Could not parse route distinguisher x : Zorv::RouteDistinguisher: 'x' is not a route "
     "distinguisher",
     3 },
   { "RD: 1:1;*;*;",
     "Could not parse route distinguisher  1:1 : Zorv::RouteDistinguisher: ' 1:1' is not a route "
     "distinguisher",
     3 },
   { "RD:1:1", "Did not find a destination prefix RD:1:1", 6, cli },
   { "RD:1:1;", "Did not find a destination prefix RD:1:1;", 7, cli },
   { "RD:1:1;*;", "Did not find a source prefix RD:1:1;*;", 9, cli },
   { "RD:1:1;*;*;IP:=;", " Missing value in IP:=", 15, cli },
   { "RD:1:1;x;", "Could not parse dest prefix RD:1:1;x; : Zorv::IpGenPrefix: 'x' is not a prefix",
     7, cli },
};

TEST( ReadRd, EachFailureGivesTheZeroDistinguisherAndOneRecord ) {
   for ( const BadText& bad : badTexts ) {
      TraceRecorder recorder( traceHandle, { 2 } );
      FlowspecKey key;
      EXPECT_EQ( key.copyInStrCliWithRd( bad.text, false ), RouteDistinguisher() ) << bad.text;
      ASSERT_THAT( recorder.texts(), ElementsAre( bad.message ) ) << bad.text;
      EXPECT_EQ( recorder.records()[0].level, 2U );
      EXPECT_EQ( recorder.records()[0].file, "FlowspecDalb" );
      EXPECT_EQ( recorder.records()[0].function, bad.function );
   }
}

TEST( ReadRd, CheckedReaderGivesTheSameMessageAndThePlace ) {
   for ( const BadText& bad : badTexts ) {
      FlowspecKey key;
      RouteDistinguisher read;
      const KeyTextResult result = readStrCliWithRd( bad.text, false, read, key );
      ASSERT_TRUE( result ) << bad.text;
      EXPECT_EQ( result->message, bad.message );
      EXPECT_EQ( result->offset, bad.offset ) << bad.text;
   }
   FlowspecKey key;
   RouteDistinguisher read;
   EXPECT_FALSE( readStrCliWithRd( "RD:0:0;*;*;IP:=0L6", true, read, key ) );
   EXPECT_EQ( read, RouteDistinguisher() );
   EXPECT_FALSE( readStrCliWithRd( "RD:7:8;*;*;", true, read, key ) );
   EXPECT_EQ( read, rd( "7:8" ) );
   EXPECT_EQ( key.matchOpVals(), 1U );
}

TEST( ReadRd, WhatWasReadStaysInTheKey ) {
   FlowspecKey key;
   EXPECT_FALSE( key.copyInStrCliWithRd( "RD:1:1;10.0.0.0/8;*;IP:=6;x", false ) );
   EXPECT_EQ( key.toStrepCli( true ), "10.0.0.0/8;*;IP:=0L6;" );
   EXPECT_FALSE( key.copyInStrCliWithRd( "RD:x;11.0.0.0/8;*;IP:=7", false ) );
   EXPECT_EQ( key.toStrepCli( true ), "10.0.0.0/8;*;IP:=0L6;" );
}

TEST( ReadRd, LevelEightTellsWhereTheKeyBegins ) {
   TraceRecorder recorder( traceHandle, { 8 } );
   FlowspecKey key;
   key.copyInStrCliWithRd( "RD:100:1;*;*;", false );
   EXPECT_THAT( recorder.texts(),
                ElementsAre( "copyInStrCliAtOffset constructing match components at offset 9 from "
                             "RD:100:1;*;*;" ) );
}

} // namespace
} // namespace Flowspec
