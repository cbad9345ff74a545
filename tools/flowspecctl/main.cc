#include "Vek/Text.h"
#include "tools/flowspecctl/KeyCommand.h"
#include "tools/flowspecctl/VocabCommand.h"
#include "tools/lib/Diagnostics.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <new>
#include <system_error>

#include <unistd.h>

namespace {

using namespace Flowspec::Tools;

constexpr int allGood = 0;
constexpr int someBad = 1;
constexpr int badUsage = 2;

constexpr const char* program = "flowspecctl";
constexpr const char* version = "flowspecctl " FLOWSPECCTL_VERSION "\n";

Vek::String formNames( bool readableOnly ) {
   Vek::String names;
   for ( const FormInfo& form : forms() ) {
      if ( form.readable || !readableOnly ) {
         names += Vek::concat( std::string_view( names.empty() ? "" : ", " ), form.name );
      }
   }
   return names;
}

// An option whose text `read` turns into an optional; `expected` names what it takes.
template < typename Read, typename Take >
void addOption( CLI::App& command, const char* name, const char* type, const Vek::String& help,
                Read read, const Vek::String& expected, Take take ) {
   command
      .add_option_function< Vek::String >(
         name,
         [=]( const Vek::String& text ) {
            const auto value = read( text );
            if ( !value ) {
               throw CLI::ValidationError( name, Vek::concat( "'", text, "' is not ", expected ) );
            }
            take( *value );
         },
         help )
      ->type_name( type );
}

std::optional< Form > readableForm( std::string_view name ) {
   const auto form = formOf( name );
   return form && info( *form ).readable ? form : std::nullopt;
}

std::optional< std::vector< Form > > formList( std::string_view names ) {
   std::vector< Form > list;
   for ( bool more = true; more; ) {
      const std::size_t comma = names.find( ',' );
      const auto form = formOf( names.substr( 0, comma ) );
      if ( !form ) {
         return std::nullopt;
      }
      list.push_back( *form );
      more = comma != names.npos;
      names.remove_prefix( more ? comma + 1 : names.size() );
   }
   return list;
}

void addKeyCommand( CLI::App& app, KeyOptions& options ) {
   CLI::App& key = *app.add_subcommand(
      "key", "Read rule keys, one a line, check them and write them in other forms" );
   addOption( key, "--from", "FORM", "Form of the input, cli when not given", readableForm,
              "one of " + formNames( true ), [&]( Form form ) { options.from = form; } );
   addOption( key, "--to", "FORM,...",
              "Forms of the output, with tabs between them; that of the input when not given",
              formList, "a list of " + formNames( false ),
              [&]( const std::vector< Form >& list ) { options.to = list; } );
   key.add_flag( "--sort", options.sort, "Write the rules in the order of their keys" );
   key.add_flag( "--unique", options.unique, "Leave out rules that were there before" );
   key.add_flag( "--json", options.json, "Write an object with all forms for each line" );
   key.add_flag( "--table", options.table, "Write the forms, or cli, detail, words, as a table" );
   addOption( key, "--rd", "RD", "Distinguisher for rules that have none",
              Zorv::RouteDistinguisher::fromText, "a route distinguisher",
              [&]( Zorv::RouteDistinguisher rd ) { options.rd = rd; } );
   addOption(
      key, "--vrf", "NUMBER", "VRF for rules whose form has none",
      []( std::string_view text ) {
         return Vek::decimal( text, std::numeric_limits< U32 >::max() );
      },
      "a whole number from 0 to 4294967295",
      [&]( U64 vrfId ) { options.vrfId = static_cast< U32 >( vrfId ); } );
   addOption( key, "--family", "FAMILY",
              "Address family, ipv4 or ipv6, for rules whose form has none", Zorv::addressFamily,
              "an address family", [&]( Zorv::AddressFamily family ) { options.family = family; } );
   key.add_option( "FILE", options.files, "Files to read; standard input when there is none, or -" )
      ->type_name( "" );
   key.footer( "Exit status: 0 when all lines were good, 1 when one was not, 2 for wrong usage." );
}

int misused( std::string_view message ) {
   reportFile( program, message );
   const Vek::String hint = Vek::concat( "Try '", std::string_view( program ), " --help'.\n" );
   [[maybe_unused]] const ssize_t written = ::write( STDERR_FILENO, hint.data(), hint.size() );
   return badUsage;
}

int run( int argc, char** argv, Output& output ) {
   CLI::App app( "Reads, checks, converts and prints BGP flow-specification rules.", program );
   app.require_subcommand( 1 );
   app.set_version_flag( "--version", version );
   KeyOptions keyOptions;
   addKeyCommand( app, keyOptions );
   CLI::App& vocab = *app.add_subcommand( "vocab", "Show the component types and the DSCP names" );
   bool json = false;
   vocab.add_flag( "--json", json, "As one JSON object" );
   try {
      app.parse( argc, argv );
   } catch ( const CLI::CallForHelp& ) {
      output.text() += app.help();
      return allGood;
   } catch ( const CLI::CallForVersion& ) {
      output.text() += version;
      return allGood;
   } catch ( const CLI::ParseError& error ) {
      return misused( error.what() );
   }
   if ( vocab.parsed() ) {
      runVocab( json, output );
      return allGood;
   }
   if ( const Reason reason = contradiction( keyOptions ) ) {
      return misused( *reason );
   }
   return runKey( keyOptions, output ) ? allGood : someBad;
}

} // namespace

int main( int argc, char** argv ) {
   try {
      Output output( STDOUT_FILENO, "standard output" );
      const int status = run( argc, argv, output );
      output.close();
      return status;
   } catch ( const std::bad_alloc& ) {
      reportFile( program, "out of memory" );
   } catch ( const std::exception& error ) {
      reportFile( program, error.what() );
   }
   return someBad;
}
