#include "Vek/codec/LogWriter.h"
#include "Vek/log/Message.h"
#include "Vek/log/Record.h"
#include "Vek/text/Text.h"
#include "tests/support/ExampleLog.h"
#include "tests/tools/flowspecctl/Run.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace {

using TestSupport::contents;
using TestSupport::exampleLog;
using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;
using Vek::log::Header;
using Vek::log::MessageKind;

constexpr const char* example = "examples/log/roots.vekl";
constexpr const char* expectedLines = "tests/tools/flowspecctl/decode-log.expected";
constexpr const char* expectedDump = "tests/tools/flowspecctl/decode-log-dump.expected";

Vek::String text( const std::vector< U8 >& bytes ) { return { bytes.begin(), bytes.end() }; }

void expect( const Result& result, int status, const Vek::String& out, const Vek::String& err ) {
   EXPECT_EQ( result.status, status );
   EXPECT_EQ( result.out, out );
   EXPECT_EQ( result.err, err );
}

Vek::String firstLines( const Vek::String& lines, std::size_t count ) {
   std::size_t end = 0;
   while ( count-- > 0 ) {
      end = lines.find( '\n', end ) + 1;
   }
   return lines.substr( 0, end );
}

// The offset of a message of a stream, from 1 on.
std::size_t offsetOf( const std::vector< U8 >& stream, U64 message ) {
   std::size_t offset = Vek::log::preambleSize;
   while ( --message > 0 ) {
      offset += Header::size + Vek::log::readHeader( std::span( stream ).subspan( offset ) ).length;
   }
   return offset;
}

// The types that begin every stream, and after them one message.
Vek::String streamWith( const Header& header, const Vek::String& payload ) {
   std::vector< U8 > stream = exampleLog();
   stream.resize( offsetOf( stream, 2 ) + Header::size );
   Vek::LogWriter out( stream.data() + stream.size() - Header::size );
   writeHeader( out, header );
   return text( stream ) + payload;
}

// With FLOWSPEC_WRITE_EXAMPLES set it writes the file, for when the types or the encoding change.
TEST( DecodeLogCommand, TheExampleIsWhatASenderWrites ) {
   if ( std::getenv( "FLOWSPEC_WRITE_EXAMPLES" ) ) {
      std::ofstream( example, std::ios::binary ) << text( exampleLog() );
   }
   EXPECT_TRUE( contents( example ) == text( exampleLog() ) )
      << "when the change is meant: FLOWSPEC_WRITE_EXAMPLES=1 toolsTest "
         "--gtest_filter=*.TheExampleIsWhatASenderWrites";
}

TEST( DecodeLogCommand, PrintsALineForEachMessage ) {
   expect( flowspecctl( { "decode-log", example } ), 0, contents( expectedLines ), "" );
   const Vek::String stream = contents( example );
   expect( flowspecctl( { "decode-log" }, stream ), 0, contents( expectedLines ), "" );
   expect( flowspecctl( { "decode-log", "-" }, stream ), 0, contents( expectedLines ), "" );
}

TEST( DecodeLogCommand, PrintsTheStateThatIsLeft ) {
   expect( flowspecctl( { "decode-log", "--dump", example } ), 0,
           contents( expectedLines ) + contents( expectedDump ), "" );
}

TEST( DecodeLogCommand, WritesAnObjectForEachMessage ) {
   const Result result = flowspecctl( { "decode-log", "--json", example } );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   std::vector< Vek::String > lines{ "" };
   std::istringstream stream( result.out );
   for ( Vek::String line; std::getline( stream, line ); ) {
      EXPECT_EQ( nlohmann::json::parse( line )["message"], lines.size() );
      lines.push_back( line );
   }
   EXPECT_EQ( lines.size() - 1,
              static_cast< std::size_t >( std::ranges::count( contents( expectedLines ), '\n' ) ) );
   EXPECT_EQ( lines[1], R"({"message":1,"kind":"types","types":70})" );
   EXPECT_EQ(
      lines[2],
      R"({"message":2,"kind":"root","type":"Flowspec::CliConfig","entity":1,"name":"cli"})" );
   EXPECT_EQ( lines[5],
              R"({"message":5,"kind":"child","type":"Flowspec::Config","entity":2,"fieldId":259,)"
              R"("field":"vrfRuleConfig","childType":"Flowspec::VrfRuleConfig","child":3,)"
              R"("parameters":["5"]})" );
   EXPECT_EQ( lines[42], R"({"message":42,"kind":"member","type":"Flowspec::CliConfig","entity":1,)"
                         R"("fieldId":261,"field":"sourceVrfOverride","key":"intf3",)"
                         R"("value":"blue\n\"mgmt\""})" );
   EXPECT_EQ( lines[43],
              R"({"message":43,"kind":"transaction","type":"Flowspec::CliConfig","entity":1,)"
              R"("fieldId":261,"field":"sourceVrfOverride","transaction":"end"})" );
   EXPECT_EQ( lines[114], R"({"message":114,"kind":"synchronised"})" );
   EXPECT_EQ( lines[115],
              R"({"message":115,"kind":"attribute","type":"Flowspec::RuleStatus","entity":18,)"
              R"("fieldId":260,"field":"statusCode","value":"programmed"})" );
   EXPECT_EQ( lines[116],
              R"({"message":116,"kind":"child","type":"Flowspec::VrfRuleStatus","entity":16,)"
              R"("fieldId":261,"field":"ruleStatus","removed":true,)"
              R"("key":"5;ipv6;2001:db8::/32;;125894784;@"})" );
   EXPECT_EQ( lines[120], R"({"message":120,"kind":"root","type":"Flowspec::CliConfig","entity":1,)"
                          R"("removed":true})" );
}

