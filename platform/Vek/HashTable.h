#pragma once

#include "Vek/HashIndex.h"
#include "Vek/Hasher.h"
#include "Vek/KeyOrder.h"
#include "Vek/SortedVector.h"

#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <span>

namespace Vek::detail {

/// What `HashMap` and `HashSet` have in common: members side by side in a vector, and an index that
/// finds them once they are more than a few.
template < typename Member, typename KeyOf, typename Hash >
class HashTable {
   // Removals move a member, and are not to fail.
   static_assert( std::is_nothrow_move_constructible_v< Member > &&
                  std::is_nothrow_move_assignable_v< Member > );

public:
   using value_type = Member;
   using Key = std::remove_cvref_t< std::invoke_result_t< KeyOf, const Member& > >;

   /// Goes over the members in no order to rely on. Used after a change of the collection, it ends
   /// the process with the assertion "version == collection.version()".
   class const_iterator {
   public:
      using iterator_category = std::forward_iterator_tag;
      using value_type = Member;
      using difference_type = std::ptrdiff_t;
      using pointer = const Member*;
      using reference = const Member&;

      const_iterator() = default;
      const Member& operator*() const { return *operator->(); }
      const Member* operator->() const {
         check();
         return table_->members_.data() + position_;
      }
      const_iterator& operator++() {
         check();
         return *this = table_->placeAt( position_ + 1 );
      }
      const_iterator operator++( int ) { return std::exchange( *this, std::next( *this ) ); }
      bool operator==( const const_iterator& other ) const { return position_ == other.position_; }

   private:
      friend class HashTable;
      const_iterator( const HashTable& table, U32 position )
         : table_( &table ), version_( table.version_ ), position_( position ) {}

      void check() const {
         if ( version_ != table_->version_ ) [[unlikely]] {
            versionChanged();
         }
      }

      const HashTable* table_ = nullptr;
      U64 version_ = 0;
      U32 position_ = 0;
   };

   U32 size() const { return static_cast< U32 >( members_.size() ); }
   bool empty() const { return members_.empty(); }
   const_iterator begin() const { return placeAt( 0 ); }
   const_iterator end() const { return { *this, HashIndex::none }; }

   /// Another number after each change.
   U64 version() const { return version_; }

   /// The member with `key`, or `end()`.
   const_iterator find( const Key& key ) const { return { *this, position( key ) }; }
   /// The same for who mostly goes on where he or an insertion was last: looks there first, and at
   /// the member behind it. Remembers the place, so not for two threads at once.
   const_iterator findNear( const Key& key ) const {
      U32 at = nearPosition( key );
      if ( at == HashIndex::none ) {
         at = position( key );
         near_ = at;
      }
      return { *this, at };
   }
   bool contains( const Key& key ) const { return position( key ) != HashIndex::none; }

   /// Removes the member with `key`; whether there was one.
   bool erase( const Key& key ) {
      const U32 at = position( key );
      if ( at == HashIndex::none ) {
         return false;
      }
      eraseAt( at );
      return true;
   }

   /// Removes the member at `at` and returns the place where to go on to meet all others.
   const_iterator erase( const_iterator at ) {
      at.check();
      eraseAt( at.position_ );
      return placeAt( at.position_ );
   }

   /// Removes all members. They are dropped when the collection is empty already.
   void clear() { HashTable().swap( *this ); }

   /// Pointers to all members in the ascending order of their keys, good until the next change.
   std::vector< const Member* > sorted() const {
      std::vector< const Member* > result;
      result.reserve( size() );
      for ( const Member& member : members_ ) {
         result.push_back( &member );
      }
      // An empty vector may have no memory, which the C library does not take.
      if ( !result.empty() ) {
         std::qsort( result.data(), result.size(), sizeof( const Member* ), compareKeys );
      }
      return result;
   }

   /// All members as they stand in memory, good until the next change. A new member comes last;
   /// when one goes, the last takes its place.
   std::span< const Member > unsorted() const { return members_; }

