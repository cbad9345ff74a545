#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;

constexpr const char* filter =
   R"({"destPrefix":["10.1.0.0/16"],"srcPrefix":["10.2.0.0/16"],"protocols":[{"protocol":6,)"
   R"("ports":[{"srcPort":[[1024,65535]],"destPort":[80,[8000,8080]]}],)"
   R"("icmpTypes":[{"type":3,"codes":[1,[2,4]]}],"tcpFlags":[{"flag":2,"mask":18}]}],)"
   R"("length":[[64,1500]],"dscp":[46],"fragment":"anyFragment"})"
   "\n";

Result convert( std::vector< Vek::String > arguments, Vek::String input = {} ) {
   arguments.insert( arguments.begin(), "convert" );
   return flowspecctl( std::move( arguments ), std::move( input ) );
}

Vek::String converted( const Vek::String& text, std::vector< Vek::String > arguments = {} ) {
   const Result result = convert( std::move( arguments ), text );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   return result.out;
}

TEST( ConvertCommand, TellsWhatAKeyDoesNotHave ) {
   const char* const text = R"({"destPrefix":["10.0.0.0/8","9.0.0.0/8"],"fragment":"notFragment"})";
   const Result lenient = convert( {}, text );
   EXPECT_EQ( lenient.out, "9.0.0.0/8;*;\n" );
   EXPECT_EQ( lenient.err, "<stdin>:1: warning: of 2 destPrefix only 9.0.0.0/8 is kept\n" );
   EXPECT_EQ( lenient.status, 0 );
   const Result strict = convert( { "--strict" }, R"({"fragment":"notFragment"})" );
   EXPECT_EQ( strict.out, "" );
   EXPECT_EQ( strict.err, "<stdin>:1: error: fragment 'notFragment' is left out\n" );
   EXPECT_EQ( strict.status, 1 );
}

TEST( ConvertCommand, ConvertsEveryMember ) {
   EXPECT_EQ( converted( filter ),
              "10.1.0.0/16;10.2.0.0/16;IP:=6;DP:=80|>=8000&<=8080;SP:>=1024&<=65535;IT:=3;"
              "IC:=1|>=2&<=4;TCP:=2&!16;LEN:>=64&<=1500;DSCP:=46;FRAG:2;\n" );
   for ( const auto& [json, rule] :
         { std::pair( R"({})", "*;*;\n" ), //
           std::pair( R"({"destPrefix":["10.1.2.3/16"]})", "10.1.0.0/16;*;\n" ),
           std::pair( R"({"srcPrefix":["2001:db8::/32"]})", "*;2001:db8::/32;\n" ),
           std::pair( R"({"protocols":[{"protocol":[1,5]},{"protocol":0}]})",
                      "*;*;IP:=0|>=1&<=5;\n" ),
           std::pair( R"({"protocols":[{"protocol":6,"ports":[{"destPort":[80]},)"
                      R"({"destPort":[80,22]}]}]})",
                      "*;*;IP:=6;DP:=22|=80;\n" ),
           std::pair( R"({"protocols":[{"protocol":1,"icmpTypes":[{"type":[0,8]}]}]})",
                      "*;*;IP:=1;IT:>=0&<=8;\n" ),
           std::pair( R"({"protocols":[{"protocol":1,"icmpTypes":[{"type":3,"codes":[4]},)"
                      R"({"type":3,"codes":[1]}]}]})",
                      "*;*;IP:=1;IT:=3;IC:=1|=4;\n" ),
           std::pair( R"({"protocols":[{"protocol":6,"tcpFlags":[{"flag":16,"mask":16},)"
                      R"({"flag":0,"mask":2}]}]})",
                      "*;*;IP:=6;TCP:!2|=16;\n" ),
           std::pair( R"({"length":[64,[0,40]]})", "*;*;LEN:>=0&<=40|=64;\n" ),
           std::pair( R"({"dscp":[[0,63]]})", "*;*;DSCP:>=0&<=63;\n" ),
           std::pair( R"({"fragment":"anyFragment"})", "*;*;FRAG:2;\n" ),
           std::pair( R"({"fragment":null,"dscp":[],"length":[],"protocols":[]})", "*;*;\n" ) } ) {
      EXPECT_EQ( converted( json ), rule ) << json;
   }
}

