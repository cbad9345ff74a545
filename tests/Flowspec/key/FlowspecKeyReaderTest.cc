#include "Flowspec/key/FlowspecKeyReader.h"

#include "tests/support/ExpectFailure.h"
#include "tests/support/KeyGenerator.h"

#include <optional>
#include <string>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;

constexpr int rounds = 100000;

void printAllForms( const FlowspecKey& key ) {
   for ( MatchOpValResult term = key.getOptVal( 0 ); !term.isEnd();
         term = key.getOptVal( term.nextIndex() ) ) {
   }
   key.toStrepCli( false );
   key.toStrepCli( true );
   key.toStrepCliDetail();
   key.stringValue();
   key.toStrep();
}

// The index of the first term that does not print, found by walking the words.
std::optional< U32 > firstUnprintable( const FlowspecKey& key ) {
   U32 index = 0;
   while ( index < key.matchOpVals() ) {
      const U32 word = key.matchOpVal( index ).storage();
      const U32 length = word >> 20 & 3;
      const U32 next = length == 2 ? index + 2 : index + 1;
      if ( word >> 24 > 13 || length == 3 || next > 2047 || next > key.matchOpVals() ) {
         return index;
      }
      index = next;
   }
   return std::nullopt;
}

// Words that are often printable: known types and lengths but for one in some dozens, few gaps.
FlowspecKey nearlyPrintableKey( KeyGenerator& generator ) {
   FlowspecKey key;
   const U64 count = generator.below( 10 );
   U32 index = 0;
   while ( key.matchOpVals() < count ) {
      const U32 type = static_cast< U32 >( generator.below( generator.oneIn( 40 ) ? 256 : 14 ) );
      const U32 op =
         static_cast< U32 >( generator.any() ) & ( generator.oneIn( 20 ) ? 0xFF : 0xEF );
      key.matchOpValIs( index, MatchOpVal( type << 24 | op << 16 | generator.number( 16 ) ) );
      index += generator.oneIn( 20 ) ? 2 : 1;
   }
   return key;
}

FlowspecKey keyOfWords( std::initializer_list< U32 > words ) {
   FlowspecKey key;
   U32 index = 0;
   for ( const U32 word : words ) {
      key.matchOpValIs( index++, MatchOpVal( word ) );
   }
   return key;
}

void expectUnprintable( const FlowspecKey& key, U16 index, const std::string& reason ) {
   const auto term = unprintableTerm( key );
   ASSERT_TRUE( term );
   EXPECT_EQ( term->index, index );
   EXPECT_EQ( term->reason, reason );
}

TEST( UnprintableTerm, TellsTheFirstTermAndTheReason ) {
   EXPECT_FALSE( unprintableTerm( FlowspecKey() ) );
   EXPECT_FALSE( unprintableTerm( keyOfWords( { 0, 0x0D8F0001 } ) ) );
   expectUnprintable( keyOfWords( { 0x03810006, 0x0E810006, 0x03B10006 } ), 1,
                      "its component type is not known" );
   expectUnprintable( keyOfWords( { 0x03B10006, 0x0E810006 } ), 0, "its value has 8 bytes" );
   expectUnprintable( keyOfWords( { 0x03810006, 0x0DA10001 } ), 1,
                      "the second half of its value is missing" );
   // The type of a second half does not matter.
   EXPECT_FALSE( unprintableTerm( keyOfWords( { 0x0DA10001, 0xFFFF2345 } ) ) );
}

TEST( UnprintableTerm, WordAtTheLastIndexDoesNotPrint ) {
   FlowspecKey key;
   for ( U32 i = 0; i < 2047; ++i ) {
      key.matchOpValIs( i, MatchOpVal( 0x03010006 ) );
   }
   EXPECT_FALSE( unprintableTerm( key ) );
   key.matchOpValIs( 2047, MatchOpVal( 0x03810006 ) );
   expectUnprintable( key, 2047, "it ends above index 2047" );
   key.matchOpValIs( 2046, MatchOpVal( 0x0DA10006 ) );
   expectUnprintable( key, 2046, "it ends above index 2047" );
   // The walk takes a zero word here for its end, but the diagnostic form does not.
   key.matchOpValIs( 2046, MatchOpVal() );
   expectUnprintable( key, 2047, "it ends above index 2047" );
   EXPECT_THAT( [&] { key.toStrep(); }, TestSupport::raisesIndexRange() );
}

