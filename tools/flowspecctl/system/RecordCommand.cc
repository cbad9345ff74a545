#include "Vek/log/Record.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/Options.h"
#include "tools/state/StateRoots.h"

#include <cerrno>
#include <map>
#include <set>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Tools {

namespace {

constexpr std::chrono::hours aLongTime( 1 );

struct RecordOptions {
   Vek::String endpoint = defaultEndpoint;
   bool once = false;
   std::vector< Vek::String > roots;
   Vek::String file;
};

// What is recorded is never written over: it cannot be had again.
int create( const Vek::String& file ) {
   const int fd = ::open( file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666 );
   if ( fd < 0 ) {
      throw std::system_error( errno, std::generic_category(), "cannot create " + file );
   }
   return fd;
}

// Streams roots that come, change and go into a file.
class Recorder {
public:
   Recorder( const StateRoots& roots, Output& out ) : roots_( roots ), out_( out ) {}

   /// Writes what is new since the last call, so that it is in the file.
   void record() {
      for ( const Vek::log::Mount* const mount : roots_.mounts() ) {
         Vek::Ptr< Vek::NamedEntity >& streamed = streamed_[mount->root()];
         const auto root = roots_.find( mount->root() );
         if ( streamed != root ) {
            if ( streamed ) {
               source_.rootDel( *streamed );
            }
            streamed = root;
            if ( root ) {
               source_.rootIs( *root );
            }
         }
      }
      do {
         sender_.fill();
         if ( !sender_.error().empty() ) {
            throw std::runtime_error( sender_.error() );
         }
         if ( const auto bytes = sender_.pending(); !bytes.empty() ) {
            record_.clear();
            Vek::log::appendRecord( record_, bytes );
            out_.text().append( record_.begin(), record_.end() );
            out_.flush();
            sender_.sent( bytes.size() );
         }
      } while ( !sender_.idle() );
   }

private:
   const StateRoots& roots_;
   Output& out_;
   std::map< Vek::String, Vek::Ptr< Vek::NamedEntity > > streamed_;
   Vek::log::Source source_;
   Vek::log::Sender sender_{ source_ };
   std::vector< U8 > record_;
};

// A root that is not there yet is recorded once it comes; a connection that is lost is reported,
// and tried again.
void record( const RecordOptions& options ) {
   StateRoots roots{ Vek::log::Endpoint( options.endpoint ) };
   for ( const Vek::String& root : std::set( options.roots.begin(), options.roots.end() ) ) {
      roots.read( root );
   }
   roots.settle();
   roots.mustStand();
   for ( const Vek::log::Mount* const mount : roots.mounts() ) {
      if ( options.once && !roots.find( mount->root() ) ) {
         throw std::runtime_error( mount->root() + ": " + StateRoots::absent );
      }
   }
   Output out( options.file == "-" ? STDOUT_FILENO : create( options.file ),
               options.file == "-" ? "standard output" : options.file.c_str() );
   Recorder recorder( roots, out );
   recorder.record();
   while ( !options.once ) {
      roots.turn( aLongTime );
      roots.reportFaults();
      recorder.record();
   }
   out.close();
}

} // namespace

Run addRecord( CLI::App& command ) {
   const auto options = std::make_shared< RecordOptions >();
   addSocket( command, options->endpoint );
   command.add_flag( "--once", options->once, "Write what is there, and end" );
   // One list, as options may come after it.
   command
      .add_option_function< std::vector< Vek::String > >(
         "ROOT",
         [options]( const std::vector< Vek::String >& names ) {
            options->roots.assign( names.begin(), names.end() - 1 );
            options->file = names.back();
         },
         "Names of roots, such as flowspec/config, and last the FILE to create; - is standard "
         "output" )
      ->required()
      ->expected( 2, CLI::detail::expected_max_vector_size )
      ->type_name( "" );
   command.footer(
      "Exit status: 1 when it cannot begin or write, 2 for wrong usage; without --once "
      "it goes on until a signal ends it." );
   return [options]( Output& ) {
      record( *options );
      return true;
   };
}

} // namespace Tools
