#include "match/RuleList.h"

#include "match/RuleBlocks.h"

#include <algorithm>

namespace Match {

namespace {

using namespace Flowspec;
using Wire::AddressBits;

// Those that an outline has bounds for.
constexpr MatchCompType boundTypes[] = { destPort, srcPort, ipProto, packetLength };

// Lengths beyond the last are as the last, in packets as in bounds.
U16 bound( U64 value ) { return static_cast< U16 >( std::min< U64 >( value, 0xFFFF ) ); }

U32 firstBits( const AddressBits& bits ) { return static_cast< U32 >( bits.high >> 32 ); }

} // namespace

RuleList::Probe::Probe( const Packet& packet )
   : destination_( firstBits( AddressBits::of( packet.destination ) ) ),
     numbers_{ packet.destPort.value_or( 0 ), packet.srcPort.value_or( 0 ),
               packet.protocol.value_or( 0 ), bound( packet.length ) } {}

void RuleList::insert( U32 id, RuleMatch rule, U64 priority ) {
   if ( id >= rules_.size() ) {
      rules_.resize( std::size_t{ id } + 1 );
      outlines_.resize( std::size_t{ id } + 1 );
   }
   Outline outline;
   outline.priority = priority;
   const Zorv::IpGenPrefix& prefix = rule.destPrefix();
   outline.destination = firstBits( AddressBits::of( prefix.address() ) );
   outline.mask = firstBits( AddressBits{ ~U64{ 0 }, 0 }.masked( prefix.length() ) );
   for ( const RuleMatch::Component& component : rule.components() ) {
      const auto at = std::ranges::find( boundTypes, component.type );
      if ( at != std::end( boundTypes ) ) {
         const NumberRange hull = hullOf( component, rule.family() );
         outline.first[at - boundTypes] = bound( hull.begin );
         outline.last[at - boundTypes] = bound( hull.end - 1 );
      }
   }
   rules_[id] = std::move( rule );
   outlines_[id] = outline;
}

} // namespace Match