TEST( ConvertCommand, WritesTheFormsThatHaveNoDistinguisher ) {
   const Vek::String json = R"({"destPrefix":["10.1.0.0/16"],"protocols":[{"protocol":6}]})";
   for ( const auto& [form, text] :
         { std::pair( "cli", "10.1.0.0/16;*;IP:=6;\n" ),
           std::pair( "cli-len", "10.1.0.0/16;*;IP:=0L6;\n" ),
           std::pair( "value", "5;ipv4;10.1.0.0/16;*;IP:=0L6;\n" ),
           std::pair( "diag", "5;ipv4;10.1.0.0/16;;58785798;\n" ),
           std::pair( "json", "{\"vrfId\":5,\"addressFamily\":\"ipv4\",\"destPrefix\":"
                              "\"10.1.0.0/16\",\"srcPrefix\":null,\"interfaceSet\":[],\"terms\":"
                              "[{\"type\":\"ipProto\",\"op\":129,\"value\":6}]}\n" ),
           std::pair( "detail",
                      "Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;\n" ),
           std::pair( "words", "0x03810006\n" ) } ) {
      EXPECT_EQ( converted( json, { "--vrf", "5", "--family", "ipv4", "--to", form } ), text );
   }
   EXPECT_EQ( converted( "{}", { "--to", "value" } ), "16777215;none;*;*;\n" );
}

TEST( ConvertCommand, GoesOnBehindBadLines ) {
   const Folder folder;
   const Vek::String file = folder.file( "filters", Vek::String( "# filters\n{}\n\n[]\n" ) +
                                                       "{\"dscp\":[64]}\n" + filter );
   const Result result = convert( { "--to", "words", file, "/nonexistent", "-" }, "{}\n{\n" );
   EXPECT_EQ( result.out, "-\n"
                          "0x03810006 0x05010050 0x05131f40 0x05d51f90 0x06130400 0x06d5ffff "
                          "0x07810003 0x08010001 0x08030002 0x08c50004 0x09010002 0x09c20010 "
                          "0x0a030040 0x0ad505dc 0x0b81002e 0x0c800002\n"
                          "-\n" );
   EXPECT_EQ( result.err,
              file + ":4: error: not a JSON object\n" + file +
                 ":5: error: 'dscp[0]' is not a whole number from 0 to 63\n"
                 "/nonexistent: error: cannot open: No such file or directory\n"
                 "<stdin>:2: error: not JSON: parse error at line 1, column 2: syntax error while "
                 "parsing object key - unexpected end of input; expected string literal\n" );
   EXPECT_EQ( result.status, 1 );
}

// One term for each length.
TEST( ConvertCommand, AFilterMayHaveMoreTermsThanAKeyHolds ) {
   const auto lengths = []( int count ) {
      Vek::String text = "{\"length\":[";
      for ( int i = 0; i < count; ++i ) {
         text += i == 0 ? "" : ",";
         text += std::to_string( i );
      }
      return text + "]}\n";
   };
   EXPECT_EQ( converted( lengths( 2047 ) ).substr( 0, 15 ), "*;*;LEN:=0|=1|=" );
   const Result result = convert( {}, lengths( 2048 ) + "{}\n" );
   EXPECT_EQ( result.out, "*;*;\n" );
   EXPECT_EQ( result.err, "<stdin>:1: error: the filter has more terms than a rule key holds\n" );
   EXPECT_EQ( result.status, 1 );
}

TEST( ConvertCommand, ChecksItsOptions ) {
   const Vek::String hint = "\nTry 'flowspecctl convert --help'.\n";
   for ( const char* const form : { "rd", "rd-len", "rd-detail", "text", "cli,words" } ) {
      const Result result = convert( { "--to", form }, "{}\n" );
      EXPECT_EQ( result.out, "" );
      EXPECT_EQ( result.err, Vek::String( "flowspecctl: error: --to: '" ) + form +
                                "' is not a form without a route distinguisher" + hint );
      EXPECT_EQ( result.status, 2 );
   }
   EXPECT_EQ( convert( { "--vrf", "x" } ).err,
              "flowspecctl: error: --vrf: 'x' is not a whole number from 0 to 4294967295" + hint );
   EXPECT_EQ( convert( { "--family", "x" } ).err,
              "flowspecctl: error: --family: 'x' is not an address family" + hint );
   EXPECT_EQ( convert( { "--from", "json" } ).status, 2 );
}

} // namespace
