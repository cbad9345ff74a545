#include "Vek/text/Text.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::json;
using TestSupport::flowspecctl;
using TestSupport::Result;

Result nlri( std::vector< Vek::String > arguments, Vek::String input ) {
   arguments.insert( arguments.begin(), "nlri" );
   return flowspecctl( std::move( arguments ), std::move( input ) );
}

void expect( const Result& result, int status, const Vek::String& out, const Vek::String& err ) {
   EXPECT_EQ( result.out, out );
   EXPECT_EQ( result.err, err );
   EXPECT_EQ( result.status, status );
}

TEST( NlriCommand, ReadsHexWithBlanksColonsOrNeither ) {
   for ( const auto* const hex :
         { "0b01100a01038106059101bb\n", "0B 01 10 0A 01 03 81 06 05 91 01 BB\n",
           "0b:01:10:0a:01:03:81:06:05:91:01:bb\n", " 0b 01100a01 038106\t059101bb " } ) {
      expect( nlri( {}, hex ), 0, "10.1.0.0/16;*;IP:=0L6;DP:=1L443;\n", "" );
   }
   expect( nlri( {}, "0b0\n0g\n0x0b\n0:b\n" ), 1, "",
           "<stdin>:1: error: bad-hex at offset 3: expected two hexadecimal digits at character 4\n"
           "<stdin>:2: error: bad-hex at offset 1: expected two hexadecimal digits at character 2\n"
           "<stdin>:3: error: bad-hex at offset 1: expected two hexadecimal digits at character 2\n"
           "<stdin>:4: error: bad-hex at offset 1: expected two hexadecimal digits at character "
           "2\n" );
}

TEST( NlriCommand, TellsWhatIsBorneAndWhatIsNot ) {
   expect( nlri( {}, "# a comment\n\nf003038106ff\n00\n03038106\n" ), 1,
           "*;*;IP:=0L6;\n*;*;IP:=0L6;\n",
           "<stdin>:3: warning: length-form at offset 0\n"
           "<stdin>:3: warning: trailing-octets at offset 5\n"
           "<stdin>:4: error: empty at offset 1: the rule has no component\n" );
}

TEST( NlriCommand, AnswersEachLineWithAnObject ) {
   expect( nlri( { "--json" }, "03038906\n020380\n0g\n050589500181\n" ), 1,
           R"({"ok":true,"key":{"vrfId":null,"addressFamily":"ipv4","destPrefix":null,)"
           R"("srcPrefix":null,"interfaceSet":[],"terms":[{"type":"ipProto","op":129,"value":6}]},)"
           R"("rd":null,"remarks":["reserved-op-bits"],"octets":4})"
           "\n"
           R"({"ok":false,"code":"truncated","offset":3,)"
           R"("error":"component type 3: the value needs 1 octets, 0 are left","remarks":[]})"
           "\n"
           R"({"ok":false,"code":"bad-hex","offset":1,)"
           R"("error":"expected two hexadecimal digits at character 2","remarks":[]})"
           "\n"
           R"({"ok":false,"code":"type-order","offset":4,)"
           R"("error":"component type 1 after 5: the types must ascend",)"
           R"("remarks":["reserved-op-bits"]})"
           "\n",
           "" );
   expect(
      nlri( { "--json", "--afi", "2", "--safi", "134" }, "10 0003000000000000 0120002001 0db8\n" ),
      1,
      R"({"ok":false,"code":"length-mismatch","offset":0,)"
      R"("error":"the length field says 16 octets, 15 follow","remarks":[]})"
      "\n",
      "" );
   expect(
      nlri( { "--json", "--afi", "2", "--safi", "134" }, "0f 0003000000000000 0120002001 0db8" ), 0,
      R"({"ok":true,"key":{"vrfId":null,"addressFamily":"ipv6","destPrefix":"2001:db8::/32",)"
      R"("srcPrefix":null,"interfaceSet":[],"terms":[]},"rd":"0x0003000000000000",)"
      R"("remarks":["rd-type"],"octets":16})"
      "\n",
      "" );
}

