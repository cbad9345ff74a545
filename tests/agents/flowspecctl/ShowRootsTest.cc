#include "tests/agents/flowspecctl/StagedSystem.h"
#include "tests/support/Folder.h"

#include <nlohmann/json.hpp>

#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace Flowspec {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Result;
using TestSupport::until;
using Vek::log::Mount;

class ShowRoots : public TestSupport::StagedSystem {};

TEST_F( ShowRoots, TellsTypesReadersAndWhoWrites ) {
   const auto cli = cliConfigFactory( "shown/cli" );
   Mount writer( database.endpoint(), "operator", *cli );
   Vek::Directory replica;
   Mount reader( database.endpoint(), "test", "shown/cli", replica );
   EXPECT_TRUE( until( { &writer, &reader }, [&] { return reader.stands(); } ) );
   const Result result = ctlAsItIs( { "show", "roots", "--json" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   std::istringstream lines( result.out );
   Vek::String line;
   bool isThere = false;
   while ( std::getline( lines, line ) ) {
      if ( line.find( "shown/cli" ) != line.npos ) {
         isThere = true;
         EXPECT_EQ( line, Vek::concat( R"({"root":"shown/cli","type":"Flowspec::CliConfig",)",
                                       R"("readers":1,"writer":"operator","writtenBy":"user )",
                                       ::geteuid(), ", process ", ::getpid(), "\"}" ) );
      }
   }
   EXPECT_TRUE( isThere );
   const Result table = ctlAsItIs( { "show", "roots" } );
   EXPECT_EQ( table.status, 0 );
   EXPECT_THAT( table.out, StartsWith( "root                      type" ) );
   EXPECT_THAT( table.out, HasSubstr( "shown/cli                 Flowspec::CliConfig             1"
                                      "  operator      user " ) );
}

TEST_F( ShowRoots, SaysThatNobodyListens ) {
   const Result result = TestSupport::flowspecctl( { "show", "roots", "--socket", "/nowhere/s" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.out, "" );
   EXPECT_EQ( result.err,
              "flowspecctl: error: cannot connect to /nowhere/s: No such file or directory\n" );
}

/// What is in the place of a state database: says `reply` to who connects, and closes.
class Impostor {
public:
   explicit Impostor( Vek::String reply ) : listener_( endpoint().listen() ) {
      thread_ = std::thread( [this, reply = std::move( reply )] {
         int fd = -1;
         for ( int i = 0; i < 1000 && fd < 0; ++i ) {
            fd = ::accept( listener_, nullptr, nullptr );
            ::usleep( 10'000 );
         }
         EXPECT_EQ( ::send( fd, reply.data(), reply.size(), MSG_NOSIGNAL ),
                    static_cast< ssize_t >( reply.size() ) );
         ::close( fd );
      } );
   }
   Impostor( const Impostor& ) = delete;
   Impostor& operator=( const Impostor& ) = delete;
   ~Impostor() {
      thread_.join();
      ::close( listener_ );
   }

   Vek::log::Endpoint endpoint() const { return Vek::log::Endpoint( folder_.path() + "/s" ); }

private:
   TestSupport::Folder folder_;
   int listener_;
   std::thread thread_;
};

TEST_F( ShowRoots, DoesNotTrustTheAnswer ) {
   struct Case {
      const char* reply;
      const char* error;
   };
   for ( const auto& [reply, error] :
         { Case{ "refused too many\033[2J\n", "too many\\x1B[2J" },
           Case{ "", "the answer is not that of a state database" },
           Case{ "hello\n", "the answer is not that of a state database" },
           Case{ "ok\na\tb\t1\tc\n", "the answer is not that of a state database" } } ) {
      const Impostor impostor( reply );
      const Result result =
         TestSupport::flowspecctl( { "show", "roots", "--socket", impostor.endpoint().text() } );
      EXPECT_EQ( result.status, 1 );
      EXPECT_EQ( result.out, "" );
      EXPECT_EQ( result.err, Vek::concat( "flowspecctl: error: ", error, '\n' ) );
   }
   const Impostor impostor( "ok\na\nb\t-\t0\t-\t-\n" );
   EXPECT_EQ(
      TestSupport::flowspecctl( { "show", "roots", "--socket", impostor.endpoint().text() } )
         .status,
      1 );
   const Impostor free( "ok\nb\t-\t0\t-\t-\n" );
   EXPECT_EQ(
      TestSupport::flowspecctl( { "show", "roots", "--json", "--socket", free.endpoint().text() } )
         .out,
      R"({"root":"b","type":null,"readers":0,"writer":null,"writtenBy":null})"
      "\n" );
}

} // namespace
} // namespace Flowspec
