#include "tests/agents/system/System.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

// The reader and the writer of examples/attribute-log, which know docs/attribute-log.md alone, with
// the programs of this build.
namespace Flowspec {
namespace {

using Json = nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using TestSupport::contents;
using TestSupport::Database;
using TestSupport::Result;
using Vek::log::Endpoint;
using Vek::log::Mount;

const Vek::String folder = "examples/attribute-log";
const Vek::String cliConfig = "flowspec/cliconfig";

Result python( std::vector< Vek::String > arguments ) {
   arguments.insert( arguments.begin(), "python3" );
   return TestSupport::run(
      { .command = std::move( arguments ), .environment = { "PYTHONDONTWRITEBYTECODE=1" } } );
}

Result reader( const Endpoint& endpoint, const Vek::String& root ) {
   return python( { folder + "/reader.py", endpoint.text(), root } );
}

// What the reader has of a root.
Json readRoot( const Endpoint& endpoint, const Vek::String& root ) {
   const Result result = reader( endpoint, root );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   const Json roots = Json::parse( result.out );
   EXPECT_EQ( roots.size(), 1U );
   return roots.at( 0 );
}

Result writer( const Endpoint& endpoint, const std::vector< Vek::String >& interfaces ) {
   std::vector< Vek::String > arguments{ folder + "/writer.py", endpoint.text() };
   arguments.insert( arguments.end(), interfaces.begin(), interfaces.end() );
   return python( std::move( arguments ) );
}

// The writer with other types: `change` is Python that makes them from `types`.
Result writerWith( const Vek::String& change, const Endpoint& endpoint ) {
   return python( { "-c",
                    "import sys; sys.path.insert( 0, '" + folder +
                       "' ); import writer; types = writer.TYPES; writer.TYPES = " + change +
                       "; sys.exit( writer.main( sys.argv[1:] ) )",
                    endpoint.text(), "1" } );
}

TEST( AttributeLogExample, TheWriterReplacesWhatTheDatabaseHas ) {
   const Database database;
   const Endpoint endpoint = database.endpoint();
   // Until it listens.
   Vek::Directory directory;
   Mount mount( endpoint, "test", cliConfig, directory );
   ASSERT_TRUE( TestSupport::untilAllStand( { &mount } ) );
   const auto written = [&]( const std::vector< Vek::String >& interfaces ) {
      const Result result = writer( endpoint, interfaces );
      EXPECT_EQ( result.err, "" );
      EXPECT_EQ( result.status, 0 );
   };
   written( { "1:3,17", "2", "3:4" } );
   const Result dump =
      TestSupport::flowspecctl( { "dump", "--socket", endpoint.text(), cliConfig } );
   EXPECT_EQ( dump.status, 0 ) << dump.err;
   EXPECT_EQ( readRoot( endpoint, cliConfig ), Json::parse( R"({
      "type": "Flowspec::CliConfig", "parameters": ["flowspec/cliconfig"],
      "enabledIntf": [[1, [1, 3, ""]], [2, [2, 3, ""]], [3, [3, 3, ""]]],
      "counterUpdateRequestTime": 0.0,
      "intfInterfaceSetConfig": [[1, [1, [[true, 3], [true, 17]]]], [3, [3, [[true, 4]]]]],
      "sourceVrfOverride": [], "interfaceSetCountLimit": 2, "isConfigDriven": false })" ) );
   ASSERT_TRUE(
      TestSupport::until( { &mount }, [&] { return directory.entity( cliConfig ) != nullptr; } ) );
   const auto& copy = static_cast< const CliConfig& >( *directory.entity( cliConfig ) );
   ASSERT_TRUE( TestSupport::until( { &mount }, [&] { return copy.enabledIntf().size() == 3; } ) );
   IpVersion both;
   both.ipv4Is( true );
   both.ipv6Is( true );
   EXPECT_EQ( copy.enabledIntf( Zorv::IntfId( 2 ) ),
              InterfaceEnableConfig( Zorv::IntfId( 2 ), both, "" ) );
   written( { "2" } );
   ASSERT_TRUE( TestSupport::until( { &mount }, [&] { return copy.enabledIntf().size() == 1; } ) );
   ASSERT_TRUE(
      TestSupport::until( { &mount }, [&] { return copy.intfInterfaceSetConfig().size() == 0; } ) );
   EXPECT_EQ( readRoot( endpoint, cliConfig )["enabledIntf"],
              Json::parse( R"([[2, [2, 3, ""]]])" ) );
}

TEST( AttributeLogExample, AWriterOfOtherTypesIsRefused ) {
   Database database;
   const Endpoint endpoint = database.endpoint();
   Vek::Directory directory;
   Mount mount( endpoint, "test", cliConfig, directory );
   ASSERT_TRUE( TestSupport::untilAllStand( { &mount } ) );
   const std::vector< std::pair< Vek::String, Vek::String > > cases = {
      { "types.replace( b'Limit attribute U32', b'Limit attribute U64' )",
        "message 1 (types): Flowspec::CliConfig is different: '262 interfaceSetCountLimit "
        "attribute "
        "U64' at the peer, '262 interfaceSetCountLimit attribute U32' in this process" },
      { "types.replace( b'Vek::Duration value ()\\n', b'' )",
        "message 1 (types): the peer tells of Flowspec::CliConfig, but not of Vek::Duration, which "
        "is in it" },
      { "b''", "message 2 (root): the type Flowspec::CliConfig was not told" },
      { "b'a\\x1b[2J value ()\\n' + types",
        "message 1 (types): the types do not ascend: Flowspec::CliConfig after a\\x1B[2J" },
      { "types[:-1]",
        "message 1 (types): the text of the types does not end with the end of a line" } };
   for ( const auto& [change, reason] : cases ) {
      EXPECT_EQ( writerWith( change, endpoint ).status, 1 ) << change;
      EXPECT_TRUE( TestSupport::until( { &mount },
                                       [&, &words = reason] {
                                          return database.process().errors().find( words ) !=
                                                 Vek::String::npos;
                                       } ) )
         << database.process().errors();
   }
   EXPECT_TRUE( directory.names().empty() );
   EXPECT_EQ( writerWith( "types", endpoint ).status, 0 );
   // Those that the root does not need are the writer's own affair.
   EXPECT_EQ( writerWith( "types + b'x value ()\\n'", endpoint ).status, 0 );
}

TEST( AttributeLogExample, TheReaderUnderstandsAllThatTheDaemonsWrite ) {
   TestSupport::System system( "examples/system/rules.jsonl" );
   system.startConfigd();
   system.startProgramd( { "--packets", "examples/system/packets.pcap" } );
   ASSERT_TRUE( system.until( [&] { return system.reader().isComplete(); } ) );
   const auto words = []( const FlowspecKey& key ) {
      Json all = Json::object();
      for ( const auto& [index, word] : key.matchOpVal() ) {
         char hex[9];
         std::snprintf( hex, sizeof hex, "%08x", word.storage() );
         all[std::to_string( index.value() )] = hex;
      }
      return all;
   };
   const Json config = readRoot( system.endpoint(), "flowspec/config" )["vrfRuleConfig"].at( 0 );
   const auto vrf = system.reader().config().vrfRuleConfig( 0 );
   EXPECT_EQ( config["parameters"], Json::array( { 0 } ) );
   ASSERT_EQ( config["rule"].size(), vrf->rule().size() );
   EXPECT_EQ( config["infeasibleRule"].size(), vrf->infeasibleRule().size() );
   std::size_t at = 0;
   for ( const auto& rule : vrf->rule() ) {
      const Json& read = config["rule"][at++];
      EXPECT_EQ( read["ruleId"], rule->ruleId() );
      EXPECT_EQ( read["parameters"][0]["words"], words( rule->ruleKey() ) );
      EXPECT_EQ( read["matchSet"].size(), rule->matchSet().size() );
   }
   const Json status = readRoot( system.endpoint(), "flowspec/status" )["vrfRuleStatus"].at( 0 );
   const auto statuses = system.reader().status().vrfRuleStatus( 0 );
   ASSERT_EQ( status["ruleStatus"].size(), statuses->ruleStatus().size() );
   at = 0;
   for ( const auto& rule : statuses->ruleStatus() ) {
      const Json& read = status["ruleStatus"][at++];
      EXPECT_EQ( read["statusCode"], static_cast< U8 >( rule->statusCode() ) );
      EXPECT_EQ( read["errorReason"], rule->errorReason() );
   }
   readRoot( system.endpoint(), "flowspec/counter" );
}

// A database that tells the reader what a test wants.
class Told : public testing::Test {
protected:
   ~Told() override { ::close( listener ); }

