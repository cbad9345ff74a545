#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Result;

// `command` is the one whose help is named, with a blank before it.
void expectMisuse( std::vector< Vek::String > arguments, const Vek::String& message,
                   const Vek::String& command = "" ) {
   const Result result = flowspecctl( std::move( arguments ), "*;*;\n" );
   EXPECT_EQ( result.status, 2 );
   EXPECT_EQ( result.out, "" );
   EXPECT_EQ( result.err,
              "flowspecctl: error: " + message + "\nTry 'flowspecctl" + command + " --help'.\n" );
}

TEST( Usage, Version ) {
   const Result result = flowspecctl( { "--version" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.out, "flowspecctl " FLOWSPEC_VERSION "\n" );
   EXPECT_EQ( result.err, "" );
}

TEST( Usage, HelpNamesEveryCommandAndOption ) {
   const auto help = [&]( std::vector< Vek::String > arguments ) {
      const Result result = flowspecctl( std::move( arguments ) );
      EXPECT_EQ( result.status, 0 );
      EXPECT_EQ( result.err, "" );
      return result.out;
   };
   for ( const char* const text : { "Usage: flowspecctl", "--version", "key", "check", "convert",
                                    "nlri", "vocab", "decode-log", "dump", "types" } ) {
      EXPECT_NE( help( { "--help" } ).find( text ), Vek::String::npos ) << text;
   }
   for ( const char* const text :
         { "Usage: flowspecctl key [OPTIONS] [FILE...]", "--from FORM", "--to FORM,...", "--sort",
           "--unique", "--json", "--table", "--rd RD", "--vrf NUMBER", "--family FAMILY",
           "Exit status: 0 when all lines were good, 1 when one was not, 2 for wrong usage." } ) {
      EXPECT_NE( help( { "key", "--help" } ).find( text ), Vek::String::npos ) << text;
   }
   for ( const char* const text :
         { "Usage: flowspecctl decode-log [OPTIONS] [FILE]", "--dump", "--json",
           "Exit status: 0 when the stream was whole, 1 when it was not, 2 for wrong usage." } ) {
      EXPECT_NE( help( { "decode-log", "--help" } ).find( text ), Vek::String::npos ) << text;
   }
   for ( const char* const text :
         { "Usage: flowspecctl dump [OPTIONS] ROOT...", "--socket ENDPOINT", "--json",
           "Exit status: 0 when all was printed, 1 when it was not, 2 for wrong usage." } ) {
      EXPECT_NE( help( { "dump", "--help" } ).find( text ), Vek::String::npos ) << text;
   }
   EXPECT_NE( help( { "vocab", "-h" } ).find( "--json" ), Vek::String::npos );
}

TEST( Usage, CommandsAndOptionsMustBeKnown ) {
   expectMisuse( {}, "A subcommand is required" );
   expectMisuse( { "--json" }, "A subcommand is required" );
   expectMisuse( { "no-such" }, "unknown command 'no-such'" );
   expectMisuse( { "ky" }, "unknown command 'ky', did you mean 'key'?" );
   expectMisuse( { "vocabulary" }, "unknown command 'vocabulary'" );
   expectMisuse( { "wach", "--json" }, "unknown command 'wach', did you mean 'watch'?" );
   expectMisuse( { "show", "ruls" }, "unknown command 'show ruls', did you mean 'show rules'?" );
   expectMisuse( { "show", "everything" }, "unknown command 'show everything'" );
   expectMisuse( { "show" }, "A subcommand is required", " show" );
   expectMisuse( { Vek::String( 100000, 'k' ) }, "unknown command '" + Vek::String( 583, 'k' ) +
                                                    " ... (99118 bytes) ... " +
                                                    Vek::String( 299, 'k' ) + "'" );
   expectMisuse( { "key", "--quiet" }, "The following argument was not expected: --quiet", " key" );
   expectMisuse( { "key", "--from" }, "--from: 1 required FORM missing", " key" );
   expectMisuse( { "vocab", "file" }, "The following argument was not expected: file", " vocab" );
}

TEST( Usage, FormsMustBeKnown ) {
   const Vek::String readable = "cli, cli-len, rd, rd-len, value, diag, json";
   const Vek::String nlri = ", nlri, nlri-vpn, bird, exabgp, exabgp-json, gobgp, gobgp-json";
   for ( const char* const form : { "detail", "rd-detail", "words", "", "CLI", "cli,value" } ) {
      expectMisuse( { "key", "--from", form },
                    Vek::String( "--from: '" ) + form + "' is not one of " + readable + nlri,
                    " key" );
   }
   for ( const char* const list : { "text", "cli,", ",cli", "cli,,value", "cli value" } ) {
      expectMisuse( { "key", "--to", list },
                    Vek::String( "--to: '" ) + list + "' is not a list of " + readable +
                       ", detail, rd-detail, words" + nlri,
                    " key" );
   }
}

TEST( Usage, ValuesOfOptionsAreChecked ) {
   expectMisuse( { "key", "--rd", "1" }, "--rd: '1' is not a route distinguisher", " key" );
   for ( const char* const number : { "-1", "4294967296", "x", "0x10", "01" } ) {
      expectMisuse( { "key", "--vrf", number },
                    Vek::String( "--vrf: '" ) + number +
                       "' is not a whole number from 0 to 4294967295",
                    " key" );
   }
   expectMisuse( { "key", "--family", "IPv4" }, "--family: 'IPv4' is not an address family",
                 " key" );
}

TEST( Usage, OptionsMustNotContradictEachOther ) {
   const Vek::String json = "--json writes all forms: it goes with neither --to nor --table";
   expectMisuse( { "key", "--json", "--to", "cli" }, json, " key" );
   expectMisuse( { "key", "--json", "--table" }, json, " key" );
   for ( const char* const form : { "rd", "rd-len", "rd-detail" } ) {
      expectMisuse( { "key", "--to", form },
                    Vek::String( "--to " ) + form +
                       " needs a route distinguisher: give --rd, or rules with one",
                    " key" );
   }
   for ( const char* const form : { "rd", "rd-len" } ) {
      expectMisuse( { "key", "--from", form, "--rd", "1:1" },
                    Vek::String( "--rd is not for --from " ) + form + ": its rules have their own",
                    " key" );
   }
   for ( const char* const form : { "value", "diag", "json" } ) {
      const Vek::String message = Vek::String( "--vrf and --family are not for --from " ) + form +
                                  ": its rules have their own";
      expectMisuse( { "key", "--from", form, "--vrf", "1" }, message, " key" );
      expectMisuse( { "key", "--from", form, "--family", "ipv4" }, message, " key" );
   }
}

// Nothing is read or written when the command is wrong.
TEST( Usage, FilesAreNotTouchedByWrongUsage ) {
   expectMisuse( { "key", "--to", "rd", "/nonexistent" },
                 "--to rd needs a route distinguisher: give --rd, or rules with one", " key" );
}

} // namespace
