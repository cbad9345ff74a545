#include "Vek/text/Text.h"
#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/support/Folder.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gmock/gmock.h>

namespace TestSupport {
namespace {

// The first block of shell on a page.
Vek::String firstBlock( const char* page ) {
   std::ostringstream text;
   text << std::ifstream( page ).rdbuf();
   const Vek::String whole = text.str();
   const std::size_t begin = whole.find( "```sh\n" ) + 6;
   return whole.substr( begin, whole.find( "```\n", begin ) - begin );
}

// The page's recipe, as it is, on an empty machine: folders, processes and network of its own.
TEST( NftRecipe, DropsAnAttack ) {
   PacketWire wire;
   if ( !wire.missing().empty() ) {
      GTEST_SKIP() << wire.missing();
   }
   wire.space().run( "ip link add eth0 type veth peer name other && ip link set eth0 up" );
   const Vek::String recipe = firstBlock( "docs/nftables.md" );
   EXPECT_LE( std::ranges::count( recipe, '\n' ), 10 );
   const Folder folder;
   const std::filesystem::path programs[] = { PROGRAMD, FLOWSPECCTL };
   const Vek::String machine = folder.file(
      "machine", Vek::concat( "set -e\nmount -t tmpfs none /var/lib\nmount -t tmpfs none /run\n"
                              "mount -t sysfs none /sys\nmkdir -p /var/lib/flowspec /run/flowspec\n"
                              "cd /var/lib/flowspec\nexport PATH=",
                              programs[0].parent_path().string(), ":",
                              programs[1].parent_path().string(), ":$PATH\n", recipe ) );
   const Vek::String output = wire.space().output(
      "unshare --mount --pid --fork --kill-child --mount-proc bash " + machine + " 2>&1" );
   EXPECT_THAT( output, testing::HasSubstr( "192.0.2.1/32" ) );
   EXPECT_THAT( output, testing::HasSubstr( "elements = { \"eth0\" : goto vrf0 }" ) );
   EXPECT_THAT( output, testing::ContainsRegex( "counter name \"r[0-9a-f]*\" drop" ) );
}

} // namespace
} // namespace TestSupport
