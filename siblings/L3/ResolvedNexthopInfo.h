#pragma once

#include "L3/Via.h"

#include <set>
#include <utility>
#include <vector>

namespace L3 {

/// What the next hop of a route or of a redirect resolved to: the addresses that it stands for, and
/// the vias that lead to them, the ones in use and the others. A plain value; empty at first.
class OSK_EXPORT ResolvedNexthopInfo {
public:
   static constexpr std::string_view typeName = "L3::ResolvedNexthopInfo";

   using NexthopSet = std::set< Zorv::IpGenAddr >;
   using Vias = std::vector< Via >;

   ResolvedNexthopInfo() = default;
   ResolvedNexthopInfo( NexthopSet nexthopSet, Vias vias )
      : nexthopSet_( std::move( nexthopSet ) ), vias_( std::move( vias ) ) {}

   const NexthopSet& nexthopSet() const { return nexthopSet_; }
   void nexthopSetIs( NexthopSet nexthopSet ) { nexthopSet_ = std::move( nexthopSet ); }

   /// In the order of preference of whoever resolved the next hop.
   const Vias& vias() const { return vias_; }
   void viasIs( Vias vias ) { vias_ = std::move( vias ); }

   /// The vias in use, in the same order.
   Vias viasActive() const;

   /// "{192.0.2.1,2001:db8::1}", in the order of the addresses; "{}" for none, and "{,}" for
   /// nothing but the empty address.
   Vek::String nexthopSetStrep() const;

   /// A hash of all parts that is the same in all processes of one build.
   U32 hash() const;

   /// "<nexthopSet={192.0.2.1};vias={<address=...;intf=...;mplsLabel=...;active=1>}>".
   Vek::String stringValue() const;
   /// Reads what `stringValue` writes, the members of the set in any order; `Vek::RangeException`
   /// "L3::ResolvedNexthopInfo: '<text>' is not a resolved next hop" for anything else, and then
   /// this one is unchanged.
   void stringValueIs( std::string_view text );

   bool operator==( const ResolvedNexthopInfo& ) const = default;

private:
   NexthopSet nexthopSet_;
   Vias vias_;
};

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const ResolvedNexthopInfo& info );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const ResolvedNexthopInfo& info );

// In the attribute log: a count and the addresses of the next-hop set, ascending, then a count and
// the vias, each its address, interface, label as U32 and active flag.
OSK_EXPORT std::size_t logSize( const ResolvedNexthopInfo& info );
OSK_EXPORT void logWrite( Vek::LogWriter& out, const ResolvedNexthopInfo& info );
OSK_EXPORT void logRead( Vek::LogReader& in, ResolvedNexthopInfo& info );

} // namespace L3
