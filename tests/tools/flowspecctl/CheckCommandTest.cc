#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;

Result check( std::vector< Vek::String > arguments, Vek::String input = {} ) {
   arguments.insert( arguments.begin(), "check" );
   return flowspecctl( std::move( arguments ), std::move( input ) );
}

// A rule, and what is told of it after the tab.
struct Row {
   Vek::String rule;
   Vek::String told;
};

void expectTold( const std::vector< Row >& rows, int status,
                 const std::vector< Vek::String >& arguments = {} ) {
   Vek::String input;
   Vek::String told;
   for ( const Row& row : rows ) {
      input += row.rule + '\n';
      told += row.rule + '\t' + row.told + '\n';
   }
   const Result result = check( arguments, input );
   EXPECT_EQ( result.out, told );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, status );
}

TEST( CheckCommand, TellsTheProtocolsThatARuleAsksFor ) {
   expectTold( { { "*;*;", "feasible\tany" },
                 { "10.1.0.0/16;10.2.0.0/16;", "feasible\tany" },
                 { "*;*;IP:=6;", "feasible\t6" },
                 { "*;*;IP:=6|=17;", "feasible\t6,17" },
                 { "*;*;IP:>5&<18|=47;", "feasible\t6-17,47" },
                 { "*;*;IP:<>6;", "feasible\t0-5,7-255" },
                 { "*;*;DP:=80;", "feasible\t6,17" },
                 { "*;*;SP:=80;", "feasible\t6,17" },
                 { "*;*;P:=80;", "feasible\t6,17" },
                 { "*;*;IP:=6|=47;DP:=80|=443;", "feasible\t6" },
                 { "*;*;IP:>6;DP:=53;", "feasible\t17" },
                 { "*;*;TCP:2;", "feasible\t6" },
                 { "*;*;DP:=80;TCP:2;", "feasible\t6" },
                 { "*;*;IT:=8;", "feasible\t1" },
                 { "*;*;IC:=0;", "feasible\t1" },
                 { "*;*;LEN:>=64;DSCP:=46;FRAG:2;", "feasible\tany" },
                 { "*;*;FL:=1048575;", "feasible\tany" } },
               0 );
}

TEST( CheckCommand, NamesTheComponentThatCannotHoldBesideTheOthers ) {
   expectTold( { { "*;*;IP:=17;TCP:2;", "infeasible\ttcpFlags" },
                 { "*;*;IT:=8;TCP:2;", "infeasible\ttcpFlags" },
                 { "*;*;IP:=6;IT:=8;", "infeasible\ticmpType" },
                 { "*;*;DP:=80;IT:=8;", "infeasible\ticmpType" },
                 { "*;*;IP:=6;IC:=0;", "infeasible\ticmpCode" },
                 { "*;*;SP:=80;IC:=0;", "infeasible\ticmpCode" },
                 { "*;*;IP:=1;P:=80;", "infeasible\tport" },
                 { "*;*;IP:=1;DP:=80;", "infeasible\tdestPort" },
                 { "*;*;IP:=1;SP:=80;", "infeasible\tsrcPort" } },
               1 );
}

TEST( CheckCommand, NamesTheComponentThatNoValueSatisfies ) {
   expectTold( { { "*;*;IP:=6&=17;", "infeasible\tipProto" },
                 { "*;*;P:>65535;", "infeasible\tport" },
                 { "*;*;DP:<0;", "infeasible\tdestPort" },
                 { "*;*;SP:=1&=2;", "infeasible\tsrcPort" },
                 { "*;*;IT:>255;", "infeasible\ticmpType" },
                 { "*;*;IC:=1&<>1;", "infeasible\ticmpCode" },
                 { "*;*;TCP:2&!2;", "infeasible\ttcpFlags" },
                 { "*;*;LEN:>100&<101;", "infeasible\tpacketLength" },
                 { "*;*;DSCP:>63;", "infeasible\tdscp" },
                 { "*;*;FRAG:2&!2;", "infeasible\tfragment" },
                 { "*;*;FL:>1048575;", "infeasible\tflowLabel" },
                 // The first one of the rule, before what the components ask of each other.
                 { "*;*;IP:=1;DP:=80;LEN:<0;DSCP:>63;", "infeasible\tpacketLength" } },
               1 );
}

