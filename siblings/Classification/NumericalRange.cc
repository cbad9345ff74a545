#include "Classification/NumericalRange.h"

#include "Vek/text/Exceptions.h"

#include <limits>

namespace Classification {

NumericalRange::NumericalRange( U64 rangeMin, U64 rangeMax )
   : NumericalRange( "Classification::NumericalRange", std::numeric_limits< U32 >::max(), rangeMin,
                     rangeMax ) {}

NumericalRange::NumericalRange( std::string_view type, U32 max, U64 rangeMin, U64 rangeMax )
   : rangeMin_( static_cast< U32 >( rangeMin ) ), rangeMax_( static_cast< U32 >( rangeMax ) ) {
   if ( rangeMin > rangeMax ) {
      Vek::throwRange( Vek::concat( type, ": ", rangeMin, '-', rangeMax, " is upside down" ) );
   }
   if ( rangeMax > max ) {
      Vek::throwRange( Vek::concat( type, ": ", rangeMax, " is above ", max ) );
   }
}

Vek::String NumericalRange::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const NumericalRange& range ) {
   out << range.rangeMin();
   if ( range.hasRange() ) {
      out << '-' << range.rangeMax();
   }
   return out;
}

std::ostream& operator<<( std::ostream& out, const NumericalRange& range ) {
   return Vek::writeText( out, range.stringValue() );
}

} // namespace Classification
