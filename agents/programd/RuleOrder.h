#pragma once

#include "wire/Precedence.h"

namespace Agents {

/// A rule's key beside its place among others as octets, which are made once: a key takes long to
/// compare.
class OrderedKey {
public:
   // NOLINTNEXTLINE(google-explicit-constructor): to be looked up by a key
   OrderedKey( const Flowspec::FlowspecKey& key ) : key_( key ), place_( placeOf( key.vrfId() ) ) {
      place_ += static_cast< char >( key.addressFamily() );
      place_ += Wire::precedence( key );
   }

   /// What is before all keys of a VRF.
   static OrderedKey beginOf( Vrf::VrfIdMap::VrfId vrf ) {
      OrderedKey begin{ Flowspec::FlowspecKey() };
      begin.place_ = placeOf( vrf );
      return begin;
   }

   const Flowspec::FlowspecKey& key() const { return key_; }

private:
   friend struct RuleOrder;

   static std::string placeOf( Vrf::VrfIdMap::VrfId vrf ) {
      U8 octets[4];
      Osk::storeBig32( octets, vrf );
      return { std::begin( octets ), std::end( octets ) };
   }

   Flowspec::FlowspecKey key_;
   std::string place_;
};

/// The order in which room is given to rules: VRFs ascending, IPv4 before IPv6, then as RFC 8955
/// section 5.1 orders rules.
struct RuleOrder {
   bool operator()( const OrderedKey& a, const OrderedKey& b ) const {
      const int order = a.place_.compare( b.place_ );
      return order == 0 ? Flowspec::FlowspecKeyOrder()( a.key_, b.key_ ) : order < 0;
   }
};

} // namespace Agents
