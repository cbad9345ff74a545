#include "Flowspec/config/MatchComponent.h"

#include "Flowspec/types/Types.h"
#include "Osk/Assert.h"
#include "Vek/Rows.h"

namespace Flowspec {

struct MatchComponent::Table {
   using T = MatchComponent;
   static constexpr Vek::Field rows[] = {
      Vek::key< &T::compType_ >( 2, "compType" ),
      Vek::attr< &T::prefix_, &T::prefixIs >( 3, "prefix" ),
      Vek::coll< &T::numericalRange_, &T::numericalRangeIs, &T::numericalRangeDel >(
         4, "numericalRange" ),
      Vek::coll< &T::ipBitMask_, &T::ipBitMaskIs, &T::ipBitMaskDel >( 5, "ipBitMask" ),
      Vek::coll< &T::tcpBitMask_, &T::tcpBitMaskIs, &T::tcpBitMaskDel >( 6, "tcpBitMask" ),
      Vek::operation< &T::matchTypePrefix >( 7, "matchTypePrefix" ),
      Vek::operation< &T::matchTypeNumericalRange >( 8, "matchTypeNumericalRange" ),
      Vek::operation< &T::matchTypeBitMask >( 9, "matchTypeBitMask" ),
   };
   static_assert( Vek::idsAscend( rows ) );
};

constinit const Vek::TypeInfo matchComponentInfo =
   Vek::valueInfo< MatchComponent >( MatchComponent::Table::rows );

MatchComponent::MatchComponent( const Vek::String& ) {
   OSK_ASSERT( false, "\"No String constructor for MatchComponent - has collection\" == nullptr" );
}

void MatchComponent::numericalRangeIs( const NumericalRange& range ) {
   numericalRange_.insert( range );
}
void MatchComponent::numericalRangeDel( const NumericalRange& range ) {
   numericalRange_.erase( range );
}
void MatchComponent::numericalRangeDelAll() { numericalRange_.clear(); }
void MatchComponent::ipBitMaskIs( const IpBitMask& mask ) { ipBitMask_.insert( mask ); }
void MatchComponent::ipBitMaskDel( const IpBitMask& mask ) { ipBitMask_.erase( mask ); }
void MatchComponent::ipBitMaskDelAll() { ipBitMask_.clear(); }
void MatchComponent::tcpBitMaskIs( const TcpBitMask& mask ) { tcpBitMask_.insert( mask ); }
void MatchComponent::tcpBitMaskDel( const TcpBitMask& mask ) { tcpBitMask_.erase( mask ); }
void MatchComponent::tcpBitMaskDelAll() { tcpBitMask_.clear(); }

bool MatchComponent::matchTypePrefix() const {
   return compType_ == destPrefix || compType_ == srcPrefix;
}

bool MatchComponent::matchTypeNumericalRange() const {
   return compType_ != invalid && !matchTypePrefix() && !matchTypeBitMask();
}

bool MatchComponent::matchTypeBitMask() const { return isBitfieldType( compType_ ); }

Vek::String MatchComponent::toStrep() const {
   return Vek::concat( "<compType=", stringValue( compType_ ), ";prefix=", prefix_,
                       ";numericalRanges=", numericalRange_.size(),
                       ";ipBitMasks=", ipBitMask_.size(), ";tcpBitMasks=", tcpBitMask_.size(),
                       ">" );
}

MatchComponent::operator bool() const { return !( *this == MatchComponent() ); }

bool MatchComponent::operator==( const MatchComponent& ) const = default;

} // namespace Flowspec
