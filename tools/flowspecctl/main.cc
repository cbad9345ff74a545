#include "tools/flowspecctl/CheckCommand.h"
#include "tools/flowspecctl/ConvertCommand.h"
#include "tools/flowspecctl/DecodeLogCommand.h"
#include "tools/flowspecctl/DumpCommand.h"
#include "tools/flowspecctl/KeyCommand.h"
#include "tools/flowspecctl/NlriCommand.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/SystemCommands.h"
#include "tools/flowspecctl/TypesCommand.h"
#include "tools/flowspecctl/VocabCommand.h"
#include "tools/lib/Diagnostics.h"

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

constexpr const char* exitStatus =
   "Exit status: 0 when all lines were good, 1 when one was not, 2 for wrong usage.";

constexpr const char* vrfHelp = "VRF for rules whose form has none";
constexpr const char* familyHelp = "for rules whose form has none";

void addFiles( CLI::App& command, std::vector< Vek::String >& files ) {
   command.add_option( "FILE", files, "Files to read; standard input when there is none, or -" )
      ->type_name( "" );
   command.footer( exitStatus );
}

void addKeyCommand( CLI::App& app, KeyOptions& options ) {
   CLI::App& key = *app.add_subcommand(
      "key", "Read rule keys, one a line, check them and write them in other forms" );
   addFrom( key, options.from );
   addOption( key, "--to", "FORM,...",
              "Forms of the output, with tabs between them; that of the input when not given",
              listOf( formOf ), "a list of " + formNames( false ),
              [&]( const std::vector< Form >& list ) { options.to = list; } );
   key.add_flag( "--sort", options.sort, "Write the rules in the order of their keys" );
   key.add_flag( "--unique", options.unique, "Leave out rules that were there before" );
   key.add_flag( "--json", options.json, "Write an object with all forms for each line" );
   key.add_flag( "--table", options.table, "Write the forms, or cli, detail, words, as a table" );
   addOption( key, "--rd", "RD", "Distinguisher for rules that have none",
              Zorv::RouteDistinguisher::fromText, "a route distinguisher",
              [&]( Zorv::RouteDistinguisher rd ) { options.rd = rd; } );
   addVrf( key, vrfHelp, options.vrfId );
   addFamily( key, familyHelp, options.family );
   addFiles( key, options.files );
}

CLI::App& addCheckCommand( CLI::App& app, CheckOptions& options ) {
   CLI::App& check = *app.add_subcommand(
      "check", "Tell whether packets can match a rule, and the protocols that it asks for" );
   addFrom( check, options.from );
   check.add_flag( "--json", options.json, "Write an object for each line" );
   addFamily( check, familyHelp, options.family );
   addFiles( check, options.files );
   return check;
}

CLI::App& addConvertCommand( CLI::App& app, ConvertOptions& options ) {
   CLI::App& convert = *app.add_subcommand(
      "convert", "Turn structured filters, a JSON object a line, into rule keys" );
   addOption(
      convert, "--to", "FORM", "Form of the output, cli when not given",
      []( std::string_view name ) {
         const auto form = formOf( name );
         return form && !info( *form ).hasRd ? form : std::nullopt;
      },
      "a form without a route distinguisher", [&]( Form form ) { options.to = form; } );
   addVrf( convert, vrfHelp, options.vrfId );
   addFamily( convert, familyHelp, options.family );
   addFiles( convert, options.files );
   return convert;
}

