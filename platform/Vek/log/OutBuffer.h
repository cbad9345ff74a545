#pragma once

#include "Osk/Types.h"

#include <cstring>
#include <memory>
#include <span>

namespace Vek::log {

/// The bytes that a connection has still to send: at most `capacity` of them, or one message that
/// is larger by itself.
class OutBuffer {
public:
   explicit OutBuffer( std::size_t capacity ) : capacity_( capacity ) {}

   bool empty() const { return begin_ == end_; }
   std::span< const U8 > pending() const { return { bytes_.get() + begin_, end_ - begin_ }; }

   /// Room for one more message of `size` bytes, which is sent once it was committed; null when
   /// there is none. Invalidates what was given before.
   U8* reserve( std::size_t size ) {
      if ( size > allocated_ - end_ ) [[unlikely]] {
         if ( !makeRoom( size ) ) {
            return nullptr;
         }
      }
      return bytes_.get() + end_;
   }
   void commit( std::size_t size ) { end_ += size; }

   /// Takes `size` pending bytes off, which were sent.
   void sent( std::size_t size ) {
      begin_ += size;
      if ( empty() ) {
         begin_ = end_ = 0;
         if ( allocated_ > capacity_ ) {
            bytes_.reset();
            allocated_ = 0;
         }
      }
   }

private:
   bool makeRoom( std::size_t size ) {
      const std::size_t used = end_ - begin_;
      // Half of the buffer is free then, so that moving stays cheap on the whole.
      if ( used + size <= allocated_ && used <= begin_ ) {
         std::memmove( bytes_.get(), bytes_.get() + begin_, used );
         begin_ = 0;
         end_ = used;
         return true;
      }
      if ( used != 0 ) {
         return false;
      }
      allocate( size > capacity_ ? size : capacity_ );
      return true;
   }

   void allocate( std::size_t size ) {
      bytes_ = std::make_unique_for_overwrite< U8[] >( size );
      allocated_ = size;
      begin_ = end_ = 0;
   }

   std::size_t capacity_;
   std::unique_ptr< U8[] > bytes_;
   std::size_t allocated_ = 0;
   std::size_t begin_ = 0;
   std::size_t end_ = 0;
};

} // namespace Vek::log
