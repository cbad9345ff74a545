#include "tools/flowspecctl/DumpCommand.h"

#include "Vek/log/Mount.h"
#include "tools/lib/Diagnostics.h"
#include "tools/lib/StateText.h"

#include <algorithm>
#include <set>

namespace Flowspec::Tools {

namespace {

using Vek::log::Mount;

constexpr std::chrono::seconds patience( 10 );

// Waits until each of some mounts stands or has said why it cannot.
void settle( std::span< Mount* const > mounts ) {
   const auto end = Mount::Clock::now() + patience;
   const auto open = []( const Mount* mount ) {
      return !mount->stands() && ( mount->error().empty() || mount->fd() >= 0 );
   };
   do {
      Mount::wait( mounts, std::chrono::milliseconds( 100 ) );
      for ( Mount* const mount : mounts ) {
         mount->process();
      }
   } while ( std::ranges::any_of( mounts, open ) && Mount::Clock::now() < end );
}

} // namespace

bool runDump( const DumpOptions& options, Output& output ) {
   const Vek::log::Endpoint endpoint( options.endpoint );
   Vek::Directory directory;
   std::vector< std::unique_ptr< Mount > > owned;
   std::vector< Mount* > mounts;
   for ( const Vek::String& root : std::set( options.roots.begin(), options.roots.end() ) ) {
      owned.push_back( std::make_unique< Mount >( endpoint, "flowspecctl", root, directory ) );
      mounts.push_back( owned.back().get() );
   }
   settle( mounts );
   bool good = true;
   for ( const Mount* const mount : mounts ) {
      const auto root = directory.entity( mount->root() );
      if ( mount->stands() && root ) {
         appendState( output.text(), *root, options.json );
         output.flushIfLarge();
         continue;
      }
      good = false;
      output.flush();
      reportFile( mount->root(), mount->stands() ? "the state database has no such root"
                                 : mount->error().empty() || mount->fd() >= 0
                                    ? std::string_view( "the state database does not answer" )
                                    : std::string_view( mount->error() ) );
   }
   output.flush();
   return good;
}

} // namespace Flowspec::Tools
