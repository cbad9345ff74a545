#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/log/Receiver.h"
#include "fuzz/Check.h"
#include "tests/support/LogStream.h"

#include <random>

// Of libFuzzer; not there in the program that replays the corpus.
extern "C" __attribute__( ( weak ) ) std::size_t
LLVMFuzzerMutate( std::uint8_t* data, std::size_t size, std::size_t maxSize );

namespace {

using namespace Vek::log;

// An input is a byte and what follows of a stream: all of it when the byte is odd, else what comes
// behind the preamble and the types, so that the corpus does not age when a type changes.
const std::vector< U8 >& beginning() {
   static const std::vector< U8 > bytes = TestSupport::encoded( Vek::Directory() );
   return bytes;
}

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

std::vector< std::vector< U8 > > split( std::span< const U8 > bytes ) {
   std::vector< std::vector< U8 > > messages;
   while ( !bytes.empty() ) {
      std::size_t size = bytes.size();
      if ( size >= Header::size ) {
         Vek::LogReader length( bytes );
         size = std::min( size, Header::size + std::size_t{ length.u32() } );
      }
      messages.emplace_back( bytes.begin(), bytes.begin() + static_cast< std::ptrdiff_t >( size ) );
      bytes = bytes.subspan( size );
   }
   return messages;
}

class Mutator {
public:
   Mutator( std::vector< std::vector< U8 > > messages, unsigned seed )
      : messages_( std::move( messages ) ), random_( seed ) {}

   std::vector< U8 > mutate( std::size_t maxSize ) {
      const std::size_t at = below( messages_.size() );
      std::vector< U8 >& message = messages_[at];
      const auto position = messages_.begin() + static_cast< std::ptrdiff_t >( at );
      switch ( below( 7 ) ) {
      case 0:
         messages_.erase( position );
         break;
      case 1:
         messages_.insert( position, messages_[below( messages_.size() )] );
         break;
      case 2:
         std::swap( message, messages_[below( messages_.size() )] );
         break;
      case 3:
         header( message );
         break;
      default:
         payload( message );
      }
      std::vector< U8 > all;
      for ( const std::vector< U8 >& one : messages_ ) {
         if ( all.size() + one.size() <= maxSize ) {
            all.insert( all.end(), one.begin(), one.end() );
         }
      }
      return all;
   }

private:
   std::size_t below( std::size_t count ) { return count == 0 ? 0 : random_() % count; }

   // Sets a field of the header to what it could be in another message.
   void header( std::vector< U8 >& message ) {
      if ( message.size() < Header::size ) {
         return;
      }
      switch ( below( 4 ) ) {
      case 0:
         message[4] = static_cast< U8 >( 1 + below( 7 ) );
         break;
      case 1:
         message[12] = static_cast< U8 >( below( 24 ) );
         break;
      case 2:
         message[14] = static_cast< U8 >( 1 + below( 12 ) );
         break;
      default:
         message[15] ^= 1;
      }
   }

   void payload( std::vector< U8 >& message ) {
      if ( message.size() < Header::size ) {
         return;
      }
      const std::size_t size = message.size() - Header::size;
      message.resize( message.size() + 64 );
      const std::size_t now = LLVMFuzzerMutate( message.data() + Header::size, size, size + 64 );
      message.resize( Header::size + now );
      Vek::LogWriter( message.data() ).u32( static_cast< U32 >( now ) );
   }

   std::vector< std::vector< U8 > > messages_;
   std::minstd_rand random_;
};

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator( std::uint8_t* data, std::size_t size,
                                                std::size_t maxSize, unsigned seed );

extern "C" std::size_t LLVMFuzzerCustomMutator( std::uint8_t* data, std::size_t size,
                                                std::size_t maxSize, unsigned seed ) {
   if ( size < 2 || data[0] & 1 || seed % 16 == 0 ) {
      return LLVMFuzzerMutate( data, size, maxSize );
   }
   const std::vector< U8 > mutated =
      Mutator( split( std::span( data, size ).subspan( 1 ) ), seed ).mutate( maxSize - 1 );
   std::copy( mutated.begin(), mutated.end(), data + 1 );
   return 1 + mutated.size();
}

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   std::vector< U8 > stream;
   if ( !( data[0] & 1 ) ) {
      stream = beginning();
      stream.resize( stream.size() - Header::size ); // without "synchronised"
   }
   const std::size_t cut = stream.size() + data[0];
   stream.insert( stream.end(), data + 1, data + size );
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
