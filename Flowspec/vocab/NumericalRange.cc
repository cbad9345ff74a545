#include "Flowspec/vocab/NumericalRange.h"

#include "Osk/Assert.h"
#include "Osk/HashMix.h"

#include <algorithm>

namespace Flowspec {

namespace {

void check( U64 rangeMin, U64 rangeMax, const char* upsideDownMessage ) {
   if ( rangeMin > rangeMax ) {
      Vek::throwRange( upsideDownMessage );
   }
   if ( rangeMin > NumericalRange::invalidValue() ) {
      Vek::throwRange( "Flowspec::NumericalRange::rangeMin < Flowspec::NumericalRange::min or > "
                       "Flowspec::NumericalRange::invalidValue not allowed" );
   }
   if ( rangeMax > NumericalRange::invalidValue() ) {
      Vek::throwRange( "Flowspec::NumericalRange::rangeMax < Flowspec::NumericalRange::min or > "
                       "Flowspec::NumericalRange::invalidValue not allowed" );
   }
}

} // namespace

NumericalRange::NumericalRange( U64 rangeMin, U64 rangeMax )
   : rangeMin_( static_cast< U32 >( rangeMin ) ), rangeMax_( static_cast< U32 >( rangeMax ) ) {
   check( rangeMin, rangeMax, "Flowspec::NumericalRange::rangeMin > rangeMax_ not allowed" );
}

// The algebra's results are checked like any other, under a message of their own.
NumericalRange NumericalRange::built( U32 rangeMin, U32 rangeMax ) {
   check( rangeMin, rangeMax, "Flowspec::NumericalRange::rangeMin > _rangeMax not allowed" );
   NumericalRange range;
   range.rangeMin_ = rangeMin;
   range.rangeMax_ = rangeMax;
   return range;
}

bool NumericalRange::isRangeOverlap( const NumericalRange& otherRange ) const {
   OSK_ASSERT( isValid() && otherRange.isValid(), "isValid() && otherRange.isValid()" );
   return otherRange.rangeMax_ >= rangeMin_ && otherRange.rangeMin_ <= rangeMax_;
}

NumericalRange NumericalRange::rangeIntersection( const NumericalRange& otherRange ) const {
   if ( !isRangeOverlap( otherRange ) ) {
      return NumericalRange();
   }
   return built( std::max( rangeMin_, otherRange.rangeMin_ ),
                 std::min( rangeMax_, otherRange.rangeMax_ ) );
}

NumericalRange NumericalRange::rangeUnion( const NumericalRange& otherRange ) const {
   if ( !isRangeOverlap( otherRange ) ) {
      return NumericalRange();
   }
   return built( std::min( rangeMin_, otherRange.rangeMin_ ),
                 std::max( rangeMax_, otherRange.rangeMax_ ) );
}

U32 NumericalRange::matchCompTypeMax( MatchCompType matchCompType ) {
   OSK_ASSERT( !isBitfieldType( matchCompType ) && matchCompType != destPrefix &&
                  matchCompType != srcPrefix,
               "!isBitfieldType( matchCompType ) && matchCompType != destPrefix() && "
               "matchCompType != srcPrefix()" );
   return matchCompType == invalid ? 255 : componentType( matchCompType ).maximum();
}

Vek::String NumericalRange::toStrep() const {
   return Vek::concat( "[ ", rangeMin_, ", ", rangeMax_, " ]" );
}

U32 NumericalRange::hash() const {
   Osk::HashMix mix;
   mix.mix( U64{ rangeMin_ } << 32 | rangeMax_ );
   return mix.value();
}

} // namespace Flowspec