// They count by what they mean, which is rarely what was wanted.
TEST( CheckCommand, WarnsAboutValuesThatNoPacketHas ) {
   const struct {
      Vek::String rule;
      Vek::String told;
      Vek::String warning;
   } rows[] = {
      { "IP:<>300", "feasible\t0-255",
        "value 300 of ipProto is above 255, the highest that a packet has" },
      { "IP:=256", "infeasible\tipProto",
        "value 256 of ipProto is above 255, the highest that a packet has" },
      { "P:<>65536", "feasible\t6,17",
        "value 65536 of port is above 65535, the highest that a packet has" },
      { "DP:=65536", "infeasible\tdestPort",
        "value 65536 of destPort is above 65535, the highest that a packet has" },
      { "IT:<256", "feasible\t1",
        "value 256 of icmpType is above 255, the highest that a packet has" },
      { "LEN:<70000", "feasible\tany",
        "value 70000 of packetLength is above 65535, the highest that a packet has" },
      { "FL:<1048576", "feasible\tany",
        "value 1048576 of flowLabel is above 1048575, the highest that a packet has" },
      { "DSCP:=110", "feasible\tany", "value 110 of dscp has more than 6 bits: it counts as 46" },
      { "TCP:=4098", "infeasible\ttcpFlags", "bits 0x1000 of tcpFlags are clear in every packet" },
      { "TCP:65538", "feasible\t6", "bits 0x10000 of tcpFlags are clear in every packet" },
      { "FRAG:=20", "feasible\tany", "bits 0x10 of fragment do not count" } };
   for ( const auto& row : rows ) {
      const Vek::String rule = "*;*;" + row.rule + ";";
      const Result result = check( {}, rule + '\n' );
      EXPECT_EQ( result.out, rule + '\t' + row.told + '\n' );
      EXPECT_EQ( result.err, "<stdin>:1: warning: " + row.warning + "\n" );
      EXPECT_EQ( result.status, row.told.starts_with( "feasible" ) ? 0 : 1 );
   }
   const Vek::String dontFragment = "*;*;FRAG:!1;\n";
   EXPECT_EQ( check( { "--family", "ipv4" }, dontFragment ).err, "" );
   EXPECT_EQ( check( { "--family", "ipv6" }, dontFragment ).err,
              "<stdin>:1: warning: bits 0x1 of fragment do not count\n" );
}

TEST( CheckCommand, FindsWhatIsInTwoFamilies ) {
   const Result result = check( {}, "10.0.0.0/8;2001:db8::/32;\n10.0.0.0/8;*;FL:=5;\n" );
   EXPECT_EQ( result.out, "10.0.0.0/8;2001:db8::/32;\tinfeasible\tsrcPrefix\n"
                          "10.0.0.0/8;*;FL:=5;\tinfeasible\tflowLabel\n" );
   EXPECT_EQ( result.err,
              "<stdin>:1: warning: srcPrefix 2001:db8::/32 is of ipv6, and destPrefix of ipv4\n"
              "<stdin>:2: warning: packets of ipv4 have no flowLabel\n" );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( check( { "--family", "ipv4" }, "*;2001:db8::/32;\n" ).out,
              "*;2001:db8::/32;\tinfeasible\tsrcPrefix\n" );
}

TEST( CheckCommand, WarnsOfWhatIsReadAsSomethingElseOrRefusesIt ) {
   const Vek::String text = "'FLAGS:2' is read as 'FL:2' (Flow Label)\n   *;*;FLAGS:2;\n       ^\n";
   const Result lenient = check( {}, "*;*;FLAGS:2;\n" );
   EXPECT_EQ( lenient.err, "<stdin>:1:5: warning: " + text );
   EXPECT_TRUE( lenient.out.starts_with( "*;*;FL:2;\t" ) );
   const Result strict = check( { "--strict" }, "*;*;FLAGS:2;\n" );
   EXPECT_EQ( strict.out, "" );
   EXPECT_EQ( strict.err, "<stdin>:1:5: error: " + text );
   EXPECT_EQ( strict.status, 1 );
}

TEST( CheckCommand, GoesOnBehindBadLines ) {
   const Result result = check( {}, "# a comment\n"
                                    "*;*;IP:=tcp;\n"
                                    "\n"
                                    "*;*;DP:=1;SP:=2;DP:=3;\n"
                                    "*;*;DP:=1;\n" );
   EXPECT_EQ( result.out, "*;*;DP:=1;\tfeasible\t6,17\n" );
   EXPECT_EQ( result.err, "<stdin>:2:9: error: Unexpected character t: 'tcp' is 6\n"
                          "   *;*;IP:=tcp;\n"
                          "           ^\n"
                          "<stdin>:4: error: destPort occurs at two places\n" );
   EXPECT_EQ( result.status, 1 );
}

TEST( CheckCommand, KeysWhoseWordsAreNoTermsAreBadLines ) {
   const Result result =
      check( { "--from", "diag" }, ";;;;243335174;\n;;;;228655105;\n;;;;61931526;\n" );
   EXPECT_EQ( result.out, "" );
   EXPECT_EQ( result.err,
              "<stdin>:1: error: the term at index 0 cannot be read: its component type is not "
              "known\n"
              "<stdin>:2: error: the term at index 0 cannot be read: the second half of its value "
              "is missing\n"
              "<stdin>:3: error: the term at index 0 cannot be read: its value has 8 bytes\n" );
   EXPECT_EQ( result.status, 1 );
}

