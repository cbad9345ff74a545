#include "Vek/types/Arguments.h"

namespace Vek {

namespace {

constexpr std::size_t aligned( std::size_t size ) {
   constexpr std::size_t unit = sizeof( std::max_align_t );
   return ( size + unit - 1 ) / unit * unit;
}

} // namespace

Arguments::Arguments( std::span< const ValueType* const > types )
   : types_( types ), values_( inPlaceValues_ ) {
   std::size_t size = 0;
   for ( const ValueType* const type : types_ ) {
      size += aligned( type->size );
   }
   if ( types_.size() > inPlaceCount ) {
      more_ = std::make_unique< void*[] >( types_.size() );
      values_ = more_.get();
   }
   U8* at = inPlace_;
   if ( size > inPlaceSize ) {
      large_ = std::make_unique< std::max_align_t[] >( size / sizeof( std::max_align_t ) );
      at = reinterpret_cast< U8* >( large_.get() );
   }
   for ( const ValueType* const type : types_ ) {
      type->construct( at );
      values_[constructed_++] = at;
      at += aligned( type->size );
   }
}

Arguments::~Arguments() {
   while ( constructed_ > 0 ) {
      --constructed_;
      types_[constructed_]->destroy( values_[constructed_] );
   }
}

} // namespace Vek
