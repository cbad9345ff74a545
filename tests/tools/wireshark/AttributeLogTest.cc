#include "Vek/codec/LogWriter.h"
#include "Vek/log/Message.h"
#include "tests/tools/flowspecctl/Run.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using TestSupport::contents;
using TestSupport::Folder;
using TestSupport::Result;
using TestSupport::run;

constexpr U16 port = 5000;

// A capture of one TCP connection in pcap's format, without handshake and acknowledgements.
class Capture {
public:
   Capture() {
      numbers< U32 >( { 0xA1B2C3D4, 2 << 16 | 4, 0, 0, 65535, 101 } ); // 101: raw IP packets
   }

   // Adds what one end sends, in segments of `size` bytes.
   void send( std::string_view stream, std::size_t size, bool fromClient = true ) {
      for ( ; !stream.empty(); stream.remove_prefix( std::min( size, stream.size() ) ) ) {
         segment( stream.substr( 0, size ), fromClient );
      }
   }

   const Vek::String& file() const { return file_; }

private:
   void segment( std::string_view bytes, bool fromClient ) {
      const auto length = static_cast< U16 >( 40 + bytes.size() );
      numbers< U32 >( { frames_, 0, length, length } );
      const U32 client = 0x0A000001;
      const U32 server = 0x0A000002;
      numbers< U16 >( { 0x4500, length, static_cast< U16 >( frames_++ ), 0, 0x4006, 0 } );
      numbers< U32 >( { fromClient ? client : server, fromClient ? server : client } );
      numbers< U16 >( { fromClient ? U16{ 40000 } : port, fromClient ? port : U16{ 40000 } } );
      U32& next = fromClient ? clientNext_ : serverNext_;
      numbers< U32 >( { next, 0 } );
      numbers< U16 >( { 0x5018, 65535, 0, 0 } );
      next += static_cast< U32 >( bytes.size() );
      file_ += bytes;
   }

   template < typename T >
   void numbers( std::initializer_list< T > values ) {
      for ( const T value : values ) {
         for ( int shift = 8 * ( int{ sizeof( T ) } - 1 ); shift >= 0; shift -= 8 ) {
            file_ += static_cast< char >( value >> shift );
         }
      }
   }

   Vek::String file_;
   U32 frames_ = 0;
   U32 clientNext_ = 1;
   U32 serverNext_ = 1;
};

class AttributeLogDissector : public testing::Test {
protected:
   void SetUp() override {
      const Result version =
         run( { .command = { "sh", "-c", "command -v tshark >/dev/null && tshark --version" } } );
      if ( version.out.find( "with Lua" ) == Vek::String::npos ) {
         GTEST_SKIP() << "tshark is not installed, or has no Lua";
      }
   }

   Vek::String tshark( const Capture& capture, std::vector< Vek::String > options ) {
      const Folder folder;
      options.insert( options.begin(),
                      { "tshark", "-n", "-X", "lua_script:tools/wireshark/attribute-log.lua", "-r",
                        folder.file( "capture.pcap", capture.file() ) } );
      const Result result = run( { .command = std::move( options ) } );
      EXPECT_EQ( result.status, 0 ) << result.err;
      return result.out;
   }

   // The lines of all messages.
   Vek::String lines( const Capture& capture, std::vector< Vek::String > options = {} ) {
      options.insert( options.end(),
                      { "-T", "fields", "-e", "attrlog.line", "-E", "aggregator=~" } );
      Vek::String text = tshark( capture, std::move( options ) );
      std::replace( text.begin(), text.end(), '~', '\n' );
      const auto blank = []( char a, char b ) { return a == '\n' && b == '\n'; };
      text.erase( std::unique( text.begin(), text.end(), blank ), text.end() );
      return text.starts_with( '\n' ) ? text.substr( 1 ) : text;
   }

   const Vek::String stream = contents( "examples/log/roots.vekl" );
   const Vek::String decoded = contents( "tests/tools/flowspecctl/decode-log.expected" );
};

TEST_F( AttributeLogDissector, SaysTheSameAsTheDecoder ) {
   for ( const std::size_t size : { 7U, 700U, 60000U } ) {
      Capture capture;
      capture.send( stream, size );
      EXPECT_EQ( lines( capture ), decoded ) << size;
      EXPECT_EQ( lines( capture, { "-2" } ), decoded ) << size << ", twice";
      EXPECT_EQ( lines( capture, { "-o", "attrlog.port:5000" } ), decoded ) << size << ", by port";
   }
}

