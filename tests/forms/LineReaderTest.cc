#include "forms/LineReader.h"

#include "Vek/text/String.h"
#include "tests/support/Interruptions.h"

#include <cerrno>
#include <cstdio>
#include <random>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Forms::LineReader;
using Result = LineReader::Result;

// A descriptor from which a text can be read.
class Input {
public:
   explicit Input( std::string_view text ) : file_( std::tmpfile() ) {
      EXPECT_EQ( std::fwrite( text.data(), 1, text.size(), file_ ), text.size() );
      std::rewind( file_ );
   }
   Input( const Input& ) = delete;
   Input& operator=( const Input& ) = delete;
   ~Input() { std::fclose( file_ ); }
   int fd() const { return fileno( file_ ); }

private:
   std::FILE* file_;
};

void ignore() {}

std::vector< Vek::String > lines( std::string_view text ) {
   const Input input( text );
   LineReader reader( input.fd(), ignore );
   std::vector< Vek::String > all;
   std::string_view line;
   Result result;
   while ( ( result = reader.next( line ) ) == Result::line ) {
      all.emplace_back( line );
      EXPECT_EQ( reader.lineNumber(), all.size() );
   }
   EXPECT_EQ( result, Result::end );
   EXPECT_EQ( reader.next( line ), Result::end );
   EXPECT_EQ( reader.lineNumber(), all.size() );
   EXPECT_EQ( reader.bytesRead(), text.size() );
   return all;
}

TEST( LineReader, GoesOnWhenASignalInterruptsIt ) {
   int ends[2];
   ASSERT_EQ( ::pipe( ends ), 0 );
   {
      const TestSupport::Interruptions interruptions( [end = ends[1]] {
         EXPECT_EQ( ::write( end, "a\n", 2 ), 2 );
         ::close( end );
      } );
      LineReader reader( ends[0], ignore );
      std::string_view line;
      EXPECT_EQ( reader.next( line ), Result::line );
      EXPECT_EQ( line, "a" );
      EXPECT_EQ( reader.next( line ), Result::end );
   }
   ::close( ends[0] );
}

using Lines = std::vector< Vek::String >;

TEST( LineReader, LinesEndWithNewlineOrTheInput ) {
   EXPECT_EQ( lines( "" ), Lines{} );
   EXPECT_EQ( lines( "\n" ), Lines{ "" } );
   EXPECT_EQ( lines( "a" ), Lines{ "a" } );
   EXPECT_EQ( lines( "a\n" ), Lines{ "a" } );
   EXPECT_EQ( lines( "a\nb" ), ( Lines{ "a", "b" } ) );
   EXPECT_EQ( lines( "\n\na\n\n" ), ( Lines{ "", "", "a", "" } ) );
}

TEST( LineReader, TheMarkOfUtf8IsPassedOver ) {
   EXPECT_EQ( lines( "\xEF\xBB\xBF*;*;\nb" ), ( Lines{ "*;*;", "b" } ) );
   EXPECT_EQ( lines( "\xEF\xBB\xBF" ), Lines{ "" } );
   EXPECT_EQ( lines( "a\n\xEF\xBB\xBF" ), ( Lines{ "a", "\xEF\xBB\xBF" } ) );
   EXPECT_EQ( lines( "\xEF\xBB\n" ), Lines{ "\xEF\xBB" } );
}

TEST( LineReader, OneCarriageReturnBelongsToTheLineEnd ) {
   EXPECT_EQ( lines( "a\r\nb\r" ), ( Lines{ "a", "b" } ) );
   EXPECT_EQ( lines( "\r\n\r\r\n" ), ( Lines{ "", "\r" } ) );
   EXPECT_EQ( lines( "a\rb\n" ), Lines{ "a\rb" } );
}

TEST( LineReader, OtherBytesAreKept ) {
   const Vek::String text( "a\0b\xff\x80\n\0", 7 );
   EXPECT_EQ( lines( text ), ( Lines{ text.substr( 0, 5 ), text.substr( 6 ) } ) );
}

