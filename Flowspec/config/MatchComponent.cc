#include "Flowspec/config/MatchComponent.h"

#include "Osk/Assert.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

struct MatchComponent::Table {
   using T = MatchComponent;
   static constexpr Vek::Rows rows{
      Vek::key< &T::compType_ >( 2, "compType" ),
      Vek::attr< &T::prefix_, &T::prefixIs >( 3, "prefix" ),
      Vek::coll< &T::numericalRange, &T::numericalRangeIs, Vek::byKey( &T::numericalRangeDel ) >(
         4, "numericalRange" ),
      Vek::coll< &T::ipBitMask, &T::ipBitMaskIs, Vek::byKey( &T::ipBitMaskDel ) >( 5, "ipBitMask" ),
      Vek::coll< &T::tcpBitMask, &T::tcpBitMaskIs, Vek::byKey( &T::tcpBitMaskDel ) >(
         6, "tcpBitMask" ),
      Vek::operation< &T::matchTypePrefix >( 7, "matchTypePrefix" ),
      Vek::operation< &T::matchTypeNumericalRange >( 8, "matchTypeNumericalRange" ),
      Vek::operation< &T::matchTypeBitMask >( 9, "matchTypeBitMask" ),
      Vek::operation< &T::dumpState >( 10, "dumpState", "context", "indent" ),
      Vek::operation< &T::toStrep >( 11, "toStrep" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

const Vek::TypeInfo& MatchComponent::typeInfo() { return Table::info; }

MatchComponent::MatchComponent( const Vek::String& ) {
   OSK_ASSERT( false, "\"No String constructor for MatchComponent - has collection\" == nullptr" );
}

void MatchComponent::numericalRangeIs( const NumericalRange& range ) {
   numericalRange_.edit().insert( range );
}
void MatchComponent::numericalRangeDel( const NumericalRange& range ) {
   numericalRange_.edit().erase( range );
}
MatchComponent::Members< NumericalRange >::const_iterator
MatchComponent::numericalRangeDel( Members< NumericalRange >::const_iterator at ) {
   return numericalRange_.edit().erase( at );
}
void MatchComponent::numericalRangeDelAll() { numericalRange_.reset(); }
void MatchComponent::ipBitMaskIs( const IpBitMask& mask ) { ipBitMask_.edit().insert( mask ); }
void MatchComponent::ipBitMaskDel( const IpBitMask& mask ) { ipBitMask_.edit().erase( mask ); }
MatchComponent::Members< IpBitMask >::const_iterator
MatchComponent::ipBitMaskDel( Members< IpBitMask >::const_iterator at ) {
   return ipBitMask_.edit().erase( at );
}
void MatchComponent::ipBitMaskDelAll() { ipBitMask_.reset(); }
void MatchComponent::tcpBitMaskIs( const TcpBitMask& mask ) { tcpBitMask_.edit().insert( mask ); }
void MatchComponent::tcpBitMaskDel( const TcpBitMask& mask ) { tcpBitMask_.edit().erase( mask ); }
MatchComponent::Members< TcpBitMask >::const_iterator
MatchComponent::tcpBitMaskDel( Members< TcpBitMask >::const_iterator at ) {
   return tcpBitMask_.edit().erase( at );
}
void MatchComponent::tcpBitMaskDelAll() { tcpBitMask_.reset(); }

bool MatchComponent::matchTypePrefix() const {
   return compType_ == destPrefix || compType_ == srcPrefix;
}

bool MatchComponent::matchTypeNumericalRange() const {
   return compType_ != invalid && !matchTypePrefix() && !matchTypeBitMask();
}

bool MatchComponent::matchTypeBitMask() const { return isBitfieldType( compType_ ); }

Vek::String MatchComponent::toStrep() const {
   return Vek::concat( "<compType=", stringValue( compType_ ), ";prefix=", prefix_,
                       ";numericalRanges=", numericalRange().size(),
                       ";ipBitMasks=", ipBitMask().size(), ";tcpBitMasks=", tcpBitMask().size(),
                       ">" );
}

namespace {

// The encoding.
static_assert( Vek::listsRows< MatchComponent, 10 > );

constexpr std::size_t rangeSize = 8;
constexpr std::size_t maskSize = 5;

template < typename Member >
void writeMembers( Vek::LogWriter& out, const Vek::HashSet< Member >& members ) {
   out.u32( members.size() );
   for ( const Member* const member : members.sorted() ) {
      Vek::valueType< Member >.logWrite( out, member );
   }
}

template < typename Member >
void readMembers( Vek::LogReader& in, Vek::OnDemand< Vek::HashSet< Member > >& members,
                  std::size_t size ) {
   for ( U32 left = in.count( size ); left > 0; --left ) {
      Member member;
      Vek::valueType< Member >.logRead( in, &member );
      members.edit().insert( member );
   }
}

} // namespace

std::size_t logSize( const MatchComponent& component ) {
   const std::size_t masks =
      std::size_t{ component.ipBitMask().size() } + component.tcpBitMask().size();
   return 4 + logSize( component.prefix() ) + 3 * 4 +
          component.numericalRange().size() * rangeSize + masks * maskSize;
}

void logWrite( Vek::LogWriter& out, const MatchComponent& component ) {
   out.u32( static_cast< U8 >( component.compType() ) );
   logWrite( out, component.prefix() );
   writeMembers( out, component.numericalRange() );
   writeMembers( out, component.ipBitMask() );
   writeMembers( out, component.tcpBitMask() );
}

void logRead( Vek::LogReader& in, MatchComponent& component ) {
   MatchComponent read( static_cast< MatchCompType >( static_cast< U8 >( in.u32() ) ) );
   Zorv::IpGenPrefix prefix;
   logRead( in, prefix );
   read.prefixIs( prefix );
   readMembers( in, read.numericalRange_, rangeSize );
   readMembers( in, read.ipBitMask_, maskSize );
   readMembers( in, read.tcpBitMask_, maskSize );
   component = std::move( read );
}

MatchComponent::operator bool() const { return !( *this == MatchComponent() ); }

bool MatchComponent::operator==( const MatchComponent& ) const = default;

} // namespace Flowspec
