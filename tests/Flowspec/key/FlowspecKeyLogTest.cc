#include "Flowspec/key/FlowspecKey.h"
#include "tests/support/Hex.h"
#include "tests/support/KeyGenerator.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::bytesOf;
using TestSupport::hexOf;
using TestSupport::KeyGenerator;
using TestSupport::logBytes;
using TestSupport::logValue;
using Trust = Vek::LogReader::Trust;

const std::string noPrefix( 48, '0' );
const std::string head = "00000005 00000001" + noPrefix + noPrefix;

std::string refusal( const std::string& hex ) {
   try {
      logValue< FlowspecKey >( bytesOf( hex ) );
   } catch ( const std::exception& exception ) {
      return exception.what();
   }
   return "";
}

TEST( FlowspecKeyLog, ADefaultKeyTakes62Bytes ) {
   const std::vector< U8 > bytes = logBytes( FlowspecKey() );
   EXPECT_EQ( bytes.size(), 62U );
   EXPECT_EQ( hexOf( bytes ), "00FFFFFF00000000" + noPrefix + noPrefix + "07FF00000000" );
   EXPECT_EQ( logValue< FlowspecKey >( bytes ), FlowspecKey() );
}

TEST( FlowspecKeyLog, AKeyWithAllAttributes ) {
   FlowspecKey key;
   key.vrfIdIs( 5 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( *Zorv::IpGenPrefix::fromText( "10.1.0.0/16" ) );
   U32 index = key.setOpVal( 0, MatchCompType::ipProto, 0x81, 6 );
   index = key.setOpVal( index, MatchCompType::destPort, 0x11, 80 );
   key.setOpVal( index, MatchCompType::destPort, 0x91, 443 );
   key.interfaceSetPush( 3 );
   key.interfaceSetPush( 17 );
   const std::vector< U8 > expected =
      bytesOf( "00000005 00000001 00000001 0A010000 00000000 00000000 00000000 00000010" +
               noPrefix + "0000 03810006 0001 05110050 0002 059101BB 07FF 00000002 0003 0011" );
   EXPECT_EQ( expected.size(), 84U );
   EXPECT_EQ( hexOf( logBytes( key ) ), hexOf( expected ) );
   EXPECT_EQ( logValue< FlowspecKey >( expected ), key );
}

TEST( FlowspecKeyLog, RandomKeysAreReadBackAndAsLongAsIsSaid ) {
   KeyGenerator random( 20 );
   for ( int i = 0; i < 20000; ++i ) {
      const FlowspecKey canonical = random.canonicalKey();
      EXPECT_EQ( logValue< FlowspecKey >( logBytes( canonical ) ), canonical );
      const FlowspecKey any = random.arbitraryKey();
      const std::vector< U8 > bytes = logBytes( any );
      EXPECT_EQ( bytes.size(), 62U + 6 * any.matchOpVals() + 2 * any.interfaceSets() );
      EXPECT_EQ( logValue< FlowspecKey >( bytes, Trust::trusted ), any );
   }
}

TEST( FlowspecKeyLog, WhatWasInTheKeyBeforeDoesNotShow ) {
   KeyGenerator random( 22 );
   FlowspecKey read;
   for ( int i = 0; i < 2000; ++i ) {
      const FlowspecKey written = i % 2 == 0 ? random.arbitraryKey() : random.canonicalKey();
      const std::vector< U8 > bytes = logBytes( written );
      Vek::LogReader in( bytes );
      logRead( in, read );
      ASSERT_EQ( read, written );
      ASSERT_EQ( read.hash(), written.hash() );
   }
}

TEST( FlowspecKeyLog, EveryTruncationIsRefused ) {
   KeyGenerator random( 21 );
   for ( int i = 0; i < 200; ++i ) {
      const std::vector< U8 > bytes = logBytes( random.canonicalKey() );
      for ( std::size_t size = 0; size < bytes.size(); ++size ) {
         EXPECT_THROW( logValue< FlowspecKey >( std::span( bytes ).first( size ) ),
                       Vek::StreamException );
      }
   }
}

TEST( FlowspecKeyLog, AWordAtTheLastIndexCannotBeWritten ) {
   FlowspecKey key;
   key.matchOpValIs( 2046, MatchOpVal( 1 ) );
   EXPECT_EQ( logValue< FlowspecKey >( logBytes( key ), Trust::trusted ), key );
   FlowspecKey alone;
   alone.matchOpValIs( 2047, MatchOpVal( 1 ) );
   EXPECT_THROW( logBytes( alone ), Vek::DefaultKeyException );
   key.matchOpValIs( 2047, MatchOpVal( 1 ) );
   std::vector< U8 > bytes( logSize( key ), 0xEE );
   Vek::LogWriter out( bytes.data() );
   try {
      logWrite( out, key );
      ADD_FAILURE() << "it was written";
   } catch ( const Vek::DefaultKeyException& exception ) {
      EXPECT_STREQ( exception.what(), "Flowspec::FlowspecKey matchOpVal holds the default key" );
   }
   EXPECT_EQ( bytes, std::vector< U8 >( bytes.size(), 0xEE ) );
}

TEST( FlowspecKeyLog, KeysThatCouldNotBeWalkedAreRefusedFromAPeer ) {
   EXPECT_EQ( refusal( head + "0000 0E810006 07FF 00000000" ),
              "byte 68: no component has the type of a word" );
   EXPECT_EQ( refusal( head + "0000 03B10006 07FF 00000000" ),
              "byte 68: a word has a value of 8 bytes" );
   EXPECT_EQ( refusal( head + "0000 05A10001 07FF 00000000" ),
              "byte 68: the second word of a 4-byte value is missing" );
   EXPECT_EQ( refusal( head + "0001 03810006 0000 03810006 07FF 00000000" ),
              "byte 68: the words are not in the order of their indices" );
   EXPECT_EQ( refusal( head + "0000 03810006 0000 03810006 07FF 00000000" ),
              "byte 68: the words are not in the order of their indices" );
   EXPECT_EQ( refusal( head + "0000 05A10001 0001 05A10002 07FF 00000000" ), "" );
}

TEST( FlowspecKeyLog, EveryTypeAndLengthOfAWordFromAPeerIsLookedAt ) {
   for ( U32 type = 0; type < 256; ++type ) {
      for ( U32 op = 0; op < 256; op += 0x10 ) {
         const U8 word[] = { static_cast< U8 >( type ), static_cast< U8 >( op ), 0, 6 };
         const U32 length = op >> 4 & 3;
         const std::string expected = type > 13     ? "byte 74: no component has the type of a word"
                                      : length == 3 ? "byte 74: a word has a value of 8 bytes"
                                      : length == 2
                                         ? "byte 74: the second word of a 4-byte value is missing"
                                         : "";
         ASSERT_EQ( refusal( head + "0000 03810006 0001 " + hexOf( word ) + " 07FF 00000000" ),
                    expected )
            << type << ' ' << op;
      }
   }
}

// A walk goes to the indices below the number of words, whatever stands where.
TEST( FlowspecKeyLog, KeysWithHolesAreLookedAtAsTheyAreWalked ) {
   const auto read = []( const std::string& words ) {
      return logValue< FlowspecKey >( bytesOf( head + words + "07FF 00000000" ) );
   };
   const FlowspecKey behind = read( "0000 03010006 0005 FFB10006" );
   EXPECT_EQ( behind.toStrepCli( true ), "*;*;IP:=0L6;INVALID:0L0;" );
   const FlowspecKey halfAhole = read( "0000 05A10001 0007 03810006" );
   EXPECT_EQ( halfAhole.toStrepCli( true ), "*;*;DP:=2L65536;" );
   EXPECT_EQ( refusal( head + "0001 05A10001 0002 05A10002 07FF 00000000" ),
              "byte 74: the second word of a 4-byte value is missing" );
   EXPECT_EQ( refusal( head + "0001 0E810006 0007 03810006 07FF 00000000" ),
              "byte 74: no component has the type of a word" );
}

// Of this process's own, where it does not matter.
TEST( FlowspecKeyLog, TheOrderOfTrustedWordsIsNotLookedAt ) {
   const std::string hex = head + "0007 03810006 0005 05910050 07FF 00000000";
   EXPECT_EQ( refusal( hex ), "byte 68: the words are not in the order of their indices" );
   const auto key = logValue< FlowspecKey >( bytesOf( hex ), Vek::LogReader::Trust::trusted );
   EXPECT_EQ( key.matchOpVals(), 2U );
   EXPECT_EQ( key.matchOpVal( 5 ).matchType(), destPort );
}

TEST( FlowspecKeyLog, AKeyOfAllWords ) {
   FlowspecKey key;
   for ( U32 index = 0; index < MatchOpValIndex::max(); ++index ) {
      key.matchOpValIs( index, MatchOpVal( destPort, 0x11, static_cast< U16 >( index ) ) );
   }
   for ( const U16 id : { U16{ 3 }, U16{ 17 }, U16{ 5 } } ) {
      key.interfaceSetPush( id );
   }
   for ( const Trust trust : { Trust::checked, Trust::trusted } ) {
      EXPECT_EQ( logValue< FlowspecKey >( logBytes( key ), trust ), key );
   }
}

// As many words as are in place and more, one of them bad.
TEST( FlowspecKeyLog, EveryWordFromAPeerIsLookedAt ) {
   struct Flaw {
      const char* word;
      std::string reason;
   };
   const Flaw flaws[] = { { "0E810006", "no component has the type of a word" },
                          { "FF810006", "no component has the type of a word" },
                          { "0D310006", "a word has a value of 8 bytes" },
                          { "00810006", "" } };
   for ( U16 count = 1; count <= 18; ++count ) {
      for ( U16 bad = 0; bad < count; ++bad ) {
         for ( const Flaw& flaw : flaws ) {
            std::string hex = head;
            FlowspecKey expected;
            expected.vrfIdIs( 5 );
            expected.addressFamilyIs( Zorv::AddressFamily::ipv4 );
            for ( U16 index = 0; index < count; ++index ) {
               const U8 bytes[] = { 0, static_cast< U8 >( index ) };
               const U32 good = 0x03010000U | index;
               const U32 word = index == bad ? 0x00810006U : good;
               expected.matchOpValIs( index, MatchOpVal( word ) );
               hex += hexOf( bytes ) + ( index == bad ? flaw.word : hexOf( logBytes( good ) ) );
            }
            hex += "07FF 00000000";
            SCOPED_TRACE( hex );
            if ( flaw.reason.empty() ) {
               ASSERT_EQ( logValue< FlowspecKey >( bytesOf( hex ) ), expected );
            } else {
               ASSERT_EQ( refusal( hex ),
                          "byte " + std::to_string( 62 + 6 * count ) + ": " + flaw.reason );
            }
         }
      }
   }
}

TEST( FlowspecKeyLog, CountsAreCheckedBeforeMemoryIsTaken ) {
   EXPECT_EQ( refusal( head + "07FF 00000002 0003" ),
              "byte 58: a count of 2 does not fit into what follows" );
   EXPECT_EQ( refusal( head + "07FF FFFFFFFF 0003" ),
              "byte 58: a count of 4294967295 does not fit into what follows" );
}

} // namespace
} // namespace Flowspec
