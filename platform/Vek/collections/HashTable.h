#pragma once

#include "Vek/collections/DenseIterator.h"
#include "Vek/collections/HashIndex.h"
#include "Vek/collections/Hasher.h"
#include "Vek/collections/KeyOrder.h"
#include "Vek/collections/MemberSort.h"
#include "Vek/collections/SortedVector.h"

#include <cstddef>
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
   using const_iterator = DenseIterator< Member >;

   U32 size() const { return static_cast< U32 >( members_.size() ); }
   bool empty() const { return members_.empty(); }
   const_iterator begin() const { return placeAt( 0 ); }
   const_iterator end() const { return {}; }

   /// Another number after each insertion and removal; 0 before there is a member.
   U64 version() const { return version_.number(); }

   /// The member with `key`, or `end()`.
   const_iterator find( const Key& key ) const {
      const U32 at = position( key );
      return at == HashIndex::none ? end() : memberAt( at );
   }
   /// The same for who mostly goes on where he or an insertion was last: looks there first, and at
   /// the member after it. Remembers the place, so not for two threads at once.
   const_iterator findNear( const Key& key ) const {
      U32 at = nearPosition( key );
      if ( at == HashIndex::none ) {
         at = position( key );
         near_ = at;
      }
      return at == HashIndex::none ? end() : memberAt( at );
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

   /// Removes the member at `at`, which is one of this collection, and returns the place where to
   /// go on to meet all others: `at = collection.erase( at )`.
   const_iterator erase( const_iterator at ) {
      const U32 position = positionOf( at );
      eraseAt( position );
      return placeAt( position );
   }

   /// Removes all members. They are dropped when the collection is empty already.
   void clear() { HashTable().swap( *this ); }

   /// Pointers to all members in the ascending order of their keys, checked as iterators are.
   class Sorted {
   public:
      class const_iterator {
      public:
         using iterator_category = std::input_iterator_tag;
         using value_type = const Member*;
         using difference_type = std::ptrdiff_t;
         using pointer = const value_type*;
         using reference = value_type;

         value_type operator*() const {
            if ( *this == sorted_->end() ) [[unlikely]] {
               iteratorAtEnd();
            }
            sorted_->seen_.check();
            return static_cast< value_type >( at_->member );
         }
         const_iterator& operator++() {
            ++at_;
            return *this;
         }
         const_iterator operator++( int ) {
            const const_iterator before = *this;
            ++*this;
            return before;
         }
         bool operator==( const const_iterator& other ) const { return at_ == other.at_; }

      private:
         friend class Sorted;
         const_iterator( const Sorted& sorted, const SortEntry* at )
            : sorted_( &sorted ), at_( at ) {}

         const Sorted* sorted_;
         const SortEntry* at_;
      };

      const_iterator begin() const { return { *this, members_.data() }; }
      const_iterator end() const { return { *this, members_.data() + members_.size() }; }
      std::size_t size() const { return members_.size(); }

   private:
      friend class HashTable;
      explicit Sorted( const HashTable& table ) : seen_( table.version_ ) {
         members_.reserve( table.size() );
         for ( const Member& member : table.members_ ) {
            members_.push_back( { keyPrefixOf< KeyOrder< Key > >( KeyOf()( member ) ), &member } );
         }
         sortMembers( members_, isBefore );
      }

      SeenVersion seen_;
      std::vector< SortEntry > members_;
   };
   Sorted sorted() const { return Sorted( *this ); }

   /// All members as they are in memory, good until the next change. A new member comes last;
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
   HashTable( const HashTable& other ) : members_( other.members_ ), index_( other.index_ ) {
      if ( !empty() ) {
         version_.prepare();
      }
   }
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
            return { memberAt( at ), false };
         }
         if ( size() == few ) {
            index_ = indexOfAll();
         }
      }
      version_.prepare();
      if ( isIndexed() ) {
         U32 at = nearPosition( key );
         if ( at != HashIndex::none ) {
            return { memberAt( at ), false };
         }
         const U32 hash = index_.spread( Hash()( key ) );
         at = indexedPosition( key, hash );
         if ( at != HashIndex::none ) {
            near_ = at;
            return { memberAt( at ), false };
         }
         index_.makeRoom( keysOf() );
         members_.push_back( make() );
         try {
            index_.add( hash, keysOf() );
         } catch ( ... ) {
            members_.pop_back();
            throw;
         }
         near_ = size() - 1;
      } else {
         members_.push_back( make() );
      }
      version_.change();
      return { memberAt( size() - 1 ), true };
   }

   Member& member( const_iterator at ) { return members_[positionOf( at )]; }

   // Takes note of a change of a member; gives its place to go on from.
   const_iterator changed( const_iterator at ) {
      const U32 position = positionOf( at );
      version_.change();
      return memberAt( position );
   }

