#include "forms/FilterJson.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   Vek::Ptr< const Classification::StructuredFilter > filter;
   if ( const auto fault = Forms::readFilterJson( Fuzz::text( data, size ), filter ) ) {
      Fuzz::require( !fault->empty(), "a fault has words" );
      Fuzz::require( !filter, "a filter that was not read is unchanged" );
      return 0;
   }
   Fuzz::require( filter != nullptr, "what was read is a filter" );
   Flowspec::FlowspecKey key;
   try {
      key.copyInStructuredFilter( filter );
   } catch ( const Vek::RangeException& ) {
      return 0; // more terms than a key holds
   }
   Fuzz::require( !Flowspec::unprintableTerm( key ), "a key of a filter can be printed" );
   Fuzz::checkForms( key );
   return 0;
}