TEST( UnprintableTerm, SaysNothingWhenAllFormsArePrinted ) {
   KeyGenerator generator( 60 );
   int printed = 0;
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key =
         generator.oneIn( 10 ) ? generator.arbitraryKey() : nearlyPrintableKey( generator );
      const auto term = unprintableTerm( key );
      const auto expected = firstUnprintable( key );
      ASSERT_EQ( term.has_value(), expected.has_value() ) << key.toStrep();
      if ( term ) {
         ASSERT_EQ( term->index, *expected ) << key.toStrep();
      } else {
         printAllForms( key );
         ++printed;
      }
   }
   EXPECT_GT( printed, rounds / 10 );
   EXPECT_LT( printed, rounds * 9 / 10 );
}

TEST( UnprintableTermDeathTest, SaysWhatEndsTheProcess ) {
   KeyGenerator generator( 61 );
   for ( int found = 0; found < 40; ) {
      const FlowspecKey key = nearlyPrintableKey( generator );
      if ( unprintableTerm( key ) ) {
         EXPECT_EXIT( key.toStrepCli( true ), testing::KilledBySignal( SIGABRT ), "assertion" );
         ++found;
      }
   }
}

// Gives a reader texts that `write` makes, whole and changed; what it takes is printed.
template < typename Read, typename Write >
void expectSafe( U64 seed, Read read, Write write ) {
   KeyGenerator generator( seed );
   int good = 0;
   for ( int i = 0; i < rounds; ++i ) {
      Vek::String text = write( generator );
      text = generator.oneIn( 4 ) ? text : generator.mutated( text );
      FlowspecKey key;
      const KeyTextResult result = read( text, key );
      if ( result ) {
         ASSERT_LE( result->offset, text.size() ) << text;
         ASSERT_FALSE( result->message.empty() ) << text;
         continue;
      }
      ++good;
      if ( !unprintableTerm( key ) ) {
         printAllForms( key );
      }
   }
   EXPECT_GT( good, rounds / 10 );
   EXPECT_LT( good, rounds * 9 / 10 );
}

TEST( CheckedReaders, NoCommandLineFormEndsTheProcess ) {
   for ( const bool lengths : { false, true } ) {
      expectSafe(
         70 + lengths,
         [&]( std::string_view text, FlowspecKey& key ) {
            return readStrCli( text, lengths, key );
         },
         [&]( KeyGenerator& generator ) { return generator.ruleText( lengths ); } );
   }
}

TEST( CheckedReaders, NoCommandLineFormWithDistinguisherEndsTheProcess ) {
   expectSafe(
      72,
      []( std::string_view text, FlowspecKey& key ) {
         Zorv::RouteDistinguisher rd;
         return readStrCliWithRd( text, false, rd, key );
      },
      []( KeyGenerator& generator ) { return "RD:192.0.2.1:7;" + generator.ruleText( false ); } );
}