   Result reads( const Vek::String& bytes ) const {
      std::thread server( [&] {
         pollfd polled{ .fd = listener, .events = POLLIN, .revents = 0 };
         if ( ::poll( &polled, 1, 30000 ) == 1 ) {
            const int fd = ::accept( listener, nullptr, nullptr );
            EXPECT_EQ( ::send( fd, bytes.data(), bytes.size(), MSG_NOSIGNAL ),
                       static_cast< ssize_t >( bytes.size() ) );
            ::shutdown( fd, SHUT_WR );
            char byte = 0;
            while ( ::read( fd, &byte, 1 ) == 1 ) {
            }
            ::close( fd );
         }
      } );
      const Result result = reader( endpoint, "x" );
      server.join();
      return result;
   }

   const TestSupport::Folder temporary;
   const Endpoint endpoint{ temporary.path() + "/s" };
   const int listener = endpoint.listen();
   const Vek::String log = contents( "examples/log/roots.vekl" );
};

TEST_F( Told, TheReaderUnderstandsARootOfEveryType ) {
   const Result result = reads( "ok\n" + log );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   Vek::Directory directory;
   Vek::log::Receiver receiver( directory );
   std::span< const U8 > bytes( reinterpret_cast< const U8* >( log.data() ), log.size() );
   while ( !receiver.synchronised() ) {
      receiver.receive( bytes.first( 1 ) );
      bytes = bytes.subspan( 1 );
   }
   std::vector< Vek::String > names;
   for ( const Json& root : Json::parse( result.out ) ) {
      const Vek::String name = root["parameters"][0];
      names.push_back( name );
      EXPECT_EQ( root["type"], directory.entity( name )->typeInfo().name );
   }
   std::ranges::sort( names );
   EXPECT_EQ( names, directory.names() );
}

TEST_F( Told, TheReaderRefusesWhatItCannotTrust ) {
   const auto with = [&]( std::size_t at, char byte ) {
      Vek::String bytes = log;
      bytes[at] = byte;
      return reads( "ok\n" + bytes ).err;
   };
   EXPECT_EQ( with( 0, 'X' ), "reader.py: this is not version 1 of the attribute log\n" );
   EXPECT_EQ( with( 5, 2 ), "reader.py: this is not version 1 of the attribute log\n" );
   EXPECT_EQ( with( 7, 1 ), "reader.py: this is not version 1 of the attribute log\n" );
   EXPECT_EQ( with( 15, '\0' ), "reader.py: the types do not have the digest that was told\n" );
   EXPECT_EQ( with( 40, '\0' ), "reader.py: the types do not have the digest that was told\n" );
   EXPECT_EQ( with( 20, 2 ), "reader.py: the first message does not tell the types\n" );
   EXPECT_EQ( reads( "refused for now\n" ).err, "reader.py: refused for now\n" );
   EXPECT_EQ( reads( "ok\n" + log.substr( 0, log.size() / 2 ) ).err,
              "reader.py: the state database closed the connection\n" );
   EXPECT_EQ( reads( "" ).err, "reader.py: the state database closed the connection\n" );
}

} // namespace
} // namespace Flowspec
