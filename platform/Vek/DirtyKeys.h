#pragma once

#include "Osk/Types.h"

#include <set>
#include <vector>

namespace Vek {

/// Keys of a collection that wait, each once, for something to be done about them; in ascending
/// order. The collection's row makes one that fits; sources that describe collections include this.
class DirtyKeys {
public:
   virtual ~DirtyKeys() = default;

   virtual bool empty() const = 0;
   virtual void insert( const void* key ) = 0;
   virtual void erase( const void* key ) = 0;
   /// The first key, until it is erased; there is one.
   virtual const void* first() const = 0;
   virtual void eraseFirst() = 0;
};

namespace detail {

/// Keys mostly come in ascending order, as all of a collection does: such a run stands in a vector,
/// and a set holds what comes out of turn.
template < typename Key, typename Order >
class DirtyKeysOf final : public DirtyKeys {
public:
   static DirtyKeys* make() { return new DirtyKeysOf; }

   bool empty() const override { return runIsEmpty() && others_.empty(); }

   void insert( const void* untyped ) override {
      const Key& key = *static_cast< const Key* >( untyped );
      if ( others_.empty() && ( runIsEmpty() || Order()( run_.back().key, key ) ) ) {
         run_.push_back( { key, false } );
      } else if ( const std::size_t at = find( key ); at != run_.size() ) {
         run_[at].gone = false;
      } else {
         others_.insert( key );
      }
   }

   void erase( const void* untyped ) override {
      const Key& key = *static_cast< const Key* >( untyped );
      if ( const std::size_t at = find( key ); at != run_.size() ) {
         run_[at].gone = true;
         afterLastErased_ = at + 1;
         skipGone();
      } else {
         others_.erase( key );
      }
   }

   const void* first() const override {
      return firstIsOther() ? &*others_.begin() : &run_[next_].key;
   }

   void eraseFirst() override {
      if ( firstIsOther() ) {
         others_.erase( others_.begin() );
      } else {
         ++next_;
         skipGone();
      }
   }

private:
   static constexpr std::size_t large = 1000;

   struct Entry {
      Key key;
      bool gone;
   };

   bool runIsEmpty() const { return next_ == run_.size(); }

   bool firstIsOther() const {
      return !others_.empty() && ( runIsEmpty() || Order()( *others_.begin(), run_[next_].key ) );
   }

   // The position in the run of a key that may be erased already; its end when it is not there.
   std::size_t find( const Key& key ) const {
      const auto isKey = [&]( std::size_t at ) {
         return at < run_.size() && !Order()( key, run_[at].key ) && !Order()( run_[at].key, key );
      };
      if ( afterLastErased_ >= next_ && isKey( afterLastErased_ ) ) {
         return afterLastErased_;
      }
      std::size_t begin = next_;
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

   // Goes on to the first that is not erased, and lets go of memory when half of it is behind.
   void skipGone() {
      while ( next_ < run_.size() && run_[next_].gone ) {
         ++next_;
      }
      if ( runIsEmpty() && run_.capacity() > large ) {
         run_ = {};
         next_ = 0;
      } else if ( runIsEmpty() ) {
         run_.clear();
         next_ = 0;
      } else if ( next_ > large && next_ > run_.size() / 2 ) {
         run_.erase( run_.begin(), run_.begin() + static_cast< std::ptrdiff_t >( next_ ) );
         next_ = 0;
      }
   }

   std::vector< Entry > run_; ///< ascending
   std::size_t next_ = 0;     ///< its first; not erased
   std::size_t afterLastErased_ = 0;
   std::set< Key, Order > others_;
};

} // namespace detail

} // namespace Vek