// What stands after the end of a view does not count: each beginning of a text reads as if it
// stood alone.
TEST( CheckedReaders, NothingIsReadBehindTheEndOfAView ) {
   const std::string text =
      "10.1.0.0/16;2001:db8::/32;IP:=0L6;DP:>=1L1024&<=1L20479|=1L80;TCP:!=0L2;"
      "FL:=2L1048575|=0L0x10|=0L010;";
   for ( std::size_t size = 0; size <= text.size(); ++size ) {
      for ( const bool lengths : { false, true } ) {
         const std::string alone = text.substr( 0, size );
         FlowspecKey expected;
         const KeyTextResult expectedResult = readStrCli( alone, lengths, expected );
         for ( const char* const behind : { "", "0", "9", "L", "L6", "0L6", ":=1", ";", "/8" } ) {
            const std::string longer = behind[0] == '\0' ? text : alone + behind;
            FlowspecKey key;
            const KeyTextResult result =
               readStrCli( std::string_view( longer ).substr( 0, size ), lengths, key );
            ASSERT_EQ( key, expected ) << alone << " before " << behind;
            ASSERT_EQ( result.has_value(), expectedResult.has_value() ) << alone;
            if ( result ) {
               ASSERT_EQ( result->message, expectedResult->message ) << alone;
               ASSERT_EQ( result->offset, expectedResult->offset ) << alone;
            }
         }
      }
   }
   const auto withLengths = []( std::string_view lengthAtTheEnd ) {
      FlowspecKey key;
      const KeyTextResult result = readStrCli( lengthAtTheEnd, true, key );
      return result ? result->message : "read";
   };
   constexpr std::string_view whole = "*;*;IP:=0L6";
   EXPECT_EQ( withLengths( whole ), "read" );
   EXPECT_EQ( withLengths( whole.substr( 0, 10 ) ), "Unexpected format for value length IP:=0L" );
   EXPECT_EQ( withLengths( whole.substr( 0, 9 ) ), "Unexpected format for value length IP:=0" );
   EXPECT_EQ( withLengths( whole.substr( 0, 8 ) ), " Missing value in IP:=" );
}

TEST( CheckedReaders, NoValueFormEndsTheProcess ) {
   expectSafe( 73, readStringValue,
               []( KeyGenerator& generator ) { return generator.canonicalKey().stringValue(); } );
}

TEST( CheckedReaders, NoInterfaceSetListEndsTheProcess ) {
   expectSafe( 74, readInterfaceSet, []( KeyGenerator& generator ) {
      const U32 first = generator.number( 16 );
      return Vek::concat( "IFSET:=", first, ',', generator.number( 14 ), ';' );
   } );
}

TEST( CheckedReaders, NoDiagnosticFormEndsTheProcess ) {
   expectSafe( 75, readStrep,
               []( KeyGenerator& generator ) { return valueToStrep( generator.arbitraryKey() ); } );
}

TEST( CheckedReaders, NothingIsClearedFirst ) {
   FlowspecKey key = keyOfWords( { 1, 2, 3 } );
   EXPECT_FALSE( readStrCli( "*;*;IP:=6;", false, key ) );
   EXPECT_FALSE( readInterfaceSet( "IFSET:=1;", key ) );
   EXPECT_FALSE( readStrep( ";;IFSET:=2;;;7;", key ) );
   EXPECT_EQ( key.toStrep(), ";;IFSET:=1,2;;;7;2;3;" );
}

TEST( CheckedReaders, TextThatIsTooLongForAKeyIsAnError ) {
   Vek::String text = "*;*;IP:";
   for ( int i = 0; i < 2048; ++i ) {
      text += "=6";
   }
   FlowspecKey key;
   const KeyTextResult result = readStrCli( text, false, key );
   ASSERT_TRUE( result );
   EXPECT_EQ( result->message, "Too many terms for a rule key at " + text.substr( 4 ) );
   EXPECT_EQ( result->offset, text.size() - 1 );
   EXPECT_EQ( key.matchOpVals(), 2048U );
}

TEST( CheckedReaders, EightByteLengthIsAnError ) {
   FlowspecKey key;
   const KeyTextResult result = readStrCli( "*;*;IP:=0L6|=3L7;", true, key );
   ASSERT_TRUE( result );
   EXPECT_EQ( result->message, "8-byte values are not supported in IP:=0L6|=3L7" );
   EXPECT_EQ( result->offset, 13U );
   EXPECT_EQ( key.matchOpVals(), 1U );
}

} // namespace
} // namespace Flowspec
