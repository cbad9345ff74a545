#pragma once

#include "Vek/collections/Version.h"

#include <cstddef>
#include <string_view> // the categories of iterators: <iterator> brings those of streams, too
#include <utility>

namespace Vek::detail {

/// Goes over the members of a collection that are side by side, forward. Used after a change of
/// the collection or after its end, it ends the process with the assertion "version ==
/// collection.version()"; at the end, with "iterator != collection.end()".
template < typename Member >
class DenseIterator {
public:
   using iterator_category = std::forward_iterator_tag;
   using value_type = Member;
   using difference_type = std::ptrdiff_t;
   using pointer = const Member*;
   using reference = const Member&;

   /// At the end.
   DenseIterator() = default;
   /// At a member.
   DenseIterator( const Version& version, const Member* at, const Member* end )
      : seen_( version ), at_( at ), end_( end ) {}

   const Member& operator*() const { return *operator->(); }
   const Member* operator->() const {
      seen_.check();
      return at_;
   }
   DenseIterator& operator++() {
      seen_.check();
      if ( ++at_ == end_ ) {
         at_ = nullptr;
         seen_ = SeenVersion();
      }
      return *this;
   }
   DenseIterator operator++( int ) {
      const DenseIterator before = *this;
      ++*this;
      return before;
   }
   bool operator==( const DenseIterator& other ) const { return at_ == other.at_; }

   /// The member, which is one of the collection with `version`.
   const Member* of( const Version& version ) const {
      seen_.check( version );
      return at_;
   }

private:
   SeenVersion seen_;
   const Member* at_ = nullptr; ///< null at the end
   const Member* end_ = nullptr;
};

} // namespace Vek::detail
