#include "tests/support/PacketBytes.h"
#include "tests/tools/flowspecctl/Run.h"

#include "Vek/text/Text.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;

Result trace( std::vector< Vek::String > arguments, Vek::String input = {} ) {
   arguments.insert( arguments.begin(), "trace" );
   return flowspecctl( std::move( arguments ), std::move( input ) );
}

// The output with `FILE` for the name of a file of rules in place of `rules`.
Result traceWith( const Vek::String& name, const Vek::String& rules,
                  std::vector< Vek::String > arguments ) {
   const Folder folder;
   const Vek::String file = folder.file( name, rules );
   arguments.insert( arguments.end(), { "--rules", file } );
   Result result = trace( std::move( arguments ) );
   for ( std::size_t at = 0; ( at = result.out.find( file, at ) ) != result.out.npos; ) {
      result.out.replace( at, file.size(), "FILE" );
   }
   return result;
}

constexpr const char* rules = "10.1.2.0/24;*;IP:=17;\n"
                              "10.1.0.0/16;*;IP:=6;DP:=443;\n"
                              "10.1.0.0/16;*;TCP:2;\n"
                              "10.1.0.0/16;192.0.2.0/24;\n"
                              "10.2.0.0/16;*;\n"
                              "*;192.0.2.0/24;DP:=80;SP:=1;\n";
constexpr const char* packet = "ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10";