TEST( DecodeLogCommand, WritesAnObjectForEachRoot ) {
   const Result result = flowspecctl( { "decode-log", "--json", "--dump", example } );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   Vek::String text;
   std::istringstream stream( result.out );
   for ( Vek::String line; std::getline( stream, line ); ) {
      const auto object = nlohmann::json::parse( line );
      if ( !object.contains( "root" ) ) {
         EXPECT_EQ( text, "" ) << "a message stands behind the state";
         continue;
      }
      EXPECT_EQ( object.size(), 3U );
      text += object["type"].get< Vek::String >() + ' ' + object["root"].get< Vek::String >() +
              '\n' + object["state"].get< Vek::String >();
   }
   EXPECT_EQ( text, contents( expectedDump ) );
}

TEST( DecodeLogCommand, AStreamThatEndsInsideAMessageIsReportedBehindWhatWasWhole ) {
   const Vek::String lines = contents( expectedLines );
   const std::vector< U8 > stream = exampleLog();
   const Folder folder;
   for ( const U64 message : { 2U, 35U, 115U } ) {
      for ( const std::size_t more : { 1U, 15U, 16U, 17U } ) {
         const std::size_t size = offsetOf( stream, message ) + more;
         const Vek::String file = folder.file( "cut", text( stream ).substr( 0, size ) );
         expect( flowspecctl( { "decode-log", file } ), 1, firstLines( lines, message - 1 ),
                 Vek::concat( file, ": error: the stream ends at byte ", size, ", inside message ",
                              message, '\n' ) );
      }
   }
   const std::size_t whole = offsetOf( stream, 115 );
   expect( flowspecctl( { "decode-log" }, text( stream ).substr( 0, whole ) ), 0,
           firstLines( lines, 114 ), "" );
}

TEST( DecodeLogCommand, AStreamBeginsWithAPreamble ) {
   for ( const std::size_t size : { 0U, 4U, 15U } ) {
      expect( flowspecctl( { "decode-log" }, contents( example ).substr( 0, size ) ), 1, "",
              Vek::concat( "<stdin>: error: the stream ends at byte ", size,
                           ", inside its preamble\n" ) );
   }
   expect( flowspecctl( { "decode-log", "examples/README.md" } ), 1, "",
           "examples/README.md: error: the peer does not speak the attribute log\n" );
   Vek::String later = contents( example );
   later[5] = 2;
   expect( flowspecctl( { "decode-log" }, later ), 1, "",
           "<stdin>: error: the peer speaks version 2 of the attribute log, this process version "
           "1\n" );
}

// A file as the state database keeps them, in records of a size.
std::vector< U8 > inRecords( std::span< const U8 > stream, std::size_t size ) {
   std::vector< U8 > file;
   while ( !stream.empty() ) {
      const std::size_t length = std::min( size, stream.size() );
      Vek::log::appendRecord( file, stream.first( length ) );
      stream = stream.subspan( length );
   }
   return file;
}

TEST( DecodeLogCommand, ReadsWhatTheStateDatabaseKeeps ) {
   const Vek::String lines = contents( expectedLines );
   const std::vector< U8 > stream = exampleLog();
   for ( const std::size_t size : { std::size_t{ 1000 }, stream.size() } ) {
      expect( flowspecctl( { "decode-log" }, text( inRecords( stream, size ) ) ), 0, lines, "" );
   }
   // Through a pipe that has little at once.
   const Folder folder;
   const Vek::String file = folder.file( "kept", text( inRecords( stream, 1000 ) ) );
   const Result slow =
      TestSupport::run( { .command = { "sh", "-c",
                                       "(head -c 19; sleep 0.1; cat) <" + file + " | " +
                                          TestSupport::flowspecctlPath() + " decode-log" } } );
   expect( slow, 0, lines, "" );
}

