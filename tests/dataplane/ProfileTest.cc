#include "dataplane/Profile.h"

#include "tests/support/Folder.h"
#include "tests/support/Process.h"

#include <gmock/gmock.h>

namespace Dataplane {
namespace {

using TestSupport::contents;
using Zorv::AddressFamily;
using Zorv::IntfId;

struct Bad {
   const char* json;
   const char* message;
   bool schemaTakesIt = false;
};

const std::vector< Bad > badProfiles = {
   { "[]", "not a JSON object" },
   { R"({})", "capacity: missing" },
   { R"({"capacity":1})", "interfaceSets: missing" },
   { R"({"capacity":-1,"interfaceSets":0})",
     "capacity: not a number from 0 to 18446744073709551615" },
   { R"({"capacity":"1","interfaceSets":0})",
     "capacity: not a number from 0 to 18446744073709551615" },
   { R"({"capacity":1,"interfaceSets":4294967296})",
     "interfaceSets: not a number from 0 to 4294967295" },
   { R"({"capacity":1,"interfaceSets":0,"ipv5":{}})", "ipv5: unknown member" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":[]})", "ipv4: not an object" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"actions":[]}})", "ipv4.qualifiers: missing" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"qualifiers":[]}})", "ipv4.actions: missing" },
   { R"({"capacity":1,"interfaceSets":0,"ipv6":{"qualifiers":[],"actions":[],"x":1}})",
     "ipv6.x: unknown member" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"qualifiers":"port","actions":[]}})",
     "ipv4.qualifiers: not a list" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"qualifiers":["port",4],"actions":[]}})",
     "ipv4.qualifiers[1]: not a text" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"qualifiers":["port","ports"],"actions":[]}})",
     "ipv4.qualifiers[1]: 'ports' is not a known component type" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"qualifiers":["invalid"],"actions":[]}})",
     "ipv4.qualifiers[0]: 'invalid' is not a known component type" },
   { R"({"capacity":1,"interfaceSets":0,"ipv4":{"qualifiers":[],"actions":["invalid"]}})",
     "ipv4.actions[0]: 'invalid' is not a known action" },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":{}})", "interfaces: not a list" },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":[3]})", "interfaces[0]: not an object" },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":[{"intf":3}]})",
     "interfaces[0].vrf: missing" },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":[{"vrf":3}]})",
     "interfaces[0].intf: missing" },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":[{"intf":3,"vrf":0,"name":""}]})",
     "interfaces[0].name: unknown member" },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":[{"intf":3,"vrf":0},{"intf":3,"vrf":1}]})",
     "interfaces[1].intf: 3 is listed twice", true },
   { R"({"capacity":1,"interfaceSets":0,"interfaces":[{"intf":3,"vrf":16777215}]})",
     "interfaces[0].vrf: 16777215 is not a VRF" },
   { R"({"capacity":1,"interfaceSets":0,"vrfs":[]})", "vrfs: not an object" },
   { R"({"capacity":1,"interfaceSets":0,"vrfs":{"red":"1"}})",
     "vrfs.red: not a number from 0 to 4294967295" },
   { R"({"capacity":1,"interfaceSets":0,"vrfs":{"":1}})", "vrfs: a name is empty" },
};

const std::vector< const char* > goodProfiles = {
   R"({"capacity":0,"interfaceSets":0})",
   R"({"capacity":18446744073709551615,"interfaceSets":4294967295,"interfaces":[],"vrfs":{}})",
   R"({"capacity":7,"interfaceSets":2,"ipv6":{"qualifiers":["destPrefix","flowLabel"],)"
   R"("actions":["trafficAction","redirectVrf","trafficRate"]},)"
   R"("interfaces":[{"intf":9,"vrf":4}],"vrfs":{"red":4}})",
   R"({"capacity":1,"interfaceSets":1,"ipv4":{"qualifiers":[],"actions":["trafficRedirect","sample"]}})",
};

