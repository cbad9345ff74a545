#include "Vek/text/Text.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/system/StateDiff.h"
#include "tools/state/LogFile.h"
#include "tools/state/StateRoots.h"

#include <map>
#include <optional>

namespace Tools {

namespace {

struct DiffOptions {
   Vek::String endpoint = defaultEndpoint;
   bool json = false;
   Vek::String first;
   Vek::String second;
};

// A path is told from the name of a root by how it begins, as in the shell.
bool isFile( const Vek::String& name ) {
   return name == "-" || name.starts_with( '/' ) || name.starts_with( "./" ) ||
          name.starts_with( "../" ) || name.ends_with( ".log" );
}

using Root = Vek::Ptr< Vek::NamedEntity >;

// One of the two that are compared: the roots of a file, or one of the state database.
struct Side {
   const Vek::String& name;
   Vek::Directory directory{};
   std::optional< StateRoots > mounted{};
   std::map< Vek::String, Root > roots{};
};

void readFile( Side& side ) {
   Vek::log::Receiver receiver( side.directory );
   if ( const auto reason = LogFile( receiver )
                               .read(
                                  side.name, [] {}, [] {} ) ) {
      throw std::runtime_error( side.name + ": " + *reason );
   }
   for ( const Vek::String& root : side.directory.names() ) {
      side.roots[root] = side.directory.entity( root );
   }
}

void readRoot( Side& side, const Vek::String& endpoint ) {
   StateRoots& mounted = side.mounted.emplace( Vek::log::Endpoint( endpoint ) );
   mounted.read( side.name );
   mounted.settle();
   mounted.mustStand();
   const Root root = mounted.find( side.name );
   if ( !root ) {
      throw std::runtime_error( side.name + ": " + StateRoots::absent );
   }
   side.roots[side.name] = root;
}

void compare( StateDiff& diff, const Vek::NamedEntity& first, const Vek::NamedEntity& second ) {
   if ( &first.typeInfo() != &second.typeInfo() ) {
      throw std::runtime_error( Vek::concat( first.name(), " is a ", first.typeInfo().name, " and ",
                                             second.name(), " a ", second.typeInfo().name ) );
   }
   diff.compare( first, second );
}

// Whether the sides are equal. Two single roots are compared whatever their names.
bool diff( const DiffOptions& options, Output& output ) {
   Side first{ options.first };
   Side second{ options.second };
   for ( Side* const side : { &first, &second } ) {
      isFile( side->name ) ? readFile( *side ) : readRoot( *side, options.endpoint );
   }
   StateDiff diff( output.text(), options.json );
   if ( first.roots.size() == 1 && second.roots.size() == 1 ) {
      compare( diff, *first.roots.begin()->second, *second.roots.begin()->second );
   } else {
      // Of a file only that root is compared which the other side names.
      for ( const auto& [name, root] : first.roots ) {
         if ( const auto other = second.roots.find( name ); other != second.roots.end() ) {
            compare( diff, *root, *other->second );
         } else if ( !second.mounted ) {
            diff.onlyFirst( name );
         }
      }
      for ( const auto& [name, root] : second.roots ) {
         if ( !first.roots.contains( name ) && !first.mounted ) {
            diff.onlySecond( name );
         }
      }
   }
   output.flush();
   return diff.count() == 0;
}

} // namespace

Run addDiff( CLI::App& command ) {
   const auto options = std::make_shared< DiffOptions >();
   addSocket( command, options->endpoint );
   command.add_flag( "--json", options->json, "Write an object for each difference" );
   command.add_option( "FIRST", options->first, "A root, or a file that record wrote" )
      ->required()
      ->type_name( "" );
   command.add_option( "SECOND", options->second, "What it is compared with" )
      ->required()
      ->type_name( "" );
   command.footer(
      "What begins with /, ./ or ../ or ends with .log is a file, - standard input.\n\n"
      "Exit status: 0 when both are equal, 1 when they differ or cannot be compared, 2 "
      "for wrong usage." );
   return [options]( Output& output ) { return diff( *options, output ); };
}

} // namespace Tools
