#include "Flowspec/key/FlowspecKey.h"

#include "tests/support/ExpectFailure.h"

#include <string>
#include <vector>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::raisesIndexRange;

using namespace std::string_literals;

Zorv::IpGenPrefix prefix( const char* text ) { return Zorv::IpGenPrefix::fromText( text ).value(); }

std::vector< U32 > wordsOf( const FlowspecKey& key ) {
   std::vector< U32 > words;
   for ( const auto& [index, word] : key.matchOpVal() ) {
      EXPECT_EQ( index.value(), words.size() );
      words.push_back( word.storage() );
   }
   return words;
}

FlowspecKey read( std::string_view text, bool lengths = false ) {
   FlowspecKey key;
   EXPECT_TRUE( key.copyInStrCli( text, lengths ) ) << text;
   return key;
}

// The words of a rule whose components are `text`.
std::vector< U32 > words( const std::string& text, bool lengths = false ) {
   return wordsOf( read( "*;*;" + text, lengths ) );
}

TEST( ReadCli, TwoStarsLeaveTheKeyAsItIs ) {
   for ( const char* text : { "*;*;", "*;*" } ) {
      EXPECT_EQ( read( text ), FlowspecKey() );
      EXPECT_EQ( read( text, true ), FlowspecKey() );
   }
}

TEST( ReadCli, Example ) {
   const FlowspecKey key = read( "10.1.0.0/16;*;IP:=6;DP:>=1024&<=2047|=8080;TCP:!=2;" );
   EXPECT_EQ( key.destPrefix(), prefix( "10.1.0.0/16" ) );
   EXPECT_TRUE( key.srcPrefix().empty() );
   EXPECT_THAT( wordsOf( key ),
                ElementsAre( 0x03810006, 0x05130400, 0x055507FF, 0x05911F90, 0x09830002 ) );
   EXPECT_EQ( read( "10.1.0.0/16;*;IP:=0L6;DP:>=1L1024&<=1L2047|=1L8080;TCP:!=0L2", true ), key );
}

TEST( ReadCli, WritesNothingButPrefixesAndWords ) {
   const FlowspecKey key = read( "10.1.0.0/16;2001:db8::/32;IP:=6;" );
   EXPECT_EQ( key.vrfId(), Vrf::VrfIdMap::invalid() );
   EXPECT_EQ( key.addressFamily(), Zorv::AddressFamily::none );
   EXPECT_EQ( key.srcPrefix(), prefix( "2001:db8::/32" ) );
   EXPECT_EQ( key.interfaceSets(), 0U );
}

TEST( ReadCli, HostBitsOfPrefixesAreCleared ) {
   const FlowspecKey key = read( "10.1.2.3/16;2001:db8::1/32" );
   EXPECT_EQ( key.destPrefix(), prefix( "10.1.0.0/16" ) );
   EXPECT_EQ( key.srcPrefix(), prefix( "2001:db8::/32" ) );
}

TEST( ReadCli, NothingIsClearedFirst ) {
   FlowspecKey key = read( "10.0.0.0/8;11.0.0.0/8;IP:=1|=2|=3;" );
   key.vrfIdIs( 7 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.interfaceSetPush( 9 );
   ASSERT_TRUE( key.copyInStrCli( "*;12.0.0.0/8;DP:=80;", false ) );
   EXPECT_EQ( key.vrfId(), 7U );
   EXPECT_EQ( key.addressFamily(), Zorv::AddressFamily::ipv4 );
   EXPECT_EQ( key.destPrefix(), prefix( "10.0.0.0/8" ) );
   EXPECT_EQ( key.srcPrefix(), prefix( "12.0.0.0/8" ) );
   EXPECT_THAT( wordsOf( key ), ElementsAre( 0x05810050, 0x03010002, 0x03810003 ) );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 9 ) );
}

TEST( ReadCli, ComponentWithoutPairsIsAccepted ) {
   EXPECT_THAT( words( "IP:" ), IsEmpty() );
   EXPECT_THAT( words( "IP:;" ), IsEmpty() );
   EXPECT_THAT( words( "IP:;DP:=80;TCP:;" ), ElementsAre( 0x05810050 ) );
}

TEST( ReadCli, LastSeparatorMayBeLeftOut ) {
   EXPECT_THAT( words( "IP:=6" ), ElementsAre( 0x03810006 ) );
   EXPECT_THAT( words( "IP:=6;" ), ElementsAre( 0x03810006 ) );
   EXPECT_THAT( words( "IP:=0L6", true ), ElementsAre( 0x03810006 ) );
}

TEST( ReadCli, EveryLabelHasItsType ) {
   EXPECT_THAT( words( "IP:1;P:1;DP:1;SP:1;IT:1;IC:1;TCP:1;LEN:1;DSCP:1;FRAG:1;FL:1" ),
                ElementsAre( 0x03800001, 0x04800001, 0x05800001, 0x06800001, 0x07800001, 0x08800001,
                             0x09800001, 0x0A800001, 0x0B800001, 0x0C800001, 0x0D800001 ) );
}

