#include "Classification/NumericalRange.h"

#include "Vek/Exceptions.h"

#include <limits>

namespace Classification {

NumericalRange::NumericalRange( U32 rangeMin, U32 rangeMax )
   : NumericalRange( "Classification::NumericalRange", std::numeric_limits< U32 >::max(), rangeMin,
                     rangeMax ) {}

NumericalRange::NumericalRange( std::string_view type, U32 max, U32 rangeMin, U32 rangeMax )
   : rangeMin_( rangeMin ), rangeMax_( rangeMax ) {
   if ( rangeMin > rangeMax ) {
      Vek::throwRange( Vek::concat( type, ": ", *this, " is upside down" ) );
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
