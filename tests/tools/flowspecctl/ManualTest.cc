#include "tests/tools/flowspecctl/Manual.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using TestSupport::entries;
using TestSupport::flowspecctl;
using TestSupport::manualText;
using TestSupport::Result;
using TestSupport::run;
using TestSupport::Words;

constexpr const char* manual = "tools/flowspecctl/flowspecctl.1";

TEST( Manual, IsWellFormed ) { TestSupport::expectWellFormed( manual ); }

Vek::String helpOf( Words command ) {
   command.emplace_back( "--help" );
   return flowspecctl( command ).out;
}

// The commands in the help of the program or of a group of commands.
Words commandsOf( const Words& group ) {
   const Vek::String help = helpOf( group );
   const std::size_t list = help.find( "\nSubcommands:\n" );
   return list == help.npos ? Words() : entries( help.substr( list ) );
}

// Whether it does something without one of its members.
bool isCommand( const Vek::String& name ) {
   return helpOf( { name } ).find( " SUBCOMMAND\n" ) == Vek::String::npos;
}

// Every command with its group in front, as the program itself lists them.
std::vector< Words > allCommands() {
   std::vector< Words > all;
   for ( const Vek::String& name : commandsOf( {} ) ) {
      const Words members = commandsOf( { name } );
      for ( const Vek::String& member : members ) {
         all.push_back( { name, member } );
      }
      if ( isCommand( name ) ) {
         all.push_back( { name } );
      }
   }
   return all;
}

Words sorted( Words words ) {
   std::ranges::sort( words );
   return words;
}

Words split( const Vek::String& text ) {
   std::istringstream stream( text );
   return { std::istream_iterator< Vek::String >( stream ), {} };
}

bool has( const Vek::String& text, const Vek::String& part ) {
   return text.find( part ) != text.npos;
}

TEST( Manual, HasASynopsisOfEveryCommandAndOfNoOther ) {
   std::set< Words > synopses;
   std::istringstream text( manualText( manual ) );
   for ( Vek::String line; std::getline( text, line ); ) {
      if ( line != ".SY flowspecctl" ) {
         continue;
      }
      std::getline( text, line );
      const Words names = split( line.substr( 3 ) );
      if ( names != Words{ "show" } ) {
         synopses.insert( names );
         continue;
      }
      std::getline( text, line );
      for ( const Vek::String& member : split( line.substr( 4 ) ) ) {
         if ( member != "|" ) {
            synopses.insert( { "show", member } );
         }
      }
   }
   const std::vector< Words > commands = allCommands();
   std::set< Words > expected( commands.begin(), commands.end() );
   EXPECT_EQ( expected.size(), 33U );
   expected.insert( { "--help" } );
   EXPECT_EQ( synopses, expected );
}

TEST( Manual, DescribesEveryCommand ) {
   const Vek::String text = manualText( manual );
   const std::size_t begin = text.find( ".SH DESCRIPTION" );
   const Vek::String description = text.substr( begin, text.find( ".SH FORMS" ) - begin );
   for ( const Words& command : allCommands() ) {
      EXPECT_TRUE( has( description, "\n.B " + command.back() + '\n' ) ||
                   has( description, "\n.B flowspecctl " + command.back() + '\n' ) )
         << command.back();
   }
}

TEST( Manual, DescribesEveryOption ) {
   const Vek::String text = manualText( manual );
   for ( const Words& command : allCommands() ) {
      for ( const Vek::String& option : entries( helpOf( command ), "--" ) ) {
         EXPECT_TRUE( TestSupport::describesOption( text, option ) )
            << command.back() << ' ' << option;
      }
   }
}

// What bash offers for a command line whose last word is being typed.
Vek::String completed( Words words ) {
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

TEST( Completion, OffersEveryCommandAndOption ) {
   Words groups = commandsOf( {} );
   groups.insert( groups.end(), { "--help", "--version" } );
   EXPECT_EQ( sorted( split( completed( { "" } ) ) ), sorted( groups ) );
   for ( const Vek::String& group : commandsOf( {} ) ) {
      if ( Words members = commandsOf( { group } ); !members.empty() ) {
         members.emplace_back( "--help" );
         if ( isCommand( group ) ) {
            const Words options = entries( helpOf( { group } ), "--" );
            members.insert( members.end(), options.begin(), options.end() );
         }
         EXPECT_EQ( sorted( split( completed( { group, "" } ) ) ), sorted( members ) );
      }
   }
   for ( Words command : allCommands() ) {
      Words options = entries( helpOf( command ), "--" );
      options.emplace_back( "--help" );
      command.emplace_back( "--" );
      EXPECT_EQ( sorted( split( completed( command ) ) ), sorted( options ) )
         << command.front() << ' ' << command[1];
   }
}

TEST( Completion, OffersSocketsAndRoots ) {
   EXPECT_EQ( completed( { "show", "rules", "--socket", "/run/flowspec/st" } ),
              "/run/flowspec/statedb.sock\n" );
   EXPECT_EQ( completed( { "dump", "--socket", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "dump", "flowspec/c" } ),
              "flowspec/config flowspec/cliconfig flowspec/counter\n" );
   EXPECT_EQ( completed( { "show", "status", "--status-root", "flowspec/s" } ),
              "flowspec/status\n" );
}

TEST( Completion, OffersFormsNumbersAndFiles ) {
   EXPECT_EQ( completed( { "key" } ), "key\n" );
   EXPECT_EQ( completed( { "key", "--from", "" } ),
              "cli cli-len rd rd-len value diag json nlri nlri-vpn bird exabgp exabgp-json gobgp "
              "gobgp-json\n" );
   EXPECT_EQ( completed( { "key", "--to", "rd" } ), "rd rd-len rd-detail\n" );
   EXPECT_EQ( completed( { "key", "--to", "cli,d" } ), "cli,diag cli,detail\n" );
   EXPECT_EQ( completed( { "key", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "key", "--rd", "" } ), "\n" );
   EXPECT_EQ( completed( { "key", "--sort", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "check", "--from", "r" } ), "rd rd-len\n" );
   EXPECT_EQ( completed( { "check", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ(
      completed( { "convert", "--to", "" } ),
      "cli cli-len value diag json detail words nlri bird exabgp exabgp-json gobgp gobgp-json\n" );
   EXPECT_EQ( completed( { "convert", "--vrf", "" } ), "\n" );
   EXPECT_EQ( completed( { "convert", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "nlri", "--afi", "" } ), "1 2\n" );
   EXPECT_EQ( completed( { "nlri", "--safi", "" } ), "133 134\n" );
   EXPECT_EQ( completed( { "nlri", "--rd", "" } ), "\n" );
   EXPECT_EQ( completed( { "nlri", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "decode-log", "examples/R" } ), "examples/README.md\n" );
   EXPECT_EQ( completed( { "show", "rule", "--from", "cl" } ), "cli cli-len\n" );
   EXPECT_EQ( completed( { "show", "status", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "show", "status", "--status", "programmed,res" } ),
              "programmed,resourceExhausted\n" );
   EXPECT_EQ( completed( { "enable", "--family", "" } ), "ipv4 ipv6\n" );
   EXPECT_EQ( completed( { "refresh", "peer", "" } ), "\n" );
   EXPECT_EQ( completed( { "refresh", "peer", "transit", "" } ), "in out\n" );
}

} // namespace
