#pragma once

#include "Osk/Types.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace Vek {

/// Goes over the members of a collection in the ascending order of their keys, a few at a time. The
/// collection may change in between: a member that is there all the time is visited once, and none
/// that is gone.
class KeyWalk {
public:
   /// Given a key and what the collection finds under it; whether the member is done with. It does
   /// not change the collection.
   using Visitor = std::function< bool( const void* key, const void* member ) >;

   virtual ~KeyWalk() = default;

   /// Goes on with the collection of `object`, always the same one, until all members were visited,
   /// which is what it returns. Ends before that when `steps`, of which each takes less than about
   /// a microsecond, are used up, or when the visitor is not done with a member, which it is given
   /// again next time.
   virtual bool visit( const void* object, U64& steps, const Visitor& visitor ) = 0;

   /// Whether a member that is inserted with `key` now would be visited. False where that is not
   /// known without looking for it.
   virtual bool covers( const void* key ) const = 0;
};

namespace detail {

/// For collections that are in order: finds the place after the key that was visited last.
template < typename Row >
class OrderedWalk final : public KeyWalk {
   using Access = typename Row::Access;
   using Key = typename Row::Key;

public:
   static KeyWalk* make() { return new OrderedWalk; }

   bool visit( const void* object, U64& steps, const Visitor& visitor ) override {
      const Key* visited = nullptr;
      const bool all = Access::visitAfter( Row::collection( object ), last_ ? &*last_ : nullptr,
                                           [&]( const Key& key, const void* member ) {
                                              if ( steps == 0 || !visitor( &key, member ) ) {
                                                 return false;
                                              }
                                              --steps;
                                              visited = &key;
                                              return true;
                                           } );
      if ( visited ) {
         last_ = *visited;
      }
      return all;
   }

   bool covers( const void* key ) const override {
      return !last_ || typename Access::Order()( *last_, *static_cast< const Key* >( key ) );
   }

private:
   std::optional< Key > last_;
};

/// For hash collections. Sorting all of a large one would take too long at once, and a copy of its
/// keys too much memory. So it is gone over for one portion of the order after the other, of which
/// the keys are gathered, sorted in short runs, and merged.
///
/// Members are side by side; a new one is added after them, and one that goes is replaced by the
/// last. Who goes from the last to the first therefore misses none that stays.
template < typename Row >
class HashWalk final : public KeyWalk {
   using Access = typename Row::Access;
   using Key = typename Row::Key;
   using Order = typename Access::Order;

public:
   static KeyWalk* make() { return new HashWalk; }

   bool visit( const void* object, U64& steps, const Visitor& visitor ) override {
      const auto members = Access::members( Row::collection( object ) );
      if ( !begun_ ) {
         begun_ = true;
         choosePortions( members );
         unscanned_ = members.size();
      }
      for ( ;; ) {
         if ( !scan( members, steps ) ) {
            return false;
         }
         while ( !runs_.empty() ) {
            if ( steps == 0 ) {
               return false;
            }
            --steps;
            const void* const key = &runs_.front().first();
            const void* const member = Row::find( object, key );
            if ( member && !visitor( key, member ) ) {
               return false;
            }
            dropFirst();
         }
         if ( portion_ == lastKeys_.size() ) {
            return true;
         }
         ++portion_;
         unscanned_ = members.size();
      }
   }

   bool covers( const void* key ) const override {
      return !begun_ || ( portion_ < lastKeys_.size() &&
                          Order()( lastKeys_[portion_], *static_cast< const Key* >( key ) ) );
   }

private:
   static constexpr std::size_t maxPortions = 8;
   static constexpr std::size_t portionSize = 4096; ///< smaller ones are not worth another round
   static constexpr std::size_t samplesAPortion = 64;
   static constexpr std::size_t runSize = 512;
   static constexpr std::size_t scannedAStep = 4;

   struct Run {
      const Key& first() const { return keys[at]; }

      std::vector< Key > keys;
      std::size_t at = 0;
   };
   struct Later {
      bool operator()( const Run& a, const Run& b ) const {
         return Order()( b.first(), a.first() );
      }
   };

   // By a sample: how large the portions are decides about time and memory alone.
   template < typename Members >
   void choosePortions( const Members& members ) {
      const std::size_t portions = std::min( maxPortions, 1 + members.size() / portionSize );
      if ( portions == 1 ) {
         return;
      }
      std::vector< Key > sample;
      const std::size_t stride = members.size() / ( portions * samplesAPortion );
      for ( std::size_t i = 0; i < portions * samplesAPortion; ++i ) {
         sample.push_back( Access::keyOf( members[i * stride] ) );
      }
      std::sort( sample.begin(), sample.end(), Order() );
      for ( std::size_t i = 1; i < portions; ++i ) {
         lastKeys_.push_back( sample[i * samplesAPortion - 1] );
      }
   }

   bool isInPortion( const Key& key ) const {
      return ( portion_ == 0 || Order()( lastKeys_[portion_ - 1], key ) ) &&
             ( portion_ == lastKeys_.size() || !Order()( lastKeys_[portion_], key ) );
   }

   // Gathers the keys of the portion; whether it has all.
   template < typename Members >
   bool scan( const Members& members, U64& steps ) {
      unscanned_ = std::min( unscanned_, members.size() );
      while ( unscanned_ > 0 ) {
         if ( steps == 0 ) {
            return false;
         }
         --steps;
         for ( std::size_t i = std::min( scannedAStep, unscanned_ ); i > 0; --i ) {
            const Key& key = Access::keyOf( members[--unscanned_] );
            if ( isInPortion( key ) ) {
               gathered_.push_back( key );
            }
         }
         if ( gathered_.size() >= runSize ) {
            endRun();
         }
      }
      endRun();
      return true;
   }

   void endRun() {
      if ( !gathered_.empty() ) {
         std::sort( gathered_.begin(), gathered_.end(), Order() );
         runs_.push_back( { std::exchange( gathered_, {} ) } );
         std::push_heap( runs_.begin(), runs_.end(), Later() );
      }
   }

   void dropFirst() {
      std::pop_heap( runs_.begin(), runs_.end(), Later() );
      if ( ++runs_.back().at == runs_.back().keys.size() ) {
         runs_.pop_back();
      } else {
         std::push_heap( runs_.begin(), runs_.end(), Later() );
      }
   }

   bool begun_ = false;
   std::vector< Key > lastKeys_; ///< of each portion but the last one
   std::size_t portion_ = 0;
   std::size_t unscanned_ = 0;   ///< members, from the first on, to be looked at for the portion
   std::vector< Key > gathered_; ///< of the run that is not full
   std::vector< Run > runs_;     ///< a heap, the lowest key first
};

/// The walk over a row's collection. Null for one that is only part of a value, which is never gone
/// over in portions.
template < typename Row >
struct KeyWalkOf {
   static constexpr auto make() -> KeyWalk* (*)() {
      if constexpr ( requires { &Row::Access::members; } ) {
         return HashWalk< Row >::make;
      } else if constexpr ( requires { Row::Access::inOrder; } ) {
         return OrderedWalk< Row >::make;
      } else {
         return nullptr;
      }
   }
};

} // namespace detail

} // namespace Vek