TEST( Profile, TellsWhatTheHardwareCan ) {
   const Profile profile = Profile::read( goodProfiles[2] );
   EXPECT_EQ( profile.capacity(), 7U );
   EXPECT_EQ( profile.interfaceSets(), 2U );
   EXPECT_EQ( profile.family( AddressFamily::ipv4 ), nullptr );
   EXPECT_EQ( profile.family( AddressFamily::none ), nullptr );
   const Profile::Family* const family = profile.family( AddressFamily::ipv6 );
   ASSERT_NE( family, nullptr );
   EXPECT_EQ( family->qualifiers.to_ulong(), 1U << 1 | 1U << 13 );
   EXPECT_EQ( namesOf( family->actions ), "trafficRate, redirectVrf, sample, continue" );
   EXPECT_EQ( profile.vrfOf( IntfId( 9 ) ), 4U );
   EXPECT_EQ( profile.vrfOf( IntfId( 8 ) ), std::nullopt );
   EXPECT_EQ( profile.vrfNamed( "red" ), 4U );
   EXPECT_EQ( profile.vrfNamed( "blue" ), std::nullopt );
   EXPECT_FALSE( profile == Profile() );
}

TEST( Profile, NamesStandForOneOrMoreActions ) {
   EXPECT_EQ( namesOf( actionsNamed( "trafficRedirect" ) ),
              "redirectVrf, redirectAddr, redirectSrTePolicy" );
   EXPECT_EQ( namesOf( actionsNamed( "trafficAction" ) ), "sample, continue" );
   for ( const char* const name :
         { "trafficPermit", "trafficDrop", "trafficRate", "trafficRatePkt", "trafficMarking",
           "redirectVrf", "redirectAddr", "redirectSrTePolicy", "sample", "continue" } ) {
      EXPECT_EQ( namesOf( actionsNamed( name ) ), name );
   }
   EXPECT_TRUE( actionsNamed( "" ).none() );
   EXPECT_TRUE( actionsNamed( "invalid" ).none() );
}

TEST( Profile, AFlagIsUnsupportedWhenNoneOfItsActionsCanBeDone ) {
   EXPECT_EQ( unsupportedFlags( actionsNamed( "trafficDrop" ) | actionsNamed( "redirectAddr" ) )
                 .stringValue(),
              "trafficPermit|trafficRate|trafficAction|trafficMarking|trafficRatePkt" );
   EXPECT_FALSE( unsupportedFlags( ~Actions() ) );
}

TEST( Profile, AnErrorNamesTheMemberAndWhatIsWrong ) {
   for ( const Bad& bad : badProfiles ) {
      try {
         Profile::read( bad.json );
         ADD_FAILURE() << bad.json;
      } catch ( const ProfileError& error ) {
         EXPECT_STREQ( error.what(), bad.message ) << bad.json;
      }
   }
}