CLI::App& addNlriCommand( CLI::App& app, NlriOptions& options ) {
   CLI::App& nlri = *app.add_subcommand(
      "nlri", "Read the NLRI of rules, hexadecimal digits, one a line, and judge them" );
   const auto oneOf = []( U64 first ) {
      return [first]( std::string_view text ) {
         const auto number = Vek::decimal( text, first + 1 );
         return number && *number >= first ? number : std::nullopt;
      };
   };
   addOption( nlri, "--afi", "NUMBER", "Address family, 1 for IPv4 (when not given), 2 for IPv6",
              oneOf( 1 ), "1 or 2", [&]( U64 afi ) {
                 options.format.family = static_cast< Zorv::AddressFamily >( afi );
              } );
   addOption( nlri, "--safi", "NUMBER",
              "133 (when not given), or 134 for rules with a route distinguisher", oneOf( 133 ),
              "133 or 134", [&]( U64 safi ) { options.format.vpn = safi == 134; } );
   nlri.add_flag( "--json", options.json, "Write an object for each line, good or bad" );
   CLI::Option* const encode =
      nlri.add_flag( "--encode", options.encode, "Read JSON objects of keys and write their NLRI" );
   nlri
      .add_flag( "--shortest", options.shortest,
                 "Write values as short as they should be sent, not as the keys have them" )
      ->needs( encode );
   addOption( nlri, "--rd", "RD", "Distinguisher for rules that have none",
              Zorv::RouteDistinguisher::fromText, "a route distinguisher",
              [&]( Zorv::RouteDistinguisher rd ) { options.rd = rd; } )
      ->needs( encode );
   addFiles( nlri, options.files );
   return nlri;
}

CLI::App& addDecodeLogCommand( CLI::App& app, DecodeLogOptions& options ) {
   CLI::App& decode =
      *app.add_subcommand( "decode-log", "Print the messages of a captured attribute-log stream" );
   decode.add_flag( "--dump", options.dump, "Print the state that the stream leaves, too" );
   decode.add_flag( "--json", options.json, "Write an object for each message, or for each root" );
   decode
      .add_option( "FILE", options.file, "File to read; standard input when there is none, or -" )
      ->type_name( "" );
   decode.footer(
      "Exit status: 0 when the stream was whole, 1 when it was not, 2 for wrong usage." );
   return decode;
}

CLI::App& addDumpCommand( CLI::App& app, DumpOptions& options ) {
   CLI::App& dump =
      *app.add_subcommand( "dump", "Print the state of roots that a state database holds" );
   addSocket( dump, options.endpoint );
   dump.add_flag( "--json", options.json, "Write an object for each root" );
   dump.add_option( "ROOT", options.roots, "Names of roots, such as flowspec/config" )
      ->required()
      ->type_name( "" );
   dump.footer( "Exit status: 0 when all was printed, 1 when it was not, 2 for wrong usage." );
   return dump;
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
   CheckOptions checkOptions;
   const CLI::App& check = addCheckCommand( app, checkOptions );
   ConvertOptions convertOptions;
   const CLI::App& convert = addConvertCommand( app, convertOptions );
   NlriOptions nlriOptions;
   const CLI::App& nlri = addNlriCommand( app, nlriOptions );
   DecodeLogOptions decodeLogOptions;
   const CLI::App& decodeLog = addDecodeLogCommand( app, decodeLogOptions );
   DumpOptions dumpOptions;
   const CLI::App& dump = addDumpCommand( app, dumpOptions );
   SystemCommands system( app );
   CLI::App& types = *app.add_subcommand( "types", "Show the type registry, or one type of it" );
   Vek::String typeName;
   types.add_option( "TYPE", typeName, "Name of a type, such as Flowspec::RuleConfig" )
      ->type_name( "" );
   types.add_flag( "--json", json, "As one JSON object" );
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
   if ( const auto good = system.run( output ) ) {
      return *good ? allGood : someBad;
   }
   if ( vocab.parsed() ) {
      runVocab( json, output );
      return allGood;
   }
   if ( check.parsed() ) {
      const FormInfo& from = info( checkOptions.from );
      if ( checkOptions.family && from.hasInstance ) {
         return misused(
            Vek::concat( "--family is not for --from ", from.name, ": its rules have their own" ) );
      }
      return runCheck( checkOptions, output ) ? allGood : someBad;
   }
   if ( convert.parsed() ) {
      return runConvert( convertOptions, output ) ? allGood : someBad;
   }
   if ( nlri.parsed() ) {
      return runNlri( nlriOptions, output ) ? allGood : someBad;
   }
   if ( decodeLog.parsed() ) {
      return runDecodeLog( decodeLogOptions, output ) ? allGood : someBad;
   }
   if ( dump.parsed() ) {
      return runDump( dumpOptions, output ) ? allGood : someBad;
   }
   if ( types.parsed() ) {
      return runTypes( typeName, json, output ) ? allGood : someBad;
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
