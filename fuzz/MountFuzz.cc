#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/mount/Mount.h"
#include "fuzz/LogInput.h"

#include <algorithm>

#include <sys/socket.h>
#include <unistd.h>

namespace {

using Vek::log::Mount;

// A state database that says what the input says, to a mount of either direction.
class Server {
public:
   Server()
      : endpoint_( Vek::concat( "/tmp/flowspec-fuzz-", ::getpid(), ".sock" ) ),
        listener_( endpoint_.listen() ) {}
   Server( const Server& ) = delete;
   Server& operator=( const Server& ) = delete;
   ~Server() {
      ::close( listener_ );
      endpoint_.remove();
   }

   const Vek::log::Endpoint& endpoint() const { return endpoint_; }

   void serve( Mount& mount, std::span< const U8 > words ) const {
      mount.process(); // connects, and sends the greeting
      const int fd = ::accept( listener_, nullptr, nullptr );
      Fuzz::require( fd >= 0, "the mount connects" );
      while ( !words.empty() && mount.fd() >= 0 ) {
         const ssize_t sent = ::send( fd, words.data(), words.size(), MSG_DONTWAIT | MSG_NOSIGNAL );
         words = words.subspan( static_cast< std::size_t >( std::max( sent, ssize_t{ 0 } ) ) );
         mount.process();
      }
      ::close( fd );
      while ( mount.fd() >= 0 ) {
         mount.process();
      }
      Fuzz::require( !mount.error().empty(), "a mount tells why it ended" );
   }

private:
   const Vek::log::Endpoint endpoint_;
   const int listener_;
};

std::vector< U8 > answer( std::string_view words, std::span< const U8 > rest ) {
   std::vector< U8 > bytes( words.begin(), words.end() );
   bytes.insert( bytes.end(), rest.begin(), rest.end() );
   return bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   static const Server server;
   // An even first byte goes on after the database has accepted the mount.
   const bool raw = data[0] & 1;
   const std::vector< U8 > stream = Fuzz::logStream( data, size );
   Vek::Directory directory;
   Mount reader( server.endpoint(), "fuzz", "flowspec/config", directory );
   server.serve( reader, raw ? stream : answer( "ok\n", stream ) );
   const std::span< const U8 > input( data + 1, size - 1 );
   Vek::Directory own;
   Mount writer( server.endpoint(), "fuzz", *own.create( "Flowspec::Status", "flowspec/status" ) );
   server.serve( writer, raw ? answer( "", input ) : answer( "ok\n", input ) );
   return 0;
}