   /// Whether both have the same members, in whatever order they came.
   bool operator==( const HashTable& other ) const {
      if ( size() != other.size() ) {
         return false;
      }
      for ( const Member& member : members_ ) {
         const const_iterator at = other.find( KeyOf()( member ) );
         if ( at == other.end() || !( *at == member ) ) {
            return false;
         }
      }
      return true;
   }

protected:
   HashTable() = default;
   HashTable( const HashTable& other ) : members_( other.members_ ), index_( other.index_ ) {}
   HashTable( HashTable&& other ) noexcept { swap( other ); }
   HashTable& operator=( const HashTable& other ) {
      HashTable( other ).swap( *this );
      return *this;
   }
   HashTable& operator=( HashTable&& other ) noexcept {
      HashTable( std::move( other ) ).swap( *this );
      return *this;
   }
   ~HashTable() = default;

   // Inserts what `make()` gives unless there is a member with `key`; the place, and whether it was
   // inserted. An exception changes nothing.
   template < typename Make >
   std::pair< const_iterator, bool > insertWith( const Key& key, Make make ) {
      if ( !isIndexed() ) {
         const U32 at = positionOfFew( key );
         if ( at != HashIndex::none ) {
            return { { *this, at }, false };
         }
         if ( size() == few ) {
            index_ = indexOfAll();
         }
      }
      if ( isIndexed() ) {
         U32 at = nearPosition( key );
         if ( at != HashIndex::none ) {
            return { { *this, at }, false };
         }
         const U32 hash = Hash()( key );
         at = indexedPosition( key, hash );
         if ( at != HashIndex::none ) {
            near_ = at;
            return { { *this, at }, false };
         }
         index_.makeRoom();
         members_.push_back( make() );
         index_.add( hash );
         near_ = size() - 1;
      } else {
         members_.push_back( make() );
      }
      ++version_;
      return { { *this, size() - 1 }, true };
   }

   Member& member( const_iterator at ) {
      at.check();
      return members_[at.position_];
   }

   // Takes note of a change of a member; gives its place to go on from.
   const_iterator changed( const_iterator at ) {
      ++version_;
      return { *this, at.position_ };
   }

private:
   // The order of two pointers to members, as the C library's sort asks for it.
   static int compareKeys( const void* a, const void* b ) {
      const Key& left = KeyOf()( **static_cast< const Member* const* >( a ) );
      const Key& right = KeyOf()( **static_cast< const Member* const* >( b ) );
      constexpr KeyOrder< Key > isLess;
      return isLess( right, left ) - isLess( left, right );
   }

   // The sets inside values mostly have one member or two: these are looked at one by one.
   static constexpr U32 few = 8;

   bool isIndexed() const { return index_.size() > 0; }

   HashIndex indexOfAll() const {
      HashIndex index;
      for ( const Member& member : members_ ) {
         index.makeRoom();
         index.add( Hash()( KeyOf()( member ) ) );
      }
      return index;
   }

   // The end has a position of its own, so that what `find` gives is compared with nothing else.
   const_iterator placeAt( U32 position ) const {
      return { *this, position < size() ? position : HashIndex::none };
   }

   U32 position( const Key& key ) const {
      return isIndexed() ? indexedPosition( key, Hash()( key ) ) : positionOfFew( key );
   }
   // Collections are mostly gone over in the order in which they were filled: then a key is that of
   // the member behind the last one, and needs neither hash nor index.
   U32 nearPosition( const Key& key ) const {
      for ( const U32 at : { near_ + 1, near_ } ) {
         if ( at < size() && KeyOf()( members_[at] ) == key ) {
            near_ = at;
            return at;
         }
      }
      return HashIndex::none;
   }
   U32 indexedPosition( const Key& key, U32 hash ) const {
      return index_.find( hash, [&]( U32 i ) { return KeyOf()( members_[i] ) == key; } );
   }
   U32 positionOfFew( const Key& key ) const {
      for ( U32 i = 0; i < members_.size(); ++i ) {
         if ( KeyOf()( members_[i] ) == key ) {
            return i;
         }
      }
      return HashIndex::none;
   }

   void eraseAt( U32 at ) {
      ++version_;
      if ( isIndexed() ) {
         index_.erase( at );
      }
      [[maybe_unused]] const Member dropped = std::move( members_[at] );
      if ( at + 1 != size() ) {
         members_[at] = std::move( members_.back() );
      }
      members_.pop_back();
   }

   void swap( HashTable& other ) noexcept {
      members_.swap( other.members_ );
      index_.swap( other.index_ );
      ++version_;
      ++other.version_;
   }

   std::vector< Member > members_;
   HashIndex index_;
   U64 version_ = 0;
   mutable U32 near_ = 0; ///< where a member was found last, or any position
};

} // namespace Vek::detail