TEST( ReadCli, WhatStandsBetweenLabelAndColonIsIgnored ) {
   EXPECT_THAT( words( "IPX:=6" ), ElementsAre( 0x03810006 ) );
   EXPECT_THAT( words( "PORT:=6" ), ElementsAre( 0x04810006 ) );
   EXPECT_THAT( words( "IP =7 !<>|&\n\t"s + '\0' + ":=6" ), ElementsAre( 0x03810006 ) );
   EXPECT_THAT( words( "DSCPDP:=6" ), ElementsAre( 0x0B810006 ) );
}

TEST( ReadCli, ComponentsMayComeInAnyOrderAndMoreThanOnce ) {
   EXPECT_THAT( words( "FL:=1;IP:=2;IP:=3" ), ElementsAre( 0x0D810001, 0x03810002, 0x03810003 ) );
}

TEST( ReadCli, OperatorsSetTheirBits ) {
   EXPECT_THAT( words( "IP:=1>1<1&1|1" ),
                ElementsAre( 0x03010001, 0x03020001, 0x03040001, 0x03400001, 0x03800001 ) );
   EXPECT_THAT( words( "IP:=><&1" ), ElementsAre( 0x03C70001 ) );
   EXPECT_THAT( words( "IP:&<>=1" ), ElementsAre( 0x03C70001 ) );
   EXPECT_THAT( words( "IP:==>=>=1" ), ElementsAre( 0x03830001 ) );
   EXPECT_THAT( words( "IP:||=|&|&1" ), ElementsAre( 0x03C10001 ) );
   for ( const char* label : { "TCP", "FRAG" } ) {
      const U32 type = label == "TCP"s ? 0x09000000 : 0x0C000000;
      EXPECT_THAT( words( label + ":=1!1&1|1"s ), ElementsAre( type | 0x010001, type | 0x020001,
                                                               type | 0x400001, type | 0x800001 ) );
      EXPECT_THAT( words( label + ":=!!&=1"s ), ElementsAre( type | 0xC30001 ) );
   }
}

TEST( ReadCli, OperatorHoldsForOnePair ) {
   EXPECT_THAT( words( "DP:>=1024&<=2047;" ), ElementsAre( 0x05130400, 0x05D507FF ) );
   EXPECT_THAT( words( "IP:&=1|2" ), ElementsAre( 0x03410001, 0x03800002 ) );
}

TEST( ReadCli, AndAndBarDemandNoNumber ) {
   EXPECT_THAT( words( "IP:&" ), IsEmpty() );
   EXPECT_THAT( words( "IP:|;TCP:&|&;" ), IsEmpty() );
   EXPECT_THAT( words( "IP:&;IP:=1" ), ElementsAre( 0x03810001 ) );
}

TEST( ReadCli, EndOfListIsSetOnlyWhenTheNumberEndsTheField ) {
   EXPECT_THAT( words( "IP:=6|" ), ElementsAre( 0x03010006 ) );
   EXPECT_THAT( words( "IP:=6&;" ), ElementsAre( 0x03010006 ) );
   EXPECT_THAT( words( "IP:=6|=7" ), ElementsAre( 0x03010006, 0x03810007 ) );
}

TEST( ReadCli, LengthFollowsFromTheValueWhenItIsNotGiven ) {
   EXPECT_THAT( words( "FL:0|255|256|65535|65536|4294967295" ),
                ElementsAre( 0x0D000000, 0x0D0000FF, 0x0D100100, 0x0D10FFFF, 0x0D200001, 0x0D200000,
                             0x0DA0FFFF, 0x0DA0FFFF ) );
}

TEST( ReadCli, NumbersAreDecimalOctalOrHexadecimal ) {
   EXPECT_THAT( words( "DP:=0x50" ), ElementsAre( 0x05810050 ) );
   EXPECT_THAT( words( "DP:=0xaBcD" ), ElementsAre( 0x0591ABCD ) );
   EXPECT_THAT( words( "DP:=010" ), ElementsAre( 0x05810008 ) );
   EXPECT_THAT( words( "DP:=0010" ), ElementsAre( 0x05810008 ) );
   EXPECT_THAT( words( "DP:=0" ), ElementsAre( 0x05810000 ) );
   EXPECT_THAT( words( "DP:=00" ), ElementsAre( 0x05810000 ) );
   EXPECT_THAT( words( "DP:=0x00000000000000000000050" ), ElementsAre( 0x05810050 ) );
   EXPECT_THAT( words( "DP:=1L0x50|=1L010", true ), ElementsAre( 0x05110050, 0x05910008 ) );
}

