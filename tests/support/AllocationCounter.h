#pragma once

#include "Osk/Types.h"

namespace TestSupport {

/// Counts how often the calling thread takes memory from `operator new`. A program with
/// `AllocationCounter.cc` in it has every form of `operator new` replaced, shared libraries'
/// calls included; under a sanitizer its heap still stands below.
class AllocationCounter {
public:
   AllocationCounter() : start_( total() ) {}

   /// Allocations since this counter was made.
   U64 count() const { return total() - start_; }

private:
   static U64 total();

   U64 start_;
};

/// While it lives, `operator new` fails on the calling thread once it has given memory `count`
/// times more.
class AllocationLimit {
public:
   explicit AllocationLimit( U64 count );
   AllocationLimit( const AllocationLimit& ) = delete;
   AllocationLimit& operator=( const AllocationLimit& ) = delete;
   ~AllocationLimit();

   /// Whether an allocation failed.
   bool wasReached() const;
};

} // namespace TestSupport
