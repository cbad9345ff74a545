#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"
#include "tools/flowspecctl/system/RootList.h"
#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/terminal/Table.h"
#include "tools/terminal/Terminal.h"

#include <limits>

#include <nlohmann/json.hpp>

namespace Tools {

namespace {

using Json = nlohmann::ordered_json;

// Names are shown whole.
constexpr std::size_t maxShown = 4096;

Json orNull( std::string_view field ) {
   return field == "-" ? Json() : Json( Vek::printable( field, maxShown ) );
}

void writeJson( std::span< const RootInfo > roots, Vek::String& out ) {
   for ( const auto& [name, type, readers, agent, peer] : roots ) {
      const auto count = Vek::decimal( readers, std::numeric_limits< U32 >::max() );
      out += Json{ { "root", Vek::printable( name, maxShown ) },
                   { "type", orNull( type ) },
                   { "readers", count ? Json( *count ) : Json() },
                   { "writer", orNull( agent ) },
                   { "writtenBy", orNull( peer ) } }
                .dump() +
             '\n';
   }
}

void writeTable( std::span< const RootInfo > roots, Vek::String& out ) {
   const Table table( lineWidth(), { { "root", 24 },
                                     { "type", 24 },
                                     { "readers", 7, true },
                                     { "writer", 12 },
                                     { "who writes", 0 } } );
   table.appendHeading( out );
   for ( const RootInfo& root : roots ) {
      std::vector< Vek::String > cells;
      for ( const Vek::String* const field :
            { &root.name, &root.type, &root.readers, &root.agent, &root.writer } ) {
         cells.push_back( Vek::printable( *field, maxShown ) );
      }
      table.appendRow( out, cells );
   }
}

struct RootsOptions {
   SystemOptions system;
   bool json = false;
};

void showRoots( const RootsOptions& options, Output& output ) {
   const auto roots = listRoots( Vek::log::Endpoint( options.system.endpoint ) );
   ( options.json ? writeJson : writeTable )( roots, output.text() );
   output.flush();
}

} // namespace

Run addShowRoots( CLI::App& command ) {
   const auto options = std::make_shared< RootsOptions >();
   addSystem( command, options->system, {} );
   command.add_flag( "--json", options->json, "Write an object on each line" );
   return [options]( Output& output ) {
      showRoots( *options, output );
      return true;
   };
}

} // namespace Tools
