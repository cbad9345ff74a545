#pragma once

#include "Flowspec/vocab/BitMask.h"
#include "Flowspec/vocab/NumericalRange.h"
#include "Osk/DumpContext.h"
#include "Vek/collections/HashSet.h"
#include "Vek/collections/OnDemand.h"
#include "Zorv/IpGenPrefix.h"

namespace Flowspec {

/// One match component of a rule taken apart: its type and what it matches. A prefix component has
/// a prefix, a numeric one ranges, of which any may hold, and a bitmask one masks. A plain value
/// with three unordered sets that hold each value once; references to them are good until they are
/// changed.
class OSK_EXPORT MatchComponent {
public:
   static constexpr std::string_view typeName = "Flowspec::MatchComponent";
   static constexpr std::size_t rowCount = 10;
   static const Vek::TypeInfo& typeInfo();
   template < typename Member >
   using Members = Vek::HashSet< Member >;

   /// An empty component of type `invalid`.
   MatchComponent() = default;

   /// An empty component.
   explicit MatchComponent( MatchCompType compType ) : compType_( compType ) {}

   /// A component has no generic text form: the assertion "\"No String constructor for
   /// MatchComponent - has collection\" == nullptr" fails.
   explicit MatchComponent( const Vek::String& text );

   MatchCompType compType() const { return compType_; }

   /// Of `destPrefix` and `srcPrefix` only; else empty.
   const Zorv::IpGenPrefix& prefix() const { return prefix_; }
   void prefixIs( const Zorv::IpGenPrefix& prefix ) { prefix_ = prefix; }

   const Members< NumericalRange >& numericalRange() const { return numericalRange_.get(); }
   void numericalRangeIs( const NumericalRange& range );
   void numericalRangeDel( const NumericalRange& range );
   Members< NumericalRange >::const_iterator
   numericalRangeDel( Members< NumericalRange >::const_iterator at );
   void numericalRangeDelAll();

   const Members< IpBitMask >& ipBitMask() const { return ipBitMask_.get(); }
   void ipBitMaskIs( const IpBitMask& mask );
   void ipBitMaskDel( const IpBitMask& mask );
   Members< IpBitMask >::const_iterator ipBitMaskDel( Members< IpBitMask >::const_iterator at );
   void ipBitMaskDelAll();

   const Members< TcpBitMask >& tcpBitMask() const { return tcpBitMask_.get(); }
   void tcpBitMaskIs( const TcpBitMask& mask );
   void tcpBitMaskDel( const TcpBitMask& mask );
   Members< TcpBitMask >::const_iterator tcpBitMaskDel( Members< TcpBitMask >::const_iterator at );
   void tcpBitMaskDelAll();

   /// Whether the type is `destPrefix` or `srcPrefix`.
   bool matchTypePrefix() const;
   /// Whether the type is one of the nine numeric ones.
   bool matchTypeNumericalRange() const;
   /// Whether the type is a bitmask one, by `isBitfieldType`.
   bool matchTypeBitMask() const;

   /// Writes the component, indented by `indent` columns, and its members by two more.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   /// "<compType=destPort;prefix=;numericalRanges=2;ipBitMasks=0;tcpBitMasks=0>": members are only
   /// counted.
   Vek::String toStrep() const;

   /// True when the component differs from an empty one of type `invalid`.
   explicit operator bool() const;

   bool operator==( const MatchComponent& ) const;

   struct OSK_HIDDEN Table;

private:
   friend OSK_EXPORT void logRead( Vek::LogReader& in, MatchComponent& component );

   MatchCompType compType_ = invalid;
   Zorv::IpGenPrefix prefix_;
   Vek::OnDemand< Members< NumericalRange > > numericalRange_;
   Vek::OnDemand< Members< IpBitMask > > ipBitMask_;
   Vek::OnDemand< Members< TcpBitMask > > tcpBitMask_;
};

// In the attribute log: the type as U32, the prefix, and the three sets, each a U32 count and its
// members in ascending order.
OSK_EXPORT std::size_t logSize( const MatchComponent& component );
OSK_EXPORT void logWrite( Vek::LogWriter& out, const MatchComponent& component );
OSK_EXPORT void logRead( Vek::LogReader& in, MatchComponent& component );

} // namespace Flowspec
