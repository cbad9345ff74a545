#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include "tests/support/ExpectFailure.h"

#include <string>
#include <vector>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

struct GoodList {
   std::string text;
   std::size_t end;
   std::vector< U16 > ids;
};

const GoodList goodLists[] = {
   { "IFSET:=;", 7, {} },
   { "IFSET:=3;", 8, { 3 } },
   { "IFSET:=3,17;", 11, { 3, 17 } },
   { "IFSET:=17,3,17;*;*;", 14, { 17, 3, 17 } },
   { "IFSET:=0,16383;", 14, { 0, 16383 } },
   { "IFSET:=1,;", 9, { 1 } },
   { "IFSET:=007;", 10, { 7 } },
   { "IFSET:=0000000000000000000000000000016383;;", 41, { 16383 } },
};

TEST( ReadInterfaceSet, AppendsTheNumbersInTheirOrder ) {
   for ( const GoodList& good : goodLists ) {
      FlowspecKey key;
      EXPECT_EQ( flowspecKeyCopyInInterfaceSet( good.text, key ), good.end ) << good.text;
      EXPECT_THAT( key.interfaceSet(), ElementsAreArray( good.ids ) ) << good.text;
      FlowspecKey checked;
      EXPECT_FALSE( readInterfaceSet( good.text, checked ) ) << good.text;
      EXPECT_EQ( checked, key );
   }
}

TEST( ReadInterfaceSet, NothingIsClearedFirst ) {
   FlowspecKey key;
   flowspecKeyCopyInInterfaceSet( "IFSET:=1,2;", key );
   flowspecKeyCopyInInterfaceSet( "IFSET:=2;", key );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 1, 2, 2 ) );
}

TEST( ReadInterfaceSet, FirstSevenCharactersAreNotLookedAt ) {
   FlowspecKey key;
   EXPECT_EQ( flowspecKeyCopyInInterfaceSet( "-------5;", key ), 8U );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 5 ) );
   EXPECT_EQ( flowspecKeyCopyInInterfaceSet( ";", key ), 0U );
   EXPECT_EQ( flowspecKeyCopyInInterfaceSet( "IF;SET:=6;", key ), 2U );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 5 ) );
}

struct BadList {
   std::string text;
   const char* assertion;
   std::string message;
   std::size_t offset;
   std::vector< U16 > ids = {};
};

constexpr const char* noEnd = "endpos != std::string::npos";
constexpr const char* noNumber = "next > curr";
constexpr const char* tooLarge = "interfaceSet <= Config::maxInterfaceSetId()";
constexpr const char* noDelimiter = "next >= end || *next == interfaceSetListDelim";

const BadList badLists[] = {
   { "IFSET:=", noEnd, "Did not find the end of the interface-set list in IFSET:=", 7 },
   { "IFSET:=1,2", noEnd, "Did not find the end of the interface-set list in IFSET:=1,2", 10 },
   { "IFSET:=x;", noNumber, "Did not find an interface-set number in IFSET:=x;", 7 },
   { "IFSET:=,;", noNumber, "Did not find an interface-set number in IFSET:=,;", 7 },
   { "IFSET:=1,,2;", noNumber, "Did not find an interface-set number in IFSET:=1,,2;", 9, { 1 } },
   { "IFSET:=-1;", noNumber, "Did not find an interface-set number in IFSET:=-1;", 7 },
   { "IFSET:=+1;", noNumber, "Did not find an interface-set number in IFSET:=+1;", 7 },
   { "IFSET:= 1;", noNumber, "Did not find an interface-set number in IFSET:= 1;", 7 },
   { "IFSET:=1, 2;", noNumber, "Did not find an interface-set number in IFSET:=1, 2;", 9, { 1 } },
   { "IFSET:=16384;", tooLarge, "Interface-set number is too large in IFSET:=16384;", 7 },
   { "IFSET:=16383,16384;",
     tooLarge,
     "Interface-set number is too large in IFSET:=16383,16384;",
     13,
     { 16383 } },
   { "IFSET:=65539;", tooLarge, "Interface-set number is too large in IFSET:=65539;", 7 },
   { "IFSET:=4294967299;", tooLarge, "Interface-set number is too large in IFSET:=4294967299;", 7 },
   { "IFSET:=18446744073709551619;", tooLarge,
     "Interface-set number is too large in IFSET:=18446744073709551619;", 7 },
   { "IFSET:=1 ;",
     noDelimiter,
     "Unexpected character in the interface-set list IFSET:=1 ;",
     8,
     { 1 } },
   { "IFSET:=1.2;",
     noDelimiter,
     "Unexpected character in the interface-set list IFSET:=1.2;",
     8,
     { 1 } },
   { "IFSET:=0x1;",
     noDelimiter,
     "Unexpected character in the interface-set list IFSET:=0x1;",
     8,
     { 0 } },
};

TEST( ReadInterfaceSetDeathTest, MalformedListFailsItsAssertion ) {
   for ( const BadList& bad : badLists ) {
      FlowspecKey key;
      EXPECT_ASSERTION( flowspecKeyCopyInInterfaceSet( bad.text, key ), bad.assertion ) << bad.text;
   }
   FlowspecKey key;
   EXPECT_ASSERTION( flowspecKeyCopyInInterfaceSet( "", key ), noEnd );
}

TEST( ReadInterfaceSet, CheckedReaderGivesTheMessageAndThePlace ) {
   for ( const BadList& bad : badLists ) {
      FlowspecKey key;
      const KeyTextResult result = readInterfaceSet( bad.text, key );
      ASSERT_TRUE( result ) << bad.text;
      EXPECT_EQ( result->message, bad.message );
      EXPECT_EQ( result->offset, bad.offset ) << bad.text;
      EXPECT_THAT( key.interfaceSet(), ElementsAreArray( bad.ids ) ) << bad.text;
   }
}

TEST( ReadInterfaceSet, CheckedReaderDemandsTheAnchor ) {
   for ( const std::string text : { "", ";", "-------5;", "IF;SET:=6;", "ifset:=6;" } ) {
      FlowspecKey key;
      const KeyTextResult result = readInterfaceSet( text, key );
      ASSERT_TRUE( result ) << text;
      EXPECT_EQ( result->message, "Did not find IFSET:= in " + text );
      EXPECT_EQ( result->offset, 0U );
      EXPECT_FALSE( key );
   }
}

} // namespace
} // namespace Flowspec
