#pragma once

#include "Zorv/IntfId.h"
#include "Zorv/IpGenAddr.h"

namespace L3 {

/// An MPLS label (RFC 3032 section 2.1) or none. A plain value.
class OSK_EXPORT MplsLabel {
public:
   /// The number of no label: one above the largest label.
   static constexpr U32 none() { return 1048576; }

   /// No label.
   constexpr MplsLabel() = default;

   /// The label with a number, or none for `none()`; `RangeException` "L3::MplsLabel: <number> is
   /// above 1048576" otherwise.
   explicit MplsLabel( U64 value );

   constexpr U32 value() const { return value_; }

   /// True when there is a label.
   constexpr explicit operator bool() const { return value_ != none(); }

   /// The number in decimal, or "none".
   Vek::String stringValue() const;

   constexpr bool operator==( const MplsLabel& ) const = default;

private:
   U32 value_ = none();
};

/// One way to a next hop: over which interface, to which neighbor, under which label. A plain
/// value.
struct Via {
   Zorv::IpGenAddr address;
   Zorv::IntfId intf;
   MplsLabel mplsLabel;
   bool active = false; ///< traffic takes it, as opposed to one that waits as a backup

   bool operator==( const Via& ) const = default;
};

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const MplsLabel& label );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const MplsLabel& label );

/// Writes "<address=192.0.2.1;intf=intf3;mplsLabel=none;active=1>".
OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const Via& via );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const Via& via );

} // namespace L3
