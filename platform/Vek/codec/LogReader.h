#pragma once

#include "Osk/Endian.h"
#include "Osk/UniqueId.h"
#include "Vek/text/Exceptions.h"

#include <span>
#include <utility>

namespace Vek {

/// Reads values of the attribute log from a payload and never beyond its end: what is cut short or
/// claims more than is left raises `StreamException` before memory is taken for it.
///
/// A payload from a peer is read `checked`: then a value that the library could not live with (such
/// as the words of a key that cannot be walked) is refused by `StreamException` too, where a
/// `trusted` one fails an assertion or is believed.
class OSK_EXPORT LogReader {
public:
   enum class Trust : U8 { trusted, checked };

   explicit LogReader( std::span< const U8 > payload, Trust trust = Trust::trusted )
      : begin_( payload.data() ), at_( begin_ ), end_( begin_ + payload.size() ), trust_( trust ) {}

   bool checked() const { return trust_ == Trust::checked; }

   /// Bytes read, and bytes left to read.
   std::size_t offset() const { return static_cast< std::size_t >( at_ - begin_ ); }
   std::size_t left() const { return static_cast< std::size_t >( end_ - at_ ); }

   U8 u8() { return *take( 1 ); }
   bool boolean() { return u8() != 0; }
   U16 u16() { return Osk::loadBig16( take( 2 ) ); }
   U32 u32() { return Osk::loadBig32( take( 4 ) ); }
   U64 u64() { return Osk::loadBig64( take( 8 ) ); }
   /// A string without NULs.
   String string();

   /// Where the next byte is.
   const U8* next() const { return at_; }

   /// The next `count` bytes.
   const U8* take( std::size_t count ) {
      if ( left() < count ) [[unlikely]] {
         failShort( count );
      }
      return std::exchange( at_, at_ + count );
   }

   /// A number of elements, each of which takes at least `elementSize` bytes.
   U32 count( std::size_t elementSize ) {
      const U32 elements = u32();
      if ( elements > left() / elementSize ) [[unlikely]] {
         failCount( elements );
      }
      return elements;
   }

   /// Refuses what is left behind the last value.
   void end() const {
      if ( at_ != end_ ) [[unlikely]] {
         failLong();
      }
   }

   /// Raises `StreamException`, "byte <offset>: <reason>".
   [[noreturn]] void fail( std::string_view reason ) const;

private:
   [[noreturn]] void failShort( std::size_t count ) const;
   [[noreturn]] void failLong() const;
   [[noreturn]] void failCount( U32 elements );

   const U8* begin_;
   const U8* at_;
   const U8* end_;
   Trust trust_;
};

inline void logRead( LogReader& in, Osk::UniqueId& id ) { id = Osk::UniqueId( in.u64() ); }

} // namespace Vek