TEST( DecodeLogCommand, ARecordThatIsNotWholeIsReportedBehindThoseThatAre ) {
   const std::vector< U8 > stream = exampleLog();
   const std::size_t size = offsetOf( stream, 35 );
   std::vector< U8 > file = inRecords( stream, size );
   const std::size_t first = inRecords( std::span( stream ).first( size ), size ).size();
   const Vek::String lines = firstLines( contents( expectedLines ), 34 );
   for ( const std::size_t more : { 1U, 16U, 100U } ) {
      expect( flowspecctl( { "decode-log" }, text( file ).substr( 0, first + more ) ), 1, lines,
              Vek::concat( "<stdin>: error: the record at byte ", first, " is cut off\n" ) );
   }
   file[first + 15] ^= 1;
   expect( flowspecctl( { "decode-log" }, text( file ) ), 1, lines,
           Vek::concat( "<stdin>: error: the record at byte ", first, " is damaged\n" ) );
   // Whole records, and a message that is not.
   const std::vector< U8 > cut = inRecords( std::span( stream ).first( size + 1 ), size + 1 );
   expect( flowspecctl( { "decode-log" }, text( cut ) ), 1, lines,
           Vek::concat( "<stdin>: error: the stream ends at byte ", size + 1,
                        ", inside message 35\n" ) );
}

TEST( DecodeLogCommand, AMalformedMessageIsReportedBehindWhatWasWhole ) {
   const Vek::String lines = contents( expectedLines );
   std::vector< U8 > stream = exampleLog();
   stream[offsetOf( stream, 111 ) + Header::size - 1] = 1;
   expect( flowspecctl( { "decode-log" }, text( stream ) ), 1, firstLines( lines, 110 ),
           "<stdin>: error: message 111 (attribute), Flowspec::RuleStatus 262 coloredCounters: "
           "the type does not stream such a field\n" );
   stream[offsetOf( stream, 105 ) + Header::size + 1] = 1;
   expect( flowspecctl( { "decode-log" }, text( stream ) ), 1, firstLines( lines, 104 ),
           "<stdin>: error: message 105 (attribute), Flowspec::RuleStatus 261 errorReason: byte "
           "0: a count of 65550 does not fit into what follows\n" );
   const Result dump = flowspecctl( { "decode-log", "--dump" }, text( stream ) );
   EXPECT_EQ( dump.status, 1 );
   EXPECT_NE( dump.out.find( "statusCode 6, errorReason ," ), Vek::String::npos ) << dump.out;
   EXPECT_NE( dump.out.find( "Flowspec::CliConfig cli\nenabledIntf #1\n" ), Vek::String::npos );
   EXPECT_NE( dump.err.find( "message 105 (attribute)" ), Vek::String::npos );
}

TEST( DecodeLogCommand, MessagesAboutNothingThatIsKnownAreReported ) {
   const auto refusal = []( const Header& header, const Vek::String& payload ) {
      const Result result = flowspecctl( { "decode-log" }, streamWith( header, payload ) );
      EXPECT_EQ( result.status, 1 );
      EXPECT_EQ( result.out, "1 types 70\n" );
      return result.err;
   };
   EXPECT_EQ(
      refusal( { .length = 1, .kind = MessageKind::attribute, .entity = 9, .fieldId = 260 }, "x" ),
      "<stdin>: error: message 2 (attribute): no entity has the number 9\n" );
   EXPECT_EQ( refusal( { .length = 9, .kind = MessageKind::root, .entity = 1 },
                       { "\0\0\0\1x\0\0\0\0", 9 } ),
              "<stdin>: error: message 2 (root): Vek::Directory: type 'x' is not loaded\n" );
   EXPECT_EQ( refusal( { .kind = static_cast< MessageKind >( 8 ) }, "" ),
              "<stdin>: error: message 2 (unknown): there is no such kind of message\n" );
}

TEST( DecodeLogCommand, NoByteReachesATerminalAsAControlCharacter ) {
   const Vek::String payload( "\0\0\0\x11"
                              "Flowspec::Counter"
                              "\0\0\0\3"
                              "\x1b\n\xff",
                              28 );
   const Vek::String stream =
      streamWith( { .length = 28, .kind = MessageKind::root, .entity = 1 }, payload );
   expect( flowspecctl( { "decode-log" }, stream ), 0,
           "1 types 70\n2 root Flowspec::Counter#1 \"\\x1b\\x0a\\xff\"\n", "" );
   expect( flowspecctl( { "decode-log", "--json" }, stream ), 0,
           "{\"message\":1,\"kind\":\"types\",\"types\":70}\n"
           R"({"message":2,"kind":"root","type":"Flowspec::Counter","entity":1,)"
           "\"name\":\"\\u001b\\n\\ufffd\"}\n",
           "" );
   expect( flowspecctl( { "decode-log", "--dump" }, stream ), 0,
           "1 types 70\n2 root Flowspec::Counter#1 \"\\x1b\\x0a\\xff\"\n"
           "Flowspec::Counter \\x1b\\x0a\\xff\nsnapshot #0\ntimestamp: 0\n",
           "" );
}

TEST( DecodeLogCommand, AFileThatCannotBeReadIsReported ) {
   expect( flowspecctl( { "decode-log", "/nonexistent" } ), 1, "",
           "/nonexistent: error: cannot open: No such file or directory\n" );
   expect( flowspecctl( { "decode-log", "examples" } ), 1, "",
           "examples: error: cannot read: Is a directory\n" );
   const Result two = flowspecctl( { "decode-log", example, example } );
   EXPECT_EQ( two.status, 2 );
}

} // namespace