TEST( NlriCommand, WritesBackWhatItRead ) {
   const Vek::String hex = "0d0000fde80000006402180a0001\n";
   const Vek::String object = nlri( { "--safi", "134", "--json" }, hex ).out;
   expect( nlri( { "--safi", "134", "--encode" }, object ), 0, hex, "" );
   expect( nlri( { "--safi", "134", "--encode", "--json" }, object ), 0,
           R"({"ok":true,"nlri":"0d0000fde80000006402180a0001","octets":14})"
           "\n",
           "" );
}

TEST( NlriCommand, WritesKeys ) {
   const auto key = []( std::string_view terms ) {
      return Vek::concat( R"({"vrfId":7,"addressFamily":"ipv4","destPrefix":null,"srcPrefix":null,)"
                          R"("interfaceSet":[3],"terms":[)",
                          terms, "]}\n" );
   };
   const Vek::String wide = key( R"({"type":"destPort","op":161,"value":80})" );
   expect( nlri( { "--encode" }, wide ), 0, "0605a100000050\n", "" );
   expect( nlri( { "--encode", "--shortest" }, wide ), 0, "03058150\n", "" );
   expect( nlri( { "--encode", "--safi", "134", "--rd", "65000:100" }, wide ), 0,
           "0e0000fde80000006405a100000050\n", "" );
   expect( nlri( { "--encode", "--safi", "134" }, wide ), 1, "",
           "<stdin>:1: error: no-rd at index 0: the rule has no route distinguisher\n" );
   expect( nlri( { "--encode", "--afi", "2" }, wide ), 1, "",
           "<stdin>:1: error: other-family at index 0: the key is of the other family\n" );
   expect( nlri( { "--encode" }, key( "" ) + "{}\n" ), 1, "",
           "<stdin>:1: error: no-component at index 0: the key has no component\n"
           "<stdin>:2: error: bad-key at index 0: member 'vrfId' is missing\n" );
   expect( nlri( { "--encode", "--json" },
                 key( R"({"type":"ipProto","op":129,"value":6},{"type":"flowLabel","op":129,)"
                      R"("value":6})" ) ),
           1,
           R"({"ok":false,"code":"flow-label","index":1,)"
           R"("error":"the word at index 1: IPv4 has no flow label"})"
           "\n",
           "" );
   const Result bad = nlri( { "--encode", "--json" }, R"({"key":7})"
                                                      "\n"
                                                      R"({"key":{},"rod":7})"
                                                      "\n" );
   EXPECT_EQ( bad.status, 1 );
   EXPECT_EQ( Json::parse( bad.out.substr( 0, bad.out.find( '\n' ) ) ).at( "error" ),
              "'key' is not an object" );
   EXPECT_EQ( nlri( { "--encode" },
                    Vek::concat( R"({"rd":"x","key":)", wide.substr( 0, wide.size() - 1 ), "}" ) )
                 .err,
              "<stdin>:1: error: bad-key at index 0: 'rd' is not a route distinguisher\n" );
}

TEST( NlriCommand, RefusesOtherFamiliesAndOptions ) {
   for ( const auto& [option, value, wanted] :
         { std::tuple( "--afi", "3", "1 or 2" ), std::tuple( "--afi", "0", "1 or 2" ),
           std::tuple( "--safi", "1", "133 or 134" ),
           std::tuple( "--safi", "x", "133 or 134" ) } ) {
      const Result result = nlri( { option, value }, "" );
      EXPECT_EQ( result.status, 2 );
      EXPECT_EQ( result.err,
                 Vek::concat( "flowspecctl: error: ", std::string_view( option ), ": '",
                              std::string_view( value ), "' is not ", std::string_view( wanted ),
                              "\nTry 'flowspecctl nlri --help'.\n" ) );
   }
   EXPECT_EQ( nlri( { "--shortest" }, "" ).status, 2 );
   EXPECT_EQ( nlri( { "--rd", "65000:1" }, "" ).status, 2 );
}

} // namespace
