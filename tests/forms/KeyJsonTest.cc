#include "forms/KeyJson.h"

#include <random>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace Flowspec;
using namespace Forms;

FlowspecKey keyOf( std::initializer_list< U32 > words ) {
   FlowspecKey key;
   U32 index = 0;
   for ( const U32 word : words ) {
      key.matchOpValIs( index++, MatchOpVal( word ) );
   }
   return key;
}

Vek::String text( const FlowspecKey& key ) {
   EXPECT_EQ( unwritableJson( key ), std::nullopt );
   Vek::String out;
   appendKeyJson( out, key );
   return out;
}

// The member after the interface sets.
Vek::String lastMember( const FlowspecKey& key ) {
   const Vek::String all = text( key );
   return all.substr( all.find( "],\"" ) + 2 );
}

void expectReadsBack( const FlowspecKey& key ) {
   const Vek::String written = text( key );
   FlowspecKey again;
   ASSERT_EQ( readKeyJson( written, again ), std::nullopt ) << written;
   ASSERT_EQ( again, key ) << written;
   ASSERT_EQ( text( again ), written );
}

TEST( KeyJson, ADefaultKey ) {
   EXPECT_EQ( text( FlowspecKey() ),
              R"({"vrfId":null,"addressFamily":"none","destPrefix":null,"srcPrefix":null,)"
              R"("interfaceSet":[],"terms":[]})" );
   expectReadsBack( FlowspecKey() );
}

TEST( KeyJson, AllAttributes ) {
   FlowspecKey key;
   key.vrfIdIs( 4294967295 );
   key.addressFamilyIs( static_cast< Zorv::AddressFamily >( 25 ) );
   key.destPrefixIs( *Zorv::IpGenPrefix::fromText( "2001:db8::/32" ) );
   key.srcPrefixIs( *Zorv::IpGenPrefix::fromText( "0.0.0.0/0" ) );
   key.interfaceSetPush( 65535 );
   key.interfaceSetPush( 0 );
   key.setOpVal( 0, fragment, 0x80, 2 );
   EXPECT_EQ( text( key ),
              R"({"vrfId":4294967295,"addressFamily":"af25","destPrefix":"2001:db8::/32",)"
              R"("srcPrefix":"0.0.0.0/0","interfaceSet":[65535,0],)"
              R"("terms":[{"type":"fragment","op":128,"value":2}]})" );
   expectReadsBack( key );
}

TEST( KeyJson, TermsAreThoseOfTheWalk ) {
   EXPECT_EQ( lastMember( keyOf( { 0x0DA10001, 0x0DA12345, 0x05910001 } ) ),
              R"("terms":[{"type":"flowLabel","op":161,"value":74565},)"
              R"({"type":"destPort","op":145,"value":1}]})" );
   // Types that a parser never gives, and reserved bits, are terms all the same.
   EXPECT_EQ( lastMember( keyOf( { 0x00000000, 0x01890020, 0x02FF0000 & ~0x00200000U } ) ),
              R"("terms":[{"type":"invalid","op":0,"value":0},)"
              R"({"type":"destPrefix","op":137,"value":32},)"
              R"({"type":"srcPrefix","op":223,"value":0}]})" );
}

TEST( KeyJson, WordsStandInWhereTermsWouldGiveOthers ) {
   const struct {
      std::initializer_list< U32 > words;
      const char* text;
   } rows[] = {
      { { 0x0E810006 }, R"("words":[243335174]})" },                       // no such type
      { { 0x03B10006 }, R"("words":[61931526]})" },                        // 8 bytes
      { { 0x0DA10001 }, R"("words":[228655105]})" },                       // half a value
      { { 0x03810106 }, R"("words":[58786054]})" },                        // wider than its length
      { { 0x0DA10001, 0x0D810001 }, R"("words":[228655105,226557953]})" }, // another operator
      { { 0x0DA10001, 0x0CA10001 }, R"("words":[228655105,211877889]})" }, // another type
      { { 4294967295 }, R"("words":[4294967295]})" },
   };
   for ( const auto& row : rows ) {
      const FlowspecKey key = keyOf( row.words );
      EXPECT_EQ( lastMember( key ), row.text );
      expectReadsBack( key );
   }
}

