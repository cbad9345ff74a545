#pragma once

#include "Vek/ValueType.h"

#include <cstddef>
#include <memory>

namespace Vek {

/// A default value of a type that is known by its description alone.
class ValueBuffer {
public:
   explicit ValueBuffer( const ValueType& type )
      : type_( type ), memory_( std::make_unique< std::max_align_t[] >( words( type.size ) ) ) {
      type_.construct( memory_.get() );
   }
   ValueBuffer( const ValueBuffer& ) = delete;
   ValueBuffer& operator=( const ValueBuffer& ) = delete;
   ~ValueBuffer() { type_.destroy( memory_.get() ); }

   void* get() const { return memory_.get(); }

private:
   static std::size_t words( std::size_t bytes ) {
      return ( bytes + sizeof( std::max_align_t ) - 1 ) / sizeof( std::max_align_t );
   }

   const ValueType& type_;
   const std::unique_ptr< std::max_align_t[] > memory_;
};

} // namespace Vek
