#pragma once

#include "fuzz/Check.h"
#include "tests/support/LogStream.h"

#include <algorithm>
#include <random>

// What targets have in common that are given an attribute log. An input is a byte and what follows
// of a stream: all of it when the byte is odd, else what comes after the preamble and the types, so
// that a corpus does not age when a type changes.

/// Of libFuzzer; not there in the program that replays the corpus.
extern "C" __attribute__( ( weak ) ) std::size_t
LLVMFuzzerMutate( std::uint8_t* data, std::size_t size, std::size_t maxSize );

namespace Fuzz {

using Vek::log::Header;

/// The stream that an input stands for, which is not empty.
inline std::vector< U8 > logStream( const std::uint8_t* data, std::size_t size ) {
   static const std::vector< U8 > beginning = [] {
      std::vector< U8 > bytes = TestSupport::encoded( Vek::Directory() );
      bytes.resize( bytes.size() - Header::size ); // without "synchronised"
      return bytes;
   }();
   std::vector< U8 > stream;
   if ( !( data[0] & 1 ) ) {
      stream = beginning;
   }
   stream.insert( stream.end(), data + 1, data + size );
   return stream;
}

inline std::vector< std::vector< U8 > > split( std::span< const U8 > bytes ) {
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

/// Changes a stream message by message.
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

} // namespace Fuzz

extern "C" std::size_t LLVMFuzzerCustomMutator( std::uint8_t* data, std::size_t size,
                                                std::size_t maxSize, unsigned seed );

extern "C" std::size_t LLVMFuzzerCustomMutator( std::uint8_t* data, std::size_t size,
                                                std::size_t maxSize, unsigned seed ) {
   if ( size < 2 || data[0] & 1 || seed % 16 == 0 ) {
      return LLVMFuzzerMutate( data, size, maxSize );
   }
   const std::vector< U8 > mutated =
      Fuzz::Mutator( Fuzz::split( std::span( data, size ).subspan( 1 ) ), seed )
         .mutate( maxSize - 1 );
   std::copy( mutated.begin(), mutated.end(), data + 1 );
   return 1 + mutated.size();
}
