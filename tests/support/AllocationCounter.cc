#include "tests/support/AllocationCounter.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace {

constinit thread_local U64 allocations = 0;
constinit thread_local U64 lastAllocation = std::numeric_limits< U64 >::max();

// Counts an allocation; whether it may succeed.
bool count() noexcept { return ++allocations <= lastAllocation; }

void* allocate( std::size_t bytes ) noexcept { return count() ? std::malloc( bytes ) : nullptr; }

void* allocate( std::size_t bytes, std::align_val_t alignment ) noexcept {
   if ( !count() ) {
      return nullptr;
   }
   void* memory = nullptr;
   return posix_memalign( &memory, static_cast< std::size_t >( alignment ), bytes ) == 0 ? memory
                                                                                         : nullptr;
}

void* required( void* memory ) {
   if ( !memory ) {
      throw std::bad_alloc();
   }
   return memory;
}

} // namespace

U64 TestSupport::AllocationCounter::total() { return allocations; }

TestSupport::AllocationLimit::AllocationLimit( U64 count ) { lastAllocation = allocations + count; }
TestSupport::AllocationLimit::~AllocationLimit() {
   lastAllocation = std::numeric_limits< U64 >::max();
}
bool TestSupport::AllocationLimit::wasReached() const { return allocations > lastAllocation; }

// All forms: one that was left out would come from the sanitizer's or the standard library's
// `operator new` and go to the `operator delete` of this file.
void* operator new( std::size_t bytes ) { return required( allocate( bytes ) ); }
void* operator new[]( std::size_t bytes ) { return required( allocate( bytes ) ); }
void* operator new( std::size_t bytes, const std::nothrow_t& ) noexcept {
   return allocate( bytes );
}
void* operator new[]( std::size_t bytes, const std::nothrow_t& ) noexcept {
   return allocate( bytes );
}
void* operator new( std::size_t bytes, std::align_val_t alignment ) {
   return required( allocate( bytes, alignment ) );
}
void* operator new[]( std::size_t bytes, std::align_val_t alignment ) {
   return required( allocate( bytes, alignment ) );
}
void* operator new( std::size_t bytes, std::align_val_t alignment,
                    const std::nothrow_t& ) noexcept {
   return allocate( bytes, alignment );
}
void* operator new[]( std::size_t bytes, std::align_val_t alignment,
                      const std::nothrow_t& ) noexcept {
   return allocate( bytes, alignment );
}

void operator delete( void* memory ) noexcept { std::free( memory ); }
void operator delete[]( void* memory ) noexcept { std::free( memory ); }
void operator delete( void* memory, std::size_t ) noexcept { std::free( memory ); }
void operator delete[]( void* memory, std::size_t ) noexcept { std::free( memory ); }
void operator delete( void* memory, const std::nothrow_t& ) noexcept { std::free( memory ); }
void operator delete[]( void* memory, const std::nothrow_t& ) noexcept { std::free( memory ); }
void operator delete( void* memory, std::align_val_t ) noexcept { std::free( memory ); }
void operator delete[]( void* memory, std::align_val_t ) noexcept { std::free( memory ); }
void operator delete( void* memory, std::size_t, std::align_val_t ) noexcept {
   std::free( memory );
}
void operator delete[]( void* memory, std::size_t, std::align_val_t ) noexcept {
   std::free( memory );
}
void operator delete( void* memory, std::align_val_t, const std::nothrow_t& ) noexcept {
   std::free( memory );
}
void operator delete[]( void* memory, std::align_val_t, const std::nothrow_t& ) noexcept {
   std::free( memory );
}
