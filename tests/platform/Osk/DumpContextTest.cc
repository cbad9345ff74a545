#include "Osk/DumpContext.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>

namespace {

using Osk::DumpContext;
using namespace std::string_literals;
using testing::ElementsAre;

/// The text of one dumped line.
std::string lineOf( U32 indent, const char* text ) {
   std::string out;
   DumpContext( out ).line( indent, "%s\n", text );
   return out;
}

TEST( DumpContext, PrintConvertsAsPrintfDoes ) {
   std::string out = "before ";
   DumpContext dump( out );
   dump.print( "statusCode %d, errorReason %s, ruleId: %lu, 0x%x, 100%%\n", -1, "none",
               18446744073709551615UL, 0xABU );
   dump.print( "%s", "" );
   dump.print( "%*c|%c|", 3, ' ', '\0' );
   EXPECT_EQ( out, "before statusCode -1, errorReason none, "
                   "ruleId: 18446744073709551615, 0xab, 100%\n   |\0|"s );
}

TEST( DumpContext, LineBeginsWithExactlyIndentBlanks ) {
   EXPECT_EQ( lineOf( 0, "vrfId is 1" ), "vrfId is 1\n" );
   EXPECT_EQ( lineOf( 1, "vrfId is 1" ), " vrfId is 1\n" );
   EXPECT_EQ( lineOf( 2, "vrfId is 1" ), "  vrfId is 1\n" );
   for ( const U32 indent : { 3U, 79U, 511U, 512U, 513U, 100'000U } ) {
      EXPECT_EQ( lineOf( indent, " x" ), std::string( indent, ' ' ) + " x\n" );
   }
}

TEST( DumpContext, LineIsThePaddedFormatOfPrint ) {
   for ( const int indent : { 1, 2, 17 } ) {
      std::string line;
      DumpContext( line ).line( static_cast< U32 >( indent ), "matchSets #%u\n", 3U );
      std::string printed;
      DumpContext( printed ).print( "%*cmatchSets #%u\n", indent, ' ', 3U );
      EXPECT_EQ( line, printed );
   }
}

TEST( DumpContext, LongLinesAreWhole ) {
   for ( const std::size_t length : { 255U, 256U, 511U, 512U, 1023U, 1024U, 65536U, 1'000'000U } ) {
      std::string reason;
      for ( std::size_t i = 0; i < length; ++i ) {
         reason += static_cast< char >( 'a' + i % 26 );
      }
      EXPECT_EQ( lineOf( 4, reason.c_str() ), "    " + reason + "\n" );
   }
}

TEST( DumpContext, ShortLinesFollowLongOnes ) {
   std::string out;
   DumpContext dump( out );
   dump.line( 2, "%s\n", "a longer line than the next" );
   dump.line( 0, "%u\n", 1U );
   dump.print( "%s\n", "" );
   EXPECT_EQ( out, "  a longer line than the next\n1\n\n" );
}

TEST( DumpContext, SinkGetsEachCallInOnePiece ) {
   std::vector< std::string > pieces;
   DumpContext dump( [&pieces]( std::string_view text ) { pieces.emplace_back( text ); } );
   dump.line( 2, "ruleKey: %s, ruleId: %lu\n", "*;*;", 7UL );
   dump.print( "one\ntwo\n" );
   dump.line( 600, "%s", "" );
   EXPECT_THAT( pieces, ElementsAre( "  ruleKey: *;*;, ruleId: 7\n", "one\ntwo\n",
                                     std::string( 600, ' ' ) ) );
}

TEST( DumpContext, SinkThatThrowsIsAskedAgain ) {
   std::string out;
   bool broken = true;
   DumpContext dump( [&]( std::string_view text ) {
      if ( broken ) {
         throw std::runtime_error( "closed" );
      }
      out += text;
   } );
   EXPECT_THROW( dump.line( 2, "lost\n" ), std::runtime_error );
   broken = false;
   dump.line( 2, "kept\n" );
   EXPECT_EQ( out, "  kept\n" );
}

TEST( DumpContext, FileGetsTheSameBytes ) {
   const std::unique_ptr< std::FILE, int ( * )( std::FILE* ) > file( std::tmpfile(), std::fclose );
   ASSERT_NE( file, nullptr );
   DumpContext dump( file.get() );
   dump.line( 2, "%c%s\n", '\0', "AF ipv4" );
   dump.print( "Unsupported actions: 0x%x\n", 4U );
   std::rewind( file.get() );
   char bytes[100];
   const std::size_t count = std::fread( bytes, 1, sizeof bytes, file.get() );
   EXPECT_EQ( std::string( bytes, count ), "  \0AF ipv4\nUnsupported actions: 0x4\n"s );
}

TEST( DumpContext, WhatCannotBeConvertedIsNotWritten ) {
   // The C locale has no multibyte character for it.
   static constexpr wchar_t unknown[] = { 0x10FFFF, 0 };
   std::string out;
   DumpContext dump( out );
   dump.line( 4, "%ls\n", unknown );
   EXPECT_EQ( out, "" );
   dump.line( 4, "%ls\n", L"known" );
   EXPECT_EQ( out, "    known\n" );
}

} // namespace