private:
   static int compareKeys( const Key& a, const Key& b ) {
      constexpr KeyOrder< Key > isLess;
      return isLess( b, a ) - isLess( a, b );
   }
   static bool isBefore( const void* a, const void* b ) {
      return KeyOrder< Key >()( KeyOf()( *static_cast< const Member* >( a ) ),
                                KeyOf()( *static_cast< const Member* >( b ) ) );
   }

   HashKeys keys() const {
      return { this,
               []( const void* table, U32 position ) -> const void* {
                  return &static_cast< const HashTable* >( table )->keyAt( position );
               },
               []( const void* a, const void* b ) {
                  return compareKeys( *static_cast< const Key* >( a ),
                                      *static_cast< const Key* >( b ) );
               } };
   }
   auto keysOf() const {
      return [this] { return keys(); };
   }
   const Key& keyAt( U32 position ) const { return KeyOf()( members_.data()[position] ); }

   // What the index looks for.
   struct Wanted {
      const HashTable& table;
      const Key& key;

      bool matches( U32 position ) const { return table.keyAt( position ) == key; }
      U32 inCrowd( const HashCrowd& crowd ) const {
         const U32* const position = crowd.find( table.keys(), &key );
         return position ? *position : HashIndex::none;
      }
   };

   // The sets inside values mostly have one member or two: these are looked at one by one.
   static constexpr U32 few = 8;

   bool isIndexed() const { return index_.size() > 0; }

   HashIndex indexOfAll() const {
      HashIndex index;
      for ( const Member& member : members_ ) {
         index.makeRoom( keysOf() );
         index.add( index.spread( Hash()( KeyOf()( member ) ) ), keysOf() );
      }
      return index;
   }

   const_iterator memberAt( U32 position ) const {
      const Member* const members = members_.data();
      return { version_, members + position, members + members_.size() };
   }
   const_iterator placeAt( U32 position ) const {
      return position < members_.size() ? memberAt( position ) : end();
   }
   U32 positionOf( const_iterator at ) const {
      return static_cast< U32 >( at.of( version_ ) - members_.data() );
   }

   U32 position( const Key& key ) const {
      return isIndexed() ? indexedPosition( key, index_.spread( Hash()( key ) ) )
                         : positionOfFew( key );
   }
   // Collections are mostly gone over in the order in which they were filled: then a key is that of
   // the member after the last one, and needs neither hash nor index.
   U32 nearPosition( const Key& key ) const {
      for ( const U32 at : { near_ + 1, near_ } ) {
         if ( at < size() && keyAt( at ) == key ) {
            near_ = at;
            return at;
         }
      }
      return HashIndex::none;
   }
   U32 indexedPosition( const Key& key, U32 hash ) const {
      return index_.find( hash, Wanted{ *this, key } );
   }
   U32 positionOfFew( const Key& key ) const {
      for ( U32 i = 0; i < members_.size(); ++i ) {
         if ( keyAt( i ) == key ) {
            return i;
         }
      }
      return HashIndex::none;
   }

   void eraseAt( U32 at ) {
      version_.change();
      if ( isIndexed() ) {
         index_.erase( at, keys() );
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
      version_.swap( other.version_ );
   }

   std::vector< Member > members_;
   HashIndex index_;
   Version version_;
   mutable U32 near_ = 0; ///< where a member was found last, or any position
};

} // namespace Vek::detail
