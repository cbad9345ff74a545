#include "L3/ResolvedNexthopInfo.h"

#include "Osk/HashMix.h"

#include <algorithm>
#include <iterator>

namespace L3 {

namespace {

void mixAddress( Osk::HashMix& mix, const Zorv::IpGenAddr& address ) {
   mix.mix( U64{ static_cast< U8 >( address.family() ) } << 32 | address.hash() );
}

template < typename Members >
void writeMembers( Vek::TextWriter& out, const Members& members ) {
   out << '{';
   std::string_view separator;
   for ( const auto& member : members ) {
      out << separator << member;
      separator = ",";
   }
   out << '}';
}

} // namespace

ResolvedNexthopInfo::Vias ResolvedNexthopInfo::viasActive() const {
   Vias active;
   std::ranges::copy_if( vias_, std::back_inserter( active ), &Via::active );
   return active;
}

Vek::String ResolvedNexthopInfo::nexthopSetStrep() const {
   Vek::String text;
   Vek::TextWriter out( text );
   writeMembers( out, nexthopSet_ );
   out.flush();
   return text;
}

U32 ResolvedNexthopInfo::hash() const {
   Osk::HashMix mix;
   mix.mix( U64{ nexthopSet_.size() } );
   for ( const Zorv::IpGenAddr& address : nexthopSet_ ) {
      mixAddress( mix, address );
   }
   for ( const Via& via : vias_ ) {
      mixAddress( mix, via.address );
      mix.mix( via.intf.value(), U64{ via.mplsLabel.value() } << 1 | via.active );
   }
   return mix.value();
}

Vek::String ResolvedNexthopInfo::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const ResolvedNexthopInfo& info ) {
   out << "<nexthopSet=";
   writeMembers( out, info.nexthopSet() );
   out << ";vias=";
   writeMembers( out, info.vias() );
   return out << '>';
}

std::ostream& operator<<( std::ostream& out, const ResolvedNexthopInfo& info ) {
   return Vek::writeText( out, info.stringValue() );
}

namespace {

constexpr std::size_t addressSize = logSize( Zorv::IpGenAddr() );
constexpr std::size_t viaSize = addressSize + logSize( Zorv::IntfId() ) + 4 + 1;

} // namespace

std::size_t logSize( const ResolvedNexthopInfo& info ) {
   return 4 + info.nexthopSet().size() * addressSize + 4 + info.vias().size() * viaSize;
}

void logWrite( Vek::LogWriter& out, const ResolvedNexthopInfo& info ) {
   out.u32( static_cast< U32 >( info.nexthopSet().size() ) );
   for ( const Zorv::IpGenAddr& address : info.nexthopSet() ) {
      logWrite( out, address );
   }
   out.u32( static_cast< U32 >( info.vias().size() ) );
   for ( const Via& via : info.vias() ) {
      logWrite( out, via.address );
      logWrite( out, via.intf );
      out.u32( via.mplsLabel.value() );
      out.boolean( via.active );
   }
}

void logRead( Vek::LogReader& in, ResolvedNexthopInfo& info ) {
   ResolvedNexthopInfo::NexthopSet nexthopSet;
   for ( U32 left = in.count( addressSize ); left > 0; --left ) {
      Zorv::IpGenAddr address;
      logRead( in, address );
      nexthopSet.insert( nexthopSet.end(), address );
   }
   ResolvedNexthopInfo::Vias vias( in.count( viaSize ) );
   for ( Via& via : vias ) {
      logRead( in, via.address );
      logRead( in, via.intf );
      const U32 label = in.u32();
      if ( label > MplsLabel::none() ) {
         in.fail( Vek::concat( "no MPLS label has the number ", label ) );
      }
      via.mplsLabel = MplsLabel( label );
      via.active = in.boolean();
   }
   info = ResolvedNexthopInfo( std::move( nexthopSet ), std::move( vias ) );
}

} // namespace L3
