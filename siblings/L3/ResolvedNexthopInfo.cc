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

} // namespace L3
