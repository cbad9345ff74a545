#include "tests/support/AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

constinit thread_local U64 allocations = 0;

void* allocate( std::size_t bytes ) noexcept {
   ++allocations;
   return std::malloc( bytes );
}

void* allocate( std::size_t bytes, std::align_val_t alignment ) noexcept {
   ++allocations;
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
