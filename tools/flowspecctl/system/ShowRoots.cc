#include "Vek/mount/Endpoint.h"
#include "Vek/mount/FdTransport.h"
#include "Vek/mount/Greeting.h"
#include "Vek/text/Exceptions.h"
#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"
#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/terminal/Table.h"
#include "tools/terminal/Terminal.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <stdexcept>

#include <nlohmann/json.hpp>
#include <poll.h>

namespace Tools {

using namespace Flowspec;

namespace {

using Json = nlohmann::ordered_json;
using Vek::log::Greeting;

constexpr std::chrono::seconds patience( 10 );
// A database has at most 4096 roots, and the line of one is little longer than a greeting.
constexpr std::size_t maxReply = std::size_t{ 16 } << 20;

// Names are shown whole.
constexpr std::size_t maxShown = 4096;

// Name, type, readers, writing agent, and who that is; "-" for none.
using RootLine = std::array< std::string_view, 5 >;

// All that the database says to who asks for its roots.
Vek::String ask( const Vek::log::Endpoint& endpoint ) {
   const Vek::String greeting =
      Greeting{ .lists = true, .agent = "flowspecctl", .root = {} }.text();
   std::span< const U8 > unsent( reinterpret_cast< const U8* >( greeting.data() ),
                                 greeting.size() );
   Vek::log::FdTransport transport( endpoint.connect() );
   Vek::String reply;
   const auto end = std::chrono::steady_clock::now() + patience;
   while ( reply.size() <= maxReply ) {
      const auto left =
         std::chrono::ceil< std::chrono::milliseconds >( end - std::chrono::steady_clock::now() );
      if ( left.count() <= 0 ) {
         break;
      }
      const int events = unsent.empty() ? POLLIN : POLLIN | POLLOUT;
      pollfd polled{ .fd = transport.fd(), .events = static_cast< short >( events ), .revents = 0 };
      ::poll( &polled, 1, static_cast< int >( left.count() ) );
      if ( !unsent.empty() ) {
         unsent = unsent.subspan( transport.send( unsent ) );
      }
      std::array< U8, 4096 > room; // NOLINT(cppcoreguidelines-pro-type-member-init)
      const auto count = transport.receive( room );
      if ( !count ) {
         return reply;
      }
      reply.append( reinterpret_cast< const char* >( room.data() ), *count );
   }
   throw std::runtime_error( "the state database does not answer" );
}

std::string_view takeUntil( std::string_view& text, char end ) {
   const std::size_t at = std::min( text.find( end ), text.size() );
   const std::string_view taken = text.substr( 0, at );
   text.remove_prefix( std::min( at + 1, text.size() ) );
   return taken;
}

std::vector< RootLine > rootsOf( std::string_view reply ) {
   const std::string_view answer = takeUntil( reply, '\n' );
   if ( answer.starts_with( Greeting::refused ) ) {
      throw std::runtime_error( Vek::printable( answer.substr( Greeting::refused.size() ) ) );
   }
   const auto strange = [] {
      return std::runtime_error( "the answer is not that of a state database" );
   };
   if ( answer != Greeting::accepted ) {
      throw strange();
   }
   std::vector< RootLine > roots;
   while ( !reply.empty() ) {
      std::string_view line = takeUntil( reply, '\n' );
      RootLine& root = roots.emplace_back();
      for ( std::string_view& field : root ) {
         field = takeUntil( line, '\t' );
         if ( field.empty() ) {
            throw strange();
         }
      }
   }
   return roots;
}

Json orNull( std::string_view field ) {
   return field == "-" ? Json() : Json( Vek::printable( field, maxShown ) );
}

void writeJson( std::span< const RootLine > roots, Vek::String& out ) {
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

void writeTable( std::span< const RootLine > roots, Vek::String& out ) {
   const Table table( lineWidth(), { { "root", 24 },
                                     { "type", 24 },
                                     { "readers", 7, true },
                                     { "writer", 12 },
                                     { "who writes", 0 } } );
   table.appendHeading( out );
   for ( const RootLine& root : roots ) {
      std::array< Vek::String, 5 > cells;
      std::ranges::transform( root, cells.begin(), []( std::string_view field ) {
         return Vek::printable( field, maxShown );
      } );
      table.appendRow( out, cells );
   }
}

struct RootsOptions {
   SystemOptions system;
   bool json = false;
};

void showRoots( const RootsOptions& options, Output& output ) {
   const Vek::log::Endpoint endpoint( options.system.endpoint );
   try {
      const Vek::String reply = ask( endpoint );
      ( options.json ? writeJson : writeTable )( rootsOf( reply ), output.text() );
   } catch ( const Vek::StreamException& exception ) {
      throw std::runtime_error( exception.what() );
   }
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
