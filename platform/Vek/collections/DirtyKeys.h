#pragma once

#include "Vek/collections/KeyWalk.h"

#include <algorithm>
#include <deque>
#include <set>

namespace Vek {

/// Keys of a collection that wait, each once, for something to be done about them; in ascending
/// order. The collection's row makes one that fits.
class DirtyKeys {
public:
   virtual ~DirtyKeys() = default;

   virtual bool empty() const = 0;
   /// How much is kept: as many keys as wait, or up to about twice that where some of the middle
   /// were erased.
   virtual std::size_t size() const = 0;
   virtual void insert( const void* key ) = 0;
   virtual void erase( const void* key ) = 0;
   /// The first key, until it is erased; there is one.
   virtual const void* first() const = 0;
   virtual void eraseFirst() = 0;
};

namespace detail {

/// Keys mostly come in ascending order, as all of a collection does: such a run stands in a queue,
/// and a set holds what comes out of turn.
template < typename Key, typename Order >
class DirtyKeysOf final : public DirtyKeys {
public:
   static DirtyKeys* make() { return new DirtyKeysOf; }

   bool empty() const override { return run_.empty() && others_.empty(); }

   std::size_t size() const override { return run_.size() + others_.size(); }

   void insert( const void* untyped ) override {
      const Key& key = *static_cast< const Key* >( untyped );
      if ( others_.empty() && ( run_.empty() || Order()( run_.back().key, key ) ) ) {
         run_.push_back( { key, false } );
      } else if ( const std::size_t at = find( key ); at != run_.size() ) {
         gone_ -= run_[at].gone;
         run_[at].gone = false;
      } else {
         others_.insert( key );
      }
   }

   void erase( const void* untyped ) override {
      const Key& key = *static_cast< const Key* >( untyped );
      if ( const std::size_t at = find( key ); at != run_.size() ) {
         gone_ += !run_[at].gone;
         run_[at].gone = true;
         afterLastErased_ = at + 1;
         dropGone();
         if ( gone_ > few && gone_ > run_.size() / 2 ) {
            compact();
         }
      } else {
         others_.erase( key );
      }
   }

   const void* first() const override {
      return firstIsOther() ? &*others_.begin() : &run_.front().key;
   }

   void eraseFirst() override {
      if ( firstIsOther() ) {
         others_.erase( others_.begin() );
      } else {
         gone_ += 1;
         run_.front().gone = true;
         dropGone();
      }
   }

private:
   // Not worth the work of giving their place back.
   static constexpr std::size_t few = 16;

   struct Entry {
      Key key;
      bool gone;
   };

   bool firstIsOther() const {
      return !others_.empty() && ( run_.empty() || Order()( *others_.begin(), run_.front().key ) );
   }

   // The position in the run of a key that may be erased already; its size when it is not there.
   std::size_t find( const Key& key ) const {
      const auto isKey = [&]( std::size_t at ) {
         return at < run_.size() && !Order()( key, run_[at].key ) && !Order()( run_[at].key, key );
      };
      for ( const std::size_t likely : { afterLastErased_, run_.size() - 1 } ) {
         if ( isKey( likely ) ) {
            return likely;
         }
      }
      std::size_t begin = 0;
      for ( std::size_t end = run_.size(); begin != end; ) {
         const std::size_t middle = begin + ( end - begin ) / 2;
         if ( Order()( run_[middle].key, key ) ) {
            begin = middle + 1;
         } else {
            end = middle;
         }
      }
      return isKey( begin ) ? begin : run_.size();
   }

   // So that the first is one that waits.
   void dropGone() {
      while ( !run_.empty() && run_.front().gone ) {
         run_.pop_front();
         --gone_;
         afterLastErased_ -= afterLastErased_ > 0;
      }
   }

   // So that no more are gone than wait, whatever comes and goes.
   void compact() {
      const auto isGone = []( const Entry& entry ) { return entry.gone; };
      const auto next = run_.begin() + static_cast< std::ptrdiff_t >( afterLastErased_ );
      afterLastErased_ -= static_cast< std::size_t >( std::count_if( run_.begin(), next, isGone ) );
      std::erase_if( run_, isGone );
      gone_ = 0;
   }

   std::deque< Entry > run_; ///< ascending; the first is not gone
   std::size_t gone_ = 0;    ///< of the run
   std::size_t afterLastErased_ = 0;
   std::set< Key, Order > others_;
};

} // namespace detail

} // namespace Vek