TEST( TraceCommand, TellsWhichRuleWinsAndWhyOthersDoNot ) {
   const Result result = traceWith( "rules.cli", rules, { packet } );
   EXPECT_EQ( result.out,
              "packet        ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10\n"
              "tried         FILE:1: 10.1.2.0/24;*;IP:=17; fails at ipProto: it asks "
              "for protocol UDP, and the packet has 6\n"
              "tried         FILE:4: 10.1.0.0/16;192.0.2.0/24; matches\n"
              "wins          FILE:4: 10.1.0.0/16;192.0.2.0/24; permit\n" );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

TEST( TraceCommand, TellsThatNoRuleWins ) {
   const Result result =
      traceWith( "rules.cli", rules,
                 { "--all", "ipv4 tcp 198.51.100.1:1 > 10.1.9.3:80 length 40 flags 0x10" } );
   EXPECT_EQ( result.out,
              "packet        ipv4 tcp 198.51.100.1:1 > 10.1.9.3:80 length 40 flags 0x10\n"
              "tried         FILE:1: 10.1.2.0/24;*;IP:=17; fails at destPrefix: it asks for "
              "destination in 10.1.2.0/24, and the packet has 10.1.9.3\n"
              "tried         FILE:4: 10.1.0.0/16;192.0.2.0/24; fails at srcPrefix: it asks for "
              "source in 192.0.2.0/24, and the packet has 198.51.100.1\n"
              "tried         FILE:2: 10.1.0.0/16;*;IP:=6;DP:=443; fails at destPort: it asks for "
              "destination port 443, and the packet has 80\n"
              "tried         FILE:3: 10.1.0.0/16;*;TCP:2; fails at tcpFlags: it asks for TCP "
              "flags: SYN set, and the packet has 0x10\n"
              "tried         FILE:5: 10.2.0.0/16;*; fails at destPrefix: it asks for destination "
              "in 10.2.0.0/16, and the packet has 10.1.9.3\n"
              "tried         FILE:6: *;192.0.2.0/24;DP:=80;SP:=1; fails at srcPrefix: it asks for "
              "source in 192.0.2.0/24, and the packet has 198.51.100.1\n"
              "wins          no rule\n" );
   const Result fewer =
      traceWith( "rules.cli", rules, { "ipv4 icmp 192.0.2.1 > 10.3.0.1 type 8 code 0" } );
   EXPECT_EQ( fewer.out, "packet        ipv4 icmp 192.0.2.1 > 10.3.0.1 length 28 type 8 code 0\n"
                         "tried         FILE:6: *;192.0.2.0/24;DP:=80;SP:=1; fails at destPort: it "
                         "asks for destination port 80, and the packet has none\n"
                         "tried         5 more of other prefixes\n"
                         "wins          no rule\n" );
}

Vek::String lineOf( const char* terms, const char* sets, const char* action ) {
   return Vek::concat( R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":"10.0.0.0/8",)"
                       R"("srcPrefix":null,"interfaceSet":[)",
                       sets, R"(],"terms":[)", terms, R"(],"action":{)", action, "}}\n" );
}

TEST( TraceCommand, GoesOnWhereARuleSaysSo ) {
   const Vek::String tcp = R"({"type":"ipProto","op":129,"value":6})";
   const Vek::String file = lineOf( tcp.c_str(), "", R"("continue":true,"sample":true)" ) +
                            lineOf( "", "", R"("drop":true)" );
   const Result result = traceWith( "rules.jsonl", file, { packet } );
   EXPECT_EQ( result.out,
              "packet        ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10\n"
              "tried         FILE:1: 10.0.0.0/8;*;IP:=6; matches, and the packet goes on\n"
              "tried         FILE:2: 10.0.0.0/8;*; matches\n"
              "wins          FILE:2: 10.0.0.0/8;*; drop\n" );
}

TEST( TraceCommand, LeavesOutRulesOfOtherInterfacesAndVrfs ) {
   const Vek::String file = lineOf( "", "7", R"("drop":true)" );
   EXPECT_EQ( traceWith( "rules.jsonl", file, { packet } ).out,
              "packet        ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10\n"
              "elsewhere     1 rule of other interface sets\n"
              "wins          no rule\n" );
   EXPECT_EQ( traceWith( "rules.jsonl", file, { packet, "--interface-set", "7" } ).out,
              "packet        ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10\n"
              "tried         FILE:1: 10.0.0.0/8;*; matches\n"
              "wins          FILE:1: 10.0.0.0/8;*; drop\n" );
   EXPECT_EQ( traceWith( "rules.jsonl", file, { packet, "--vrf", "3" } ).out,
              "packet        ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10\n"
              "wins          no rule\n" );
}

TEST( TraceCommand, WritesObjects ) {
   const Result result = traceWith( "rules.cli", rules, { "--json", packet } );
   EXPECT_EQ(
      result.out,
      R"({"packet":"ipv4 tcp 192.0.2.1:1234 > 10.1.2.3:80 length 40 flags 0x10","tried":[)"
      R"({"place":"FILE:1","cli":"10.1.2.0/24;*;IP:=17;","matches":false,"failed":"ipProto",)"
      R"("has":"6","asked":"protocol UDP"},)"
      R"({"place":"FILE:4","cli":"10.1.0.0/16;192.0.2.0/24;","matches":true}],)"
      R"("ofOtherPrefixes":0,"elsewhere":0,)"
      R"("wins":{"place":"FILE:4","cli":"10.1.0.0/16;192.0.2.0/24;","action":{}}})"
      "\n" );
}

Vek::String hexOf( const std::vector< U8 >& octets ) {
   Vek::String text;
   for ( const U8 octet : octets ) {
      Vek::TextWriter( text ).hex( octet >> 4 );
      Vek::TextWriter( text ).hex( octet & 0xF );
   }
   return text;
}

TEST( TraceCommand, TakesOctets ) {
   TestSupport::PacketParts parts;
   parts.payload = TestSupport::portBytes( 53, 1234 );
   const Result result =
      traceWith( "rules.cli", rules, { hexOf( TestSupport::packetBytes( parts ) ) } );
   EXPECT_EQ( result.out, "packet        ipv4 udp 192.0.2.1:53 > 10.1.2.3:1234 length 28\n"
                          "tried         FILE:1: 10.1.2.0/24;*;IP:=17; matches\n"
                          "wins          FILE:1: 10.1.2.0/24;*;IP:=17; permit\n" );
}

// A capture of raw IP packets, as pcap has them.
Vek::String captureOf( const std::vector< std::vector< U8 > >& packets ) {
   Vek::String file;
   const auto add = [&]( U32 value ) {
      file.append( reinterpret_cast< const char* >( &value ), sizeof value );
   };
   for ( const U32 value : { 0xA1B2C3D4U, 0x00040002U, 0U, 0U, 65535U, 101U } ) {
      add( value );
   }
   for ( const auto& octets : packets ) {
      const U32 size = static_cast< U32 >( octets.size() );
      for ( const U32 value : { 0U, 0U, size, size } ) {
         add( value );
      }
      file.append( octets.begin(), octets.end() );
   }
   return file;
}

TEST( TraceCommand, TakesCaptures ) {
   const Folder folder;
   TestSupport::PacketParts parts;
   parts.payload = TestSupport::portBytes( 53, 1234 );
   const auto octets = TestSupport::packetBytes( parts );
   const Vek::String file = folder.file( "rules.cli", rules );
   const Vek::String capture =
      folder.file( "packets.pcap", captureOf( { octets, { 0x45 }, octets } ) );
   const Result result = trace( { "--rules", file, "--capture", capture } );
   const Vek::String block = "packet        ipv4 udp 192.0.2.1:53 > 10.1.2.3:1234 length 28\n"
                             "tried         " +
                             file + ":1: 10.1.2.0/24;*;IP:=17; matches\nwins          " + file +
                             ":1: 10.1.2.0/24;*;IP:=17; permit\n";
   EXPECT_EQ( result.out, block + "\n" + block );
   EXPECT_EQ( result.err,
              capture +
                 ":2: error: the frame has no packet of IPv4 or IPv6 with a whole header\n" );
   EXPECT_EQ( result.status, 1 );

   const Vek::String cut =
      folder.file( "cut.pcap", captureOf( { octets } ).substr( 0, 24 + 16 + octets.size() - 1 ) );
   const Result bad = trace( { "--rules", file, "--capture", cut } );
   EXPECT_EQ( bad.err.substr( 0, cut.size() + 10 ), cut + ":0: error:" );
   EXPECT_EQ( bad.status, 1 );
   EXPECT_EQ( trace( { "--rules", file, "--capture", "/nowhere" } ).err,
              "flowspecctl: error: cannot read /nowhere: No such file or directory\n" );
}

TEST( TraceCommand, ReportsWhatCannotBeRead ) {
   const Result result = traceWith( "rules.cli", rules, { "45", "ipv4 tcp", packet } );
   EXPECT_EQ( result.err,
              "PACKET:1: error: the octets are no packet of IPv4 or IPv6 with a whole header\n"
              "PACKET:2: error: expected an IPv4 address at the end\n" );
   EXPECT_NE( result.out.find( "wins" ), Vek::String::npos );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( trace( {} ).err, "flowspecctl: error: give a PACKET, or --capture FILE\n"
                               "Try 'flowspecctl trace --help'.\n" );
   EXPECT_EQ( trace( {} ).status, 2 );
}

} // namespace
