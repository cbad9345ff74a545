#pragma once

#include "Flowspec/vocab/MatchOpVal.h"
#include "Vek/collections/SmallVector.h"

#include <algorithm>
#include <span>

namespace Flowspec {

/// The packed words of a rule key as an ordered map from index to word. Up to 8 words stand in
/// place, more on the heap; a copy is deep.
///
/// Each member is one 64-bit number, the index above the word, so that members compare as numbers
/// and a key without gaps finds the word of an index at that position.
class TermWords {
public:
   /// One member, as an iterator yields it.
   struct Member {
      MatchOpValIndex index;
      MatchOpVal word;
      bool operator==( const Member& ) const = default;
   };

   /// Iterates in the order of the indices. After a change it goes on at the same position; where
   /// no word is, `Vek::VectorRangeException`.
   class const_iterator {
   public:
      using value_type = Member;
      using difference_type = std::ptrdiff_t;

      const_iterator() = default;
      explicit const_iterator( Vek::SmallVector< U64, 8 >::const_iterator at ) : at_( at ) {}
      Member operator*() const { return unpacked( *at_ ); }
      const_iterator& operator++() {
         ++at_;
         return *this;
      }
      const_iterator operator++( int ) { return const_iterator( at_++ ); }
      bool operator==( const const_iterator& ) const = default;

   private:
      Vek::SmallVector< U64, 8 >::const_iterator at_;
   };

   /// Whether the words are in the collection itself; its bytes are then those of its equals.
   bool isInPlace() const { return members_.isInPlace(); }

   U32 size() const { return members_.size(); }
   bool empty() const { return members_.empty(); }
   const_iterator begin() const { return const_iterator( members_.begin() ); }
   const_iterator end() const { return const_iterator( members_.end() ); }

   /// The word at `index`, or null when there is none; the pointer is to the packed member.
   const U64* find( MatchOpValIndex index ) const {
      const U32 at = position( index );
      return at < size() && members_.data()[at] >> 32 == index.value() ? members_.data() + at
                                                                       : nullptr;
   }

   /// Inserts the word at `index`, or replaces the one that is there.
   void set( MatchOpValIndex index, MatchOpVal word ) {
      const U64 member = U64{ index.value() } << 32 | word.storage();
      if ( empty() || members_.data()[size() - 1] >> 32 < index.value() ) [[likely]] {
         members_.push( member );
      } else {
         setBefore( index, member );
      }
   }

   /// Removes the word at `index`, if there is one.
   void erase( MatchOpValIndex index ) {
      if ( const U64* const member = find( index ) ) {
         members_.erase( static_cast< U32 >( member - members_.data() ) );
      }
   }

   void clear() { members_.clear(); }

   /// Replaces all members by `count` ones, which the caller writes to where the result points:
   /// packed and ascending.
   U64* assign( U32 count ) { return members_.assign( count ); }

   /// The members as packed numbers, ascending.
   std::span< const U64 > packed() const { return { members_.data(), members_.size() }; }

   bool operator==( const TermWords& ) const = default;

private:
   static Member unpacked( U64 member ) {
      return { MatchOpValIndex( static_cast< U32 >( member >> 32 ) ),
               MatchOpVal( static_cast< U32 >( member ) ) };
   }

   // Sets a member that does not come after all others.
   void setBefore( MatchOpValIndex index, U64 member ) {
      const U32 at = position( index );
      if ( members_.data()[at] >> 32 == index.value() ) {
         members_.set( at, member );
      } else {
         members_.insert( at, member );
      }
   }

   // Where the member of `index` stands or would stand. Without gaps that is `index` itself.
   U32 position( MatchOpValIndex index ) const {
      const U32 value = index.value();
      if ( value >= size() && ( empty() || members_.data()[size() - 1] >> 32 < value ) ) {
         return size();
      }
      if ( value < size() && members_.data()[value] >> 32 == value ) [[likely]] {
         return value;
      }
      const U64* const members = members_.data();
      return static_cast< U32 >(
         std::partition_point( members, members + size(),
                               [&]( U64 member ) { return member >> 32 < value; } ) -
         members );
   }

   Vek::SmallVector< U64, 8 > members_;
};

} // namespace Flowspec
