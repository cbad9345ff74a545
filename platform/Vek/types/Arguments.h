#pragma once

#include "Vek/types/ValueType.h"

#include <cstddef>
#include <memory>
#include <span>

namespace Vek {

/// Values of types that are known by their descriptions alone, such as the arguments of a
/// constructor: default ones at first. Up to 8 of together 512 bytes are in place.
class OSK_EXPORT Arguments {
public:
   explicit Arguments( std::span< const ValueType* const > types );
   Arguments( const Arguments& ) = delete;
   Arguments& operator=( const Arguments& ) = delete;
   ~Arguments();

   void* operator[]( std::size_t position ) const { return values_[position]; }
   void* const* data() const { return values_; }

private:
   static constexpr std::size_t inPlaceCount = 8;
   static constexpr std::size_t inPlaceSize = 512;

   std::span< const ValueType* const > types_;
   std::size_t constructed_ = 0;
   void** values_;
   std::unique_ptr< void*[] > more_;
   std::unique_ptr< std::max_align_t[] > large_;
   void* inPlaceValues_[inPlaceCount];
   alignas( std::max_align_t ) U8 inPlace_[inPlaceSize];
};

} // namespace Vek