TEST( KeyJson, TheLastIndices ) {
   FlowspecKey key;
   for ( U32 index = 0; index < 2047; ++index ) {
      key.matchOpValIs( index, MatchOpVal( 0x05910000 + index ) );
   }
   EXPECT_NE( text( key ).find( R"("value":2046}]})" ), Vek::String::npos );
   expectReadsBack( key );
   key.matchOpValIs( 2047, MatchOpVal( 1 ) );
   EXPECT_NE( text( key ).find( R"("words":[93388800,)" ), Vek::String::npos );
   expectReadsBack( key );
}

TEST( KeyJson, AKeyWithHolesHasNoText ) {
   FlowspecKey key;
   key.matchOpValIs( 1, MatchOpVal( 0x03810006 ) );
   EXPECT_EQ( unwritableJson( key ), "the indices of the words have holes" );
   key.matchOpValIs( 0, MatchOpVal( 0x03810006 ) );
   EXPECT_EQ( unwritableJson( key ), std::nullopt );
   key.matchOpValIs( 7, MatchOpVal( 0x03810006 ) );
   EXPECT_EQ( unwritableJson( key ), "the indices of the words have holes" );
}

TEST( KeyJson, Strings ) {
   Vek::String out = "x";
   appendJsonString( out, std::string_view( "a\"b\\c/\n\0\x1f\x7f\xc3\xa9", 12 ) );
   EXPECT_EQ( out, "x\"a\\\"b\\\\c/\\u000a\\u0000\\u001f\x7f\xc3\xa9\"" );
   EXPECT_EQ( nlohmann::json::parse( out.substr( 1 ) ).get< Vek::String >(),
              Vek::String( "a\"b\\c/\n\0\x1f\x7f\xc3\xa9", 12 ) );
}

// Any dense key: prefixes of both families, words from sound to meaningless, many sets.
FlowspecKey randomKey( std::mt19937& random ) {
   FlowspecKey key;
   const auto below = [&]( U32 limit ) { return static_cast< U32 >( random() % limit ); };
   if ( below( 4 ) ) {
      key.vrfIdIs( below( 2 ) ? below( 100 ) : static_cast< U32 >( random() ) );
   }
   key.addressFamilyIs(
      static_cast< Zorv::AddressFamily >( below( 3 ) ? below( 3 ) : below( 256 ) ) );
   const auto prefix = [&] {
      Zorv::IpGenAddr::Bytes bytes;
      for ( U8& byte : bytes ) {
         byte = static_cast< U8 >( below( 2 ) ? below( 256 ) : 0 );
      }
      return below( 3 ) == 0 ? Zorv::IpGenPrefix()
             : below( 2 ) == 0
                ? Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv6( bytes ), below( 129 ) )
                : Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( static_cast< U32 >( random() ) ),
                                     below( 33 ) );
   };
   key.destPrefixIs( prefix() );
   key.srcPrefixIs( prefix() );
   const bool sound = below( 3 );
   const U32 terms = below( 8 );
   for ( U32 index = 0; index < terms; ) {
      const U32 word = static_cast< U32 >( random() );
      if ( sound ) {
         index = key.setOpVal(
            index, static_cast< MatchCompType >( below( 14 ) ),
            static_cast< U8 >( below( 2 ) ? below( 256 ) & 0xEF & 0xDF : below( 256 ) & 0xDF ),
            word );
      } else {
         key.matchOpValIs( index++, MatchOpVal( below( 2 ) ? word : word & 0x0FFFFFFF ) );
      }
   }
   for ( U32 sets = below( 2 ) ? 0 : below( 6 ); sets > 0; --sets ) {
      key.interfaceSetPush( static_cast< U16 >( below( 65536 ) ) );
   }
   return key;
}

TEST( KeyJson, EveryDenseKeyReadsBack ) {
   std::mt19937 random( 8955 );
   constexpr U32 rounds = 20000U;
   U32 withWords = 0;
   for ( U32 round = 0; round < rounds; ++round ) {
      const FlowspecKey key = randomKey( random );
      withWords += text( key ).find( "\"words\"" ) != Vek::String::npos;
      ASSERT_NO_FATAL_FAILURE( expectReadsBack( key ) );
   }
   // Both kinds were there.
   EXPECT_GT( withWords, rounds / 10 );
   EXPECT_LT( withWords, rounds * 9 / 10 );
}

} // namespace
