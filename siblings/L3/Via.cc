#include "L3/Via.h"

#include "Vek/text/Exceptions.h"

namespace L3 {

MplsLabel::MplsLabel( U64 value ) : value_( static_cast< U32 >( value ) ) {
   if ( value > none() ) {
      Vek::throwRange( Vek::concat( "L3::MplsLabel: ", value, " is above ", none() ) );
   }
}

Vek::String MplsLabel::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const MplsLabel& label ) {
   return label ? out << label.value() : out << "none";
}

std::ostream& operator<<( std::ostream& out, const MplsLabel& label ) {
   return Vek::writeText( out, label.stringValue() );
}

Vek::TextWriter& operator<<( Vek::TextWriter& out, const Via& via ) {
   return out << "<address=" << via.address << ";intf=" << via.intf
              << ";mplsLabel=" << via.mplsLabel << ";active=" << int{ via.active } << '>';
}

std::ostream& operator<<( std::ostream& out, const Via& via ) {
   return Vek::writeText( out, Vek::concat( via ) );
}

} // namespace L3
