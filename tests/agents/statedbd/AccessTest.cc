#include "agents/statedbd/Access.h"
#include "tests/support/Folder.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agents {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::Folder;

class AccessFile : public testing::Test {
protected:
   Access read( const Vek::String& text ) {
      faults.clear();
      return Access::read( folder.file( "access", text ), faults );
   }

   static Peer user( uid_t number ) { return { .known = true, .user = number, .groups = { 1 } }; }
   static Peer group( gid_t number ) {
      return { .known = true, .user = 1, .groups = { 7, number } };
   }

   Folder folder;
   std::vector< Vek::String > faults;
};

TEST_F( AccessFile, WithoutRulesEverybodyMayWrite ) {
   EXPECT_TRUE( Access().mayWrite( Peer(), "x" ) );
   const Access access = read( "\n# nothing = user 5\n\t \n" );
   EXPECT_THAT( faults, IsEmpty() );
   EXPECT_TRUE( access.mayWrite( Peer(), "nothing" ) );
}

TEST_F( AccessFile, NamesUsersAndGroups ) {
   const Access access = read( "a/b = user 5, group 9 ,user root\r\nc d=group root" );
   EXPECT_THAT( faults, IsEmpty() );
   EXPECT_TRUE( access.mayWrite( user( 5 ), "a/b" ) );
   EXPECT_TRUE( access.mayWrite( user( 0 ), "a/b" ) );
   EXPECT_TRUE( access.mayWrite( group( 9 ), "a/b" ) );
   EXPECT_FALSE( access.mayWrite( user( 9 ), "a/b" ) );
   EXPECT_FALSE( access.mayWrite( group( 5 ), "a/b" ) );
   EXPECT_FALSE( access.mayWrite( Peer(), "a/b" ) );
   EXPECT_TRUE( access.mayWrite( group( 0 ), "c d" ) );
   EXPECT_FALSE( access.mayWrite( user( 0 ), "c d" ) );
   EXPECT_TRUE( access.mayWrite( user( 9 ), "a/bc" ) );
}

TEST_F( AccessFile, TheFirstLineForARootDecides ) {
   const Access access =
      read( "a/x = user 1\na/* = user 2\na/y = user 3\nk=v = user 4\n* = user 5" );
   EXPECT_THAT( faults, IsEmpty() );
   EXPECT_TRUE( access.mayWrite( user( 1 ), "a/x" ) );
   EXPECT_FALSE( access.mayWrite( user( 2 ), "a/x" ) );
   EXPECT_TRUE( access.mayWrite( user( 2 ), "a/y" ) );
   EXPECT_FALSE( access.mayWrite( user( 3 ), "a/y" ) );
   EXPECT_TRUE( access.mayWrite( user( 4 ), "k=v" ) );
   EXPECT_TRUE( access.mayWrite( user( 5 ), "else" ) );
   EXPECT_FALSE( access.mayWrite( user( 4 ), "else" ) );
}

TEST_F( AccessFile, EachFaultIsNamedWithItsLine ) {
   read( "a\n= user 1\nb = \nc = user\nd = 5\ne = user 1, person 2\nf = user \x1B[mnobody-x\n"
         "g = group none-such\nh = user 4294967295\ni = user 1\nj = user 1,\n" );
   const Vek::String at = folder.path() + "/access:";
   EXPECT_THAT( faults,
                ElementsAre( at + "1: error: expected ROOT = user NAME, group NAME, ...",
                             at + "2: error: expected the name of a root before '='",
                             at + "3: error: expected 'user NAME' or 'group NAME' after '='",
                             at + "4: error: expected 'user NAME' or 'group NAME' after '='",
                             at + "5: error: expected 'user NAME' or 'group NAME' after '='",
                             at + "6: error: expected 'user NAME' or 'group NAME' after '='",
                             at + "7: error: there is no user '\\x1B[mnobody-x'",
                             at + "8: error: there is no group 'none-such'",
                             at + "9: error: there is no user '4294967295'",
                             at + "11: error: expected 'user NAME' or 'group NAME' after '='" ) );
}

TEST_F( AccessFile, SaysWhyItCannotBeRead ) {
   const Vek::String missing = folder.path() + "/missing";
   Access::read( missing, faults );
   EXPECT_THAT( faults, ElementsAre( missing + ": error: No such file or directory" ) );
   faults.clear();
   Access::read( folder.path(), faults );
   EXPECT_THAT( faults, ElementsAre( folder.path() + ": error: it is not a regular file" ) );
   faults.clear();
   const Vek::String fifo = folder.path() + "/fifo";
   ASSERT_EQ( ::mkfifo( fifo.c_str(), 0600 ), 0 );
   Access::read( fifo, faults );
   EXPECT_THAT( faults, ElementsAre( fifo + ": error: it is not a regular file" ) );
   read( Vek::String( ( 1U << 20 ) + 1, '\n' ) );
   EXPECT_THAT( faults, ElementsAre( folder.path() + "/access: error: it has more than 1 MiB" ) );
   read( Vek::String( 1U << 20, '\n' ) );
   EXPECT_THAT( faults, IsEmpty() );
}

TEST( PeerOfASocket, IsTheOneThatTheKernelNames ) {
   int ends[2];
   ASSERT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM, 0, ends ), 0 );
   const Peer peer = Peer::of( ends[0] );
   EXPECT_TRUE( peer.known );
   EXPECT_EQ( peer.user, ::getuid() );
   EXPECT_EQ( peer.process, ::getpid() );
   std::vector< gid_t > groups( static_cast< std::size_t >( ::getgroups( 0, nullptr ) ) );
   ::getgroups( static_cast< int >( groups.size() ), groups.data() );
   groups.push_back( ::getgid() );
   EXPECT_THAT( peer.groups, testing::UnorderedElementsAreArray( groups ) );
   ::close( ends[0] );
   ::close( ends[1] );
   const int tcp = ::socket( AF_INET, SOCK_STREAM, 0 );
   EXPECT_FALSE( Peer::of( tcp ).known );
   EXPECT_EQ( Peer::of( tcp ).text(), "TCP" );
   ::close( tcp );
   EXPECT_FALSE( Peer::of( -1 ).known );
}

} // namespace
} // namespace Agents