TEST( CheckCommand, TheFamilyTellsWhichIcmpIsMeant ) {
   expectTold( { { "*;*;IT:=8;", "feasible\t1" }, { "*;*;IP:=1;IC:=0;", "feasible\t1" } }, 0,
               { "--family", "ipv4" } );
   expectTold( { { "*;*;IT:=128;", "feasible\t58" }, { "*;*;IP:=58;IC:=0;", "feasible\t58" } }, 0,
               { "--family", "ipv6" } );
   expectTold( { { "*;*;IP:=58;IT:=8;", "infeasible\ticmpType" } }, 1, { "--family", "ipv4" } );
   expectTold( { { "*;*;IP:=1;IC:=0;", "infeasible\ticmpCode" } }, 1, { "--family", "ipv6" } );
   const Result result =
      check( { "--from", "value" }, "5;ipv6;*;*;IT:=0L128;\n5;ipv4;*;*;IT:=0L8;\n" );
   EXPECT_EQ( result.out, "*;*;IT:=128;\tfeasible\t58\n*;*;IT:=8;\tfeasible\t1\n" );
   EXPECT_EQ( result.status, 0 );
}

TEST( CheckCommand, WritesAnObjectForEachLine ) {
   const Result result = check( { "--json" }, "*;*;\n"
                                              "*;*;IP:>5&<18|=47;\n"
                                              "*;*;IP:=1;DP:=80;\n"
                                              "*;*;DSCP:=64;\n" );
   EXPECT_EQ( result.out, R"({"line":1,"ok":true,"feasible":true,"ipProto":null,"cli":"*;*;"})"
                          "\n"
                          R"({"line":2,"ok":true,"feasible":true,"ipProto":[[6,17],[47,47]],)"
                          R"("cli":"*;*;IP:>5&<18|=47;"})"
                          "\n"
                          R"({"line":3,"ok":true,"feasible":false,"component":"destPort",)"
                          R"("cli":"*;*;IP:=1;DP:=80;"})"
                          "\n"
                          R"({"line":4,"ok":true,"feasible":true,"ipProto":null,)"
                          R"("warning":"value 64 of dscp has more than 6 bits: it counts as 0",)"
                          R"("cli":"*;*;DSCP:=64;"})"
                          "\n" );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( check( { "--json" }, "*;*;\n" ).status, 0 );
}

TEST( CheckCommand, NamesTheFileWhenThereAreSeveral ) {
   const Folder folder;
   const Vek::String one = folder.file( "one", "*;*;\n" );
   const Vek::String two = folder.file( "two", "\nbad\n" );
   const Result json = check( { "--json", one, "-" }, "*;*;IP:=6;\n" );
   EXPECT_EQ( json.out, "{\"file\":\"" + one +
                           "\",\"line\":1,\"ok\":true,\"feasible\":true,"
                           "\"ipProto\":null,\"cli\":\"*;*;\"}\n"
                           "{\"file\":\"<stdin>\",\"line\":1,\"ok\":true,\"feasible\":true,"
                           "\"ipProto\":[[6,6]],\"cli\":\"*;*;IP:=6;\"}\n" );
   EXPECT_EQ( json.status, 0 );
   const Result text = check( { two, folder.path() + "/none", one } );
   EXPECT_EQ( text.out, "*;*;\tfeasible\tany\n" );
   EXPECT_EQ( text.err,
              two +
                 ":2:1: error: Could not parse dest prefix bad : Zorv::IpGenPrefix: 'bad' is not a "
                 "prefix\n   bad\n   ^\n" +
                 folder.path() + "/none: error: cannot open: No such file or directory\n" );
   EXPECT_EQ( text.status, 1 );
}

TEST( CheckCommand, ChecksItsOptions ) {
   const Vek::String hint = "\nTry 'flowspecctl check --help'.\n";
   const Result form = check( { "--from", "words" } );
   EXPECT_EQ(
      form.err,
      "flowspecctl: error: --from: 'words' is not one of cli, cli-len, rd, "
      "rd-len, value, diag, json, nlri, nlri-vpn, bird, exabgp, exabgp-json, gobgp, gobgp-json" +
         hint );
   EXPECT_EQ( form.status, 2 );
   const Result family = check( { "--family", "4" } );
   EXPECT_EQ( family.err, "flowspecctl: error: --family: '4' is not an address family" + hint );
   EXPECT_EQ( family.status, 2 );
}

TEST( CheckCommand, FamilyIsNotForFormsThatHoldOne ) {
   const Result result = flowspecctl( { "check", "--from", "value", "--family", "ipv4" } );
   EXPECT_EQ( result.status, 2 );
   EXPECT_EQ( result.err, "flowspecctl: error: --family is not for --from value: its rules have "
                          "their own\nTry 'flowspecctl check --help'.\n" );
}

} // namespace
