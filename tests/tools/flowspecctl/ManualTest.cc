#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::contents;
using TestSupport::flowspecctl;
using TestSupport::Result;
using TestSupport::run;

constexpr const char* manual = "tools/flowspecctl/flowspecctl.1";

TEST( Manual, IsWellFormed ) {
   const Result result = run(
      { .command = { "sh", "-c",
                     "command -v groff >/dev/null || exit 100; groff -man -Tutf8 -ww -z \"$0\"",
                     manual } } );
   if ( result.status == 100 ) {
      GTEST_SKIP() << "groff is not installed";
   }
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

TEST( Manual, IsOfThisVersion ) {
   EXPECT_NE( contents( manual ).find( "\"flowspecctl 1.0.0\"" ), Vek::String::npos );
   EXPECT_EQ( flowspecctl( { "--version" } ).out, "flowspecctl 1.0.0\n" );
}

// Read from the help text, so that a new option must be described.
TEST( Manual, HasEveryOption ) {
   Vek::String text = contents( manual );
   for ( std::size_t at; ( at = text.find( '\\' ) ) != text.npos; ) {
      text.erase( at, 1 );
   }
   std::size_t options = 0;
   for ( const std::vector< Vek::String >& command :
         std::vector< std::vector< Vek::String > >{ { "key" },
                                                    { "check" },
                                                    { "convert" },
                                                    { "nlri" },
                                                    { "vocab" },
                                                    { "decode-log" },
                                                    { "dump" },
                                                    { "show", "rules" },
                                                    { "show", "status" },
                                                    { "show", "counters" },
                                                    { "show", "interfaces" },
                                                    { "show", "unsupported" },
                                                    { "show", "rule" },
                                                    { "refresh" },
                                                    { "enable" },
                                                    { "disable" },
                                                    { "interface-set" },
                                                    { "vrf-override" },
                                                    { "watch" },
                                                    { "types" } } ) {
      EXPECT_NE( text.find( "flowspecctl\n.B " + command.front() ), text.npos ) << command.front();
      std::vector< Vek::String > arguments = command;
      arguments.emplace_back( "--help" );
      const Vek::String help = flowspecctl( arguments ).out;
      for ( std::size_t at = 0; ( at = help.find( "\n  --", at ) ) != help.npos; ++at ) {
         const Vek::String option = help.substr( at + 3, help.find( ' ', at + 3 ) - at - 3 );
         EXPECT_NE( text.find( option ), text.npos ) << option;
         ++options;
      }
   }
   EXPECT_EQ( options, 85U );
}

// What bash offers for a command line whose last word is being typed.
Vek::String completed( std::vector< Vek::String > words ) {
   words.insert( words.begin(), { "bash", "-c",
                                  "source tools/flowspecctl/flowspecctl.bash\n"
                                  "compopt() { :; }\n"
                                  "COMP_WORDS=( \"$@\" ) COMP_CWORD=$(( $# - 1 ))\n"
                                  "_flowspecctl\n"
                                  "echo \"${COMPREPLY[*]}\"",
                                  "bash", "flowspecctl" } );
   const Result result = run( { .command = std::move( words ) } );
   EXPECT_EQ( result.err, "" );
   return result.out;
}

TEST( Completion, OffersCommandsOptionsFormsAndFiles ) {
   EXPECT_EQ(
      completed( { "" } ),
      "key check convert nlri vocab decode-log dump show refresh enable disable interface-set "
      "vrf-override watch types --help --version\n" );
   EXPECT_EQ( completed( { "key" } ), "key\n" );
   EXPECT_EQ( completed( { "key", "--" } ),
              "--from --to --sort --unique --json --table --rd --vrf --family --help\n" );
   EXPECT_EQ( completed( { "key", "--from", "" } ),
              "cli cli-len rd rd-len value diag json nlri nlri-vpn\n" );
   EXPECT_EQ( completed( { "key", "--to", "rd" } ), "rd rd-len rd-detail\n" );
   EXPECT_EQ( completed( { "key", "--to", "cli,d" } ), "cli,diag cli,detail\n" );
   EXPECT_EQ( completed( { "key", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "key", "--rd", "" } ), "\n" );
   EXPECT_EQ( completed( { "key", "--sort", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "check", "--" } ), "--from --json --family --help\n" );
   EXPECT_EQ( completed( { "check", "--from", "r" } ), "rd rd-len\n" );
   EXPECT_EQ( completed( { "check", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "convert", "--" } ), "--to --vrf --family --help\n" );
   EXPECT_EQ( completed( { "convert", "--to", "" } ),
              "cli cli-len value diag json detail words nlri\n" );
   EXPECT_EQ( completed( { "convert", "--vrf", "" } ), "\n" );
   EXPECT_EQ( completed( { "convert", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "nlri", "--" } ),
              "--afi --safi --json --encode --shortest --rd --help\n" );
   EXPECT_EQ( completed( { "nlri", "--afi", "" } ), "1 2\n" );
   EXPECT_EQ( completed( { "nlri", "--safi", "" } ), "133 134\n" );
   EXPECT_EQ( completed( { "nlri", "--rd", "" } ), "\n" );
   EXPECT_EQ( completed( { "nlri", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "vocab", "-" } ), "--json --help\n" );
   EXPECT_EQ( completed( { "dump", "--" } ), "--socket --json --help\n" );
   EXPECT_EQ( completed( { "decode-log", "--" } ), "--dump --json --help\n" );
   EXPECT_EQ( completed( { "decode-log", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "types", "-" } ), "--json --help\n" );
   EXPECT_EQ( completed( { "show", "" } ),
              "rules status counters interfaces unsupported roots rule --help\n" );
   EXPECT_EQ( completed( { "show", "rule", "--from", "cl" } ), "cli cli-len\n" );
   EXPECT_EQ( completed( { "show", "counters", "--ra" } ), "--rate\n" );
   EXPECT_EQ( completed( { "show", "status", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "show", "status", "--status", "programmed,res" } ),
              "programmed,resourceExhausted\n" );
   EXPECT_EQ( completed( { "enable", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "watch", "--i" } ), "--initial\n" );
}

} // namespace
