#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/Options.h"
#include "tools/state/LogFile.h"
#include "tools/state/StateRoots.h"

#include <map>

namespace Tools {

namespace {

using Vek::log::Mount;

struct ReplayOptions {
   Vek::String endpoint = defaultEndpoint;
   Vek::String file;
};

class Replay {
public:
   explicit Replay( const ReplayOptions& options )
      : options_( options ), endpoint_( options.endpoint ) {}

   /// Whether all of the file could be read.
   bool run() {
      const auto reason = LogFile( receiver_ )
                             .read(
                                options_.file, [this] { write( &Mount::allSent ); }, [] {} );
      write( &Mount::acknowledged );
      if ( reason ) {
         Forms::reportFile( options_.file, *reason );
      }
      return !reason;
   }

private:
   struct Written {
      Vek::Ptr< Vek::NamedEntity > root;
      std::unique_ptr< Mount > mount;
   };

   // Lets the database take what the file has led to, until each mount has come so far. So each
   // piece of the recording is a change of its own, and no later one takes its place.
   void write( bool ( Mount::*done )() const ) {
      if ( !receiver_.synchronised() ) {
         return; // the beginning would be filed as if it were all
      }
      mountRoots();
      std::vector< Mount* > mounts;
      for ( const auto& [name, written] : written_ ) {
         mounts.push_back( written.mount.get() );
      }
      const auto end = Mount::Clock::now() + patience;
      for ( ;; ) {
         bool all = true;
         for ( Mount* const mount : mounts ) {
            mount->process();
            all = all && ( mount->*done )();
            if ( mount->refused() || ( mount->fd() < 0 && !mount->error().empty() ) ) {
               throw std::runtime_error( mount->root() + ": " + mount->error() );
            }
         }
         if ( all ) {
            return;
         }
         if ( Mount::Clock::now() > end ) {
            throw std::runtime_error( "the state database does not answer" );
         }
         Mount::wait( mounts, std::chrono::seconds( 1 ) );
      }
   }

   // Roots that are gone in the recording are left to the database as they were.
   void mountRoots() {
      std::erase_if( written_, [&]( const auto& member ) {
         return directory_.entity( member.first ) != member.second.root;
      } );
      for ( const Vek::String& name : directory_.names() ) {
         Written& written = written_[name];
         if ( !written.mount ) {
            written.root = directory_.entity( name );
            written.mount = std::make_unique< Mount >( endpoint_, "flowspecctl", *written.root );
         }
      }
   }

   static constexpr std::chrono::seconds patience{ 60 };

   const ReplayOptions& options_;
   const Vek::log::Endpoint endpoint_;
   Vek::Directory directory_;
   Vek::log::Receiver receiver_{ directory_ };
   std::map< Vek::String, Written > written_;
};

} // namespace

Run addReplay( CLI::App& command ) {
   const auto options = std::make_shared< ReplayOptions >();
   addSocket( command, options->endpoint );
   command.add_option( "FILE", options->file, "File that record wrote; - is standard input" )
      ->required()
      ->type_name( "" );
   command.footer( "Exit status: 0 when the state database has all of it, 1 when not, 2 for wrong "
                   "usage." );
   return [options]( Output& ) { return Replay( *options ).run(); };
}

} // namespace Tools