TEST( ReadCli, OctalNumberEndsBeforeAnEight ) {
   EXPECT_THAT( words( "IP:=08" ), ElementsAre( 0x03010000, 0x03800008 ) );
   EXPECT_THAT( words( "IP:=0179" ), ElementsAre( 0x0301000F, 0x03800009 ) );
}

TEST( ReadCli, LargeNumbersAreCutTo32BitsAndSaturateAt64 ) {
   EXPECT_THAT( words( "FL:4294967296" ), ElementsAre( 0x0D800000 ) );
   EXPECT_THAT( words( "FL:4294967552" ), ElementsAre( 0x0D900100 ) );
   const std::vector< U32 > allOnes = { 0x0DA0FFFF, 0x0DA0FFFF };
   for ( const char* text :
         { "18446744073709551615", "18446744073709551616", "99999999999999999999999999999999",
           "0xFFFFFFFFFFFFFFFF", "0x10000000000000000", "01777777777777777777777",
           "02000000000000000000000" } ) {
      EXPECT_EQ( words( "FL:"s + text ), allOnes ) << text;
   }
   EXPECT_THAT( words( "FL:18446744073709551614" ), ElementsAre( 0x0DA0FFFF, 0x0DA0FFFE ) );
   EXPECT_THAT( words( "FL:10000000000000000000" ), ElementsAre( 0x0DA089E8, 0x0DA00000 ) );
}

TEST( ReadCli, LengthDigitsCountModuloFour ) {
   EXPECT_THAT( words( "FL:0L5|1L5|2L5|4L5|5L5|6L5|8L5|9L5", true ),
                ElementsAre( 0x0D000005, 0x0D100005, 0x0D200000, 0x0D200005, 0x0D000005, 0x0D100005,
                             0x0D200000, 0x0D200005, 0x0D000005, 0x0D900005 ) );
}

TEST( ReadCliDeathTest, LengthOfEightBytesEndsTheProcess ) {
   for ( const char* text : { "*;*;FL:=3L5", "*;*;FL:=7L5" } ) {
      FlowspecKey key;
      EXPECT_ASSERTION( key.copyInStrCli( text, true ), "byteLength < 8" );
   }
}

TEST( ReadCli, ValueIsCutToItsLength ) {
   EXPECT_THAT( words( "IP:=0L511|=1L65537|=2L4294967297", true ),
                ElementsAre( 0x030100FF, 0x03110001, 0x03A10000, 0x03A10001 ) );
}

TEST( ReadCli, OffsetCharactersAreSkippedWhateverTheyAre ) {
   const std::string text = "a;\0\n:*;*;IP:=6;"s;
   for ( U32 offset : { 5U, 0U } ) {
      FlowspecKey key;
      EXPECT_TRUE( key.copyInStrCliAtOffset( text.substr( 5 - offset ), offset, false ) );
      EXPECT_THAT( wordsOf( key ), ElementsAre( 0x03810006 ) );
   }
   FlowspecKey key;
   EXPECT_TRUE( key.copyInStrCliAtOffset( "10.1.0.0/16;*;*;IP:=6;", 12, false ) );
   EXPECT_TRUE( key.destPrefix().empty() );
}

TEST( ReadCli, TermsUpTo2047AreRead ) {
   std::string text = "*;*;IP:";
   for ( int i = 0; i < 2047; ++i ) {
      text += "=6";
   }
   const FlowspecKey key = read( text );
   EXPECT_EQ( key.matchOpVals(), 2047U );
   EXPECT_EQ( key.matchOpVal( 2046 ).storage(), 0x03810006U );
}

TEST( ReadCli, TermBeyondTheLastIndexRaisesTheRangeExceptionBehindItsWords ) {
   std::string text = "*;*;IP:";
   for ( int i = 0; i < 2047; ++i ) {
      text += "=6";
   }
   FlowspecKey byte;
   EXPECT_THAT( [&] { byte.copyInStrCli( text + "=7;", false ); }, raisesIndexRange() );
   EXPECT_EQ( byte.matchOpVals(), 2048U );
   EXPECT_EQ( byte.matchOpVal( 2047 ).storage(), 0x03810007U );
   FlowspecKey half;
   EXPECT_THAT( [&] { half.copyInStrCli( text + "=65536;", false ); }, raisesIndexRange() );
   EXPECT_EQ( half.matchOpVals(), 2048U );
   EXPECT_EQ( half.matchOpVal( 2047 ).storage(), 0x03A10001U );
   FlowspecKey whole;
   text.resize( text.size() - 2 );
   EXPECT_THAT( [&] { whole.copyInStrCli( text + "=65537", false ); }, raisesIndexRange() );
   EXPECT_EQ( whole.matchOpVals(), 2048U );
   EXPECT_EQ( whole.matchOpVal( 2047 ).storage(), 0x03A10001U );
}

} // namespace
} // namespace Flowspec
