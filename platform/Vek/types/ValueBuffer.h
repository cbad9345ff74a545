#pragma once

#include "Vek/types/Arguments.h"

namespace Vek {

/// A default value of a type that is known by its description alone.
class ValueBuffer {
public:
   explicit ValueBuffer( const ValueType& type )
      : type_( &type ), value_( std::span( &type_, 1 ) ) {}
   ValueBuffer( const ValueBuffer& ) = delete;
   ValueBuffer& operator=( const ValueBuffer& ) = delete;
   ~ValueBuffer() = default;

   void* get() const { return value_[0]; }

private:
   const ValueType* const type_;
   const Arguments value_;
};

} // namespace Vek
