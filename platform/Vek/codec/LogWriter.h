#pragma once

#include "Osk/Endian.h"
#include "Osk/UniqueId.h"
#include "Vek/text/String.h"

#include <utility>

/// Values in the attribute log. Each type that is streamed has three functions beside it, found by
/// the type of their arguments:
///
///     std::size_t logSize( const T& value );            // the bytes that logWrite takes
///     void logWrite( LogWriter& out, const T& value );
///     void logRead( LogReader& in, T& value );          // LogReader.h
///
/// Integers are in network order, a bool is one byte, an enumeration a U32, a double or a float the
/// bits of its IEEE-754 form, a string a U32 length and its bytes.
namespace Vek {

struct TypeInfo;

/// Writes into memory that was reserved for exactly what is written: each value's size is asked for
/// beforehand.
class LogWriter {
public:
   /// Writes from `at` on.
   explicit LogWriter( U8* at ) : at_( at ) {}

   /// After the last byte written.
   U8* at() const { return at_; }

   /// The next `count` bytes, all of which the caller writes himself: the way for values of several
   /// numbers, as what is written byte by byte may be anywhere, in the writer too.
   U8* take( std::size_t count ) { return std::exchange( at_, at_ + count ); }

   void u8( U8 value ) { *at_++ = value; }
   void boolean( bool value ) { u8( value ); }
   void u16( U16 value ) { Osk::storeBig16( take( 2 ), value ); }
   void u32( U32 value ) { Osk::storeBig32( take( 4 ), value ); }
   void u64( U64 value ) { Osk::storeBig64( take( 8 ), value ); }
   void bytes( const void* from, std::size_t count ) {
      if ( count != 0 ) {
         std::memcpy( take( count ), from, count );
      }
   }
   void string( std::string_view text ) {
      u32( static_cast< U32 >( text.size() ) );
      bytes( text.data(), text.size() );
   }

private:
   U8* at_;
};

constexpr std::size_t logSize( const Osk::UniqueId& ) { return 8; }
inline void logWrite( LogWriter& out, const Osk::UniqueId& id ) { out.u64( id.value() ); }

} // namespace Vek