TEST_F( AttributeLogDissector, KnowsTheDirectionsOfAConnectionApart ) {
   Capture capture;
   capture.send( stream.substr( 0, 6000 ), 6000 );
   capture.send( stream, 1000, false );
   capture.send( stream.substr( 6000 ), 1000 );
   const Vek::String both = lines( capture );
   EXPECT_EQ( std::count( both.begin(), both.end(), '\n' ),
              2 * std::count( decoded.begin(), decoded.end(), '\n' ) );
   const Vek::String server = lines( capture, { "-Y", "tcp.srcport==5000" } );
   EXPECT_EQ( server, decoded );
}

TEST_F( AttributeLogDissector, ShowsTheHeaderAndThePartsOfAValue ) {
   Capture capture;
   capture.send( stream, 60000 );
   const Vek::String tree = tshark( capture, { "-V", "-O", "attrlog" } );
   const auto part = [&]( const Vek::String& begin ) {
      const std::size_t at = tree.find( "\nAttribute Log, " + begin );
      return at == tree.npos ? "" : tree.substr( at + 1, tree.find( "\nAttribute", at + 1 ) - at );
   };
   EXPECT_TRUE( part( "preamble" )
                   .starts_with( "Attribute Log, preamble\n"
                                 "    Magic: VEKL\n"
                                 "    Version: 1\n"
                                 "    Digest of the types: 0x" ) )
      << part( "preamble" );
   const Vek::String line = "8 child Flowspec::VrfRuleConfig#3 259 rule Flowspec::RuleConfig#4 "
                            "5;ipv4;IFSET:=3,17;10.1.0.0/16;;58785798;83951696;93389243;@\n";
   EXPECT_EQ( part( "8 " ),
              "Attribute Log, " + line +
                 "    Length: 92\n"
                 "    Kind: child (3)\n"
                 "    Entity: 3\n"
                 "        Type: Flowspec::VrfRuleConfig\n"
                 "    Field: 259\n"
                 "        Name: rule\n"
                 "    Flags: 0x00\n"
                 "        .... ...0 = Removed: False\n"
                 "    Child: 4\n"
                 "    parameter: 5;ipv4;IFSET:=3,17;10.1.0.0/16;;58785798;83951696;93389243;@\n"
                 "        vrfId: 5\n"
                 "        addressFamily: ipv4\n"
                 "        destPrefix: 10.1.0.0/16\n"
                 "        srcPrefix: -\n"
                 "        matchOpVal: index 0, 0x03810006\n"
                 "        matchOpVal: index 1, 0x05010050\n"
                 "        matchOpVal: index 2, 0x059101bb\n"
                 "        interfaceSet: 3\n"
                 "        interfaceSet: 17\n"
                 "    Line: " +
                 line );
}

TEST_F( AttributeLogDissector, ACaptureThatBeginsLateShowsNumbers ) {
   Capture capture;
   Vek::log::Header header{ .length = 4,
                            .kind = Vek::log::MessageKind::attribute,
                            .entity = 18446744073709551615U,
                            .fieldId = 260,
                            .flags = 0 };
   Vek::String message( Vek::log::Header::size + 4, '\0' );
   Vek::LogWriter out( reinterpret_cast< U8* >( message.data() ) );
   writeHeader( out, header );
   capture.send( message + message, 60000 );
   EXPECT_EQ( lines( capture, { "-o", "attrlog.port:5000" } ),
              "1 attribute field 260\n2 attribute field 260\n" );
   EXPECT_EQ( tshark( capture, { "-o", "attrlog.port:5000", "-T", "fields", "-e", "attrlog.entity",
                                 "-e", "attrlog.field", "-e", "_ws.col.Info" } ),
              "18446744073709551615,18446744073709551615\t260,260\tattribute attribute \n" );
   EXPECT_EQ( lines( capture ), "" );
}

TEST_F( AttributeLogDissector, MarksWhatIsMalformed ) {
   Vek::String bad = stream;
   const std::size_t reason = bad.find( "out of entries" );
   bad[reason - 3] = 1;
   Capture capture;
   capture.send( bad, 60000 );
   const Vek::String all = lines( capture );
   EXPECT_NE( all.find( "\n105 attribute byte 0: a count of 65550 does not fit into what follows\n"
                        "106 attribute Flowspec::RuleStatus#18 262 coloredCounters " ),
              all.npos );
   EXPECT_EQ(
      tshark( capture, { "-T", "fields", "-e", "attrlog.malformed", "-e", "_ws.expert.message" } ),
      "1\tbyte 0: a count of 65550 does not fit into what follows\n" );
   Capture length;
   length.send( stream.substr( 0, 16 ) + Vek::String( 16, '\x7f' ), 60000 );
   EXPECT_EQ( tshark( length, { "-T", "fields", "-e", "_ws.expert.message" } ),
              "the payload is longer than 16777216\n" );
}

} // namespace