// Lines of lengths around the size of a block, so that line ends fall on every side of its edges.
TEST( LineReader, LinesMayCrossBlocks ) {
   for ( const std::size_t first :
         { LineReader::blockSize - 2, LineReader::blockSize - 1, LineReader::blockSize,
           LineReader::blockSize + 1, 2 * LineReader::blockSize - 1, 2 * LineReader::blockSize,
           5 * LineReader::blockSize } ) {
      const Lines expected{ Vek::String( first, 'x' ), "y", Vek::String( first, 'z' ) };
      EXPECT_TRUE( lines( expected[0] + "\ny\r\n" + expected[2] ) == expected ) << first;
   }
}

TEST( LineReader, AgreesWithSplittingTheWholeText ) {
   std::mt19937 random( 20240611 );
   for ( int round = 0; round < 20; ++round ) {
      Lines expected;
      Vek::String text;
      while ( text.size() < 4 * LineReader::blockSize ) {
         const std::size_t length = random() % ( random() % 50 == 0 ? 400000 : 300 );
         expected.emplace_back( length, static_cast< char >( 'a' + random() % 26 ) );
         text += expected.back();
         text += random() % 2 ? "\n" : "\r\n";
      }
      ASSERT_TRUE( lines( text ) == expected ) << round;
   }
}

TEST( LineReader, LineOfTheGreatestLengthIsTaken ) {
   const Vek::String longest( LineReader::maxLine, 'x' );
   EXPECT_TRUE( lines( longest + "\nb" ) == ( Lines{ longest, "b" } ) );
   EXPECT_TRUE( lines( "a\n" + longest ) == ( Lines{ "a", longest } ) );
}

TEST( LineReader, LongerLinesArePassedOver ) {
   for ( const std::size_t length : { LineReader::maxLine + 1, 3 * LineReader::maxLine + 7 } ) {
      const Vek::String tooLong( length, 'x' );
      const Input input( "a\n" + tooLong + "\nb\n" + tooLong );
      LineReader reader( input.fd(), ignore );
      std::string_view line;
      EXPECT_EQ( reader.next( line ), Result::line );
      EXPECT_EQ( line, "a" );
      EXPECT_EQ( reader.next( line ), Result::tooLong );
      EXPECT_EQ( reader.lineNumber(), 2U );
      EXPECT_EQ( reader.next( line ), Result::line );
      EXPECT_EQ( line, "b" );
      EXPECT_EQ( reader.next( line ), Result::tooLong );
      EXPECT_EQ( reader.lineNumber(), 4U );
      EXPECT_EQ( reader.next( line ), Result::end );
   }
}

// A terminal or a pipe gives a line at a time: it must come out before more is asked for.
TEST( LineReader, GivesWhatIsThereBeforeItReadsAgain ) {
   int ends[2];
   ASSERT_EQ( ::pipe( ends ), 0 );
   int reads = 0;
   LineReader reader( ends[0], [&] { ++reads; } );
   std::string_view line;
   ASSERT_EQ( ::write( ends[1], "a\nb\nc", 5 ), 5 );
   EXPECT_EQ( reader.next( line ), Result::line );
   EXPECT_EQ( reader.next( line ), Result::line );
   EXPECT_EQ( line, "b" );
   EXPECT_EQ( reads, 1 );
   ASSERT_EQ( ::write( ends[1], "d\n", 2 ), 2 );
   EXPECT_EQ( reader.next( line ), Result::line );
   EXPECT_EQ( line, "cd" );
   EXPECT_EQ( reads, 2 );
   ::close( ends[1] );
   EXPECT_EQ( reader.next( line ), Result::end );
   EXPECT_EQ( reads, 3 );
   ::close( ends[0] );
}

TEST( LineReader, TellsWhyReadingFailed ) {
   const int directory = ::open( "/", O_RDONLY );
   LineReader reader( directory, ignore );
   std::string_view line;
   EXPECT_EQ( reader.next( line ), Result::failed );
   EXPECT_EQ( reader.error(), EISDIR );
   ::close( directory );
}

} // namespace
