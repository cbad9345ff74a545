#pragma once

#include "Osk/Types.h"

#include <memory>
#include <utility>

namespace Vek::log {

/// An amount of memory that some holders share, so that all of them together stay bounded whatever
/// each is sent. One thread.
class Budget {
public:
   explicit Budget( std::size_t bytes ) : left_( bytes ) {}
   Budget( const Budget& ) = delete;
   Budget& operator=( const Budget& ) = delete;

   /// Bytes that nobody has taken.
   std::size_t left() const { return left_; }

   /// What one holder has of a budget; given back when it goes.
   class Share {
   public:
      /// Nothing as yet; of a null budget as much as is asked for.
      explicit Share( std::shared_ptr< Budget > budget ) : budget_( std::move( budget ) ) {}
      Share( const Share& ) = delete;
      Share& operator=( const Share& ) = delete;
      ~Share() { resize( 0 ); }

      /// Makes it `size` bytes; false, and it stays as it is, when as much is not left.
      bool resize( std::size_t size ) {
         if ( budget_ ) {
            if ( size > size_ && size - size_ > budget_->left_ ) {
               return false;
            }
            budget_->left_ = budget_->left_ + size_ - size;
         }
         size_ = size;
         return true;
      }

   private:
      const std::shared_ptr< Budget > budget_;
      std::size_t size_ = 0;
   };

private:
   std::size_t left_;
};

} // namespace Vek::log
