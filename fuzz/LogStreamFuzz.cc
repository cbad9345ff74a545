#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/log/Receiver.h"
#include "fuzz/LogInput.h"

#include <algorithm>

namespace {

using namespace Vek::log;

// Gives the receiver a stream in two pieces; whether it took all of it.
bool receive( Receiver& receiver, std::span< const U8 > stream, std::size_t cut ) {
   try {
      receiver.receive( stream.first( std::min( cut, stream.size() ) ) );
      receiver.receive( stream.subspan( std::min( cut, stream.size() ) ) );
      return true;
   } catch ( const Vek::StreamException& exception ) {
      Fuzz::require( *exception.what() != '\0', "an error has a message" );
      return false;
   }
}

// Dumps the roots that can be dumped, which prints all rule keys that they hold.
void dump( const Vek::Directory& directory ) {
   std::string text;
   Osk::DumpContext context( text );
   for ( const Vek::String& name : directory.names() ) {
      const Vek::Ptr< Vek::NamedEntity > root = directory.entity( name );
      if ( const auto* const config = dynamic_cast< const Flowspec::Config* >( root.get() ) ) {
         config->dumpState( context, 0 );
      } else if ( const auto* const status =
                     dynamic_cast< const Flowspec::Status* >( root.get() ) ) {
         status->dumpState( context, 0 );
      }
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   const std::vector< U8 > stream = Fuzz::logStream( data, size );
   const std::size_t cut = stream.size() - ( size - 1 ) + data[0];
   Vek::Directory received;
   Receiver receiver( received );
   receive( receiver, stream, cut );
   if ( received.names().empty() ) {
      return 0;
   }
   dump( received );
   // What a stream leaves, even one that was refused, is sound: it can be sent on.
   const std::vector< U8 > encoding = TestSupport::encoded( received );
   Vek::Directory copy;
   Receiver second( copy );
   Fuzz::require( receive( second, encoding, encoding.size() / 2 ) && second.synchronised(),
                  "what was received can be received again" );
   Fuzz::require( TestSupport::encoded( copy ) == encoding, "the second copy is the same" );
   return 0;
}
