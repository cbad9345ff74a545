#pragma once

#include "Osk/Types.h"

#include <set>

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

template < typename Key, typename Order >
class DirtyKeysOf final : public DirtyKeys {
public:
   static DirtyKeys* make() { return new DirtyKeysOf; }

   bool empty() const override { return keys_.empty(); }
   // Whole collections come in ascending order.
   void insert( const void* key ) override {
      keys_.insert( keys_.end(), *static_cast< const Key* >( key ) );
   }
   void erase( const void* key ) override { keys_.erase( *static_cast< const Key* >( key ) ); }
   const void* first() const override { return &*keys_.begin(); }
   void eraseFirst() override { keys_.erase( keys_.begin() ); }

private:
   std::set< Key, Order > keys_;
};

} // namespace detail

} // namespace Vek