TEST( Profile, AnErrorNamesItsLine ) {
   const struct {
      Vek::String json;
      U64 line;
      const char* message;
   } rows[] = {
      { "", 1,
        "not JSON: syntax error while parsing value - unexpected end of input; expected '[', "
        "'{', or a literal" },
      { "{\n\"capacity\": 1,\n\"interfaceSets\" 2\n}", 3,
        "not JSON: syntax error while parsing object separator - unexpected number literal; "
        "expected ':'" },
      { "{\n\"capacity\":\n1e999\n}", 3, "not JSON: number overflow parsing '1e999'" },
      { "{\n\"capacity\": 1,\n\"a\\u0000b\": 2\n}", 3, "a\\x00b: unknown member" },
      { "{\n\"capacity\": 1,\n\"\\u0000\": 2\n}", 3, "\\x00: unknown member" },
      { "{\n\n\"capacity\":\n-1\n,\n\"interfaceSets\": 1 }", 4,
        "capacity: not a number from 0 to 18446744073709551615" },
      { "\n{\n\"capacity\": 1\n}", 2, "interfaceSets: missing" },
      { "{ \"capacity\": 1,\n\"capacity\": 2 }", 2, "member 'capacity' is there twice" },
      { "{ \"capacity\": 1, \"interfaceSets\": 1,\n\"ipv4\": {\n\"qualifiers\": [\n\"port\",\n"
        "\"sport\"\n], \"actions\": [] } }",
        5, "ipv4.qualifiers[1]: 'sport' is not a known component type" },
      { "{ \"capacity\": 1, \"interfaceSets\": 1, \"interfaces\": [\n{ \"intf\": 1, \"vrf\": 0 },\n"
        "{ \"intf\": 1,\n\"vrf\": 0 }\n] }",
        3, "interfaces[1].intf: 1 is listed twice" },
      { "{ \"capacity\": 1, \"interfaceSets\": 1, \"interfaces\": [\n[\n{\n[ ] } ] ] }", 4,
        "not JSON: syntax error while parsing object key - unexpected '['; expected string "
        "literal" },
      { "{ \"capacity\":\n[ [\n[ [ ] ] ] ] }", 3, "nested too deeply for a profile" },
      { "// one\n{ /* two\nthree */ \"capacity\": // four\n1\n/* five */}", 2,
        "interfaceSets: missing" },
      { "{ // \"interfaceSets\": 1,\n\"capacity\": /* \n */ true }", 3,
        "capacity: not a number from 0 to 18446744073709551615" },
      { "{\n /* no end", 2,
        "not JSON: syntax error while parsing object key - invalid comment; missing closing '*/'; "
        "last read: '{<U+000A> /* no end'; expected string literal" },
      { "{} \n x", 2,
        "not JSON: syntax error while parsing value - invalid literal; last read: '{} <U+000A> x'; "
        "expected end of input" },
   };
   for ( const auto& row : rows ) {
      try {
         Profile::read( row.json );
         ADD_FAILURE() << row.json;
      } catch ( const ProfileError& error ) {
         EXPECT_STREQ( error.what(), row.message ) << row.json;
         EXPECT_EQ( error.line(), row.line ) << row.json;
      }
   }
}

TEST( Profile, TheExampleIsOne ) {
   const Profile profile = Profile::read( contents( "examples/profile.json" ) );
   EXPECT_GT( profile.capacity(), 0U );
   EXPECT_NE( profile.family( AddressFamily::ipv4 ), nullptr );
   EXPECT_NE( profile.family( AddressFamily::ipv6 ), nullptr );
   EXPECT_EQ( profile.vrfNamed( "customer" ), profile.vrfOf( IntfId( 3 ) ) );
}

TEST( Profile, TheSchemaTakesWhatTheReaderTakes ) {
   Vek::String good;
   for ( const char* const file : { "examples/profile.json", "examples/system/profile.json" } ) {
      Vek::String profile = contents( file );
      EXPECT_NO_THROW( Profile::read( profile ) ) << file;
      std::erase( profile, '\n' );
      good += profile + '\n';
   }
   for ( const char* const profile : goodProfiles ) {
      EXPECT_NO_THROW( Profile::read( profile ) ) << profile;
      good += Vek::concat( profile, '\n' );
   }
   Vek::String refused;
   for ( const Bad& bad : badProfiles ) {
      ( bad.schemaTakesIt ? good : refused ) += Vek::concat( bad.json, '\n' );
   }
   const TestSupport::Folder folder;
   TestSupport::Process check( { "python3", "tests/agents/programd/schema.py",
                                 "docs/profile.schema.json", folder.file( "good", good ),
                                 folder.file( "bad", refused ) },
                               folder.path() + "/errors" );
   EXPECT_EQ( check.wait(), 0 );
   EXPECT_EQ( check.errors(), "" );
}

} // namespace
} // namespace Dataplane
