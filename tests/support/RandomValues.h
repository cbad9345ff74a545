#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "PolicyMap/PolicyMap.h"
#include "tests/support/EntangledKeys.h"
#include "tests/support/KeyGenerator.h"

namespace TestSupport {

/// Random values of every type that an attribute, a key or a member of a collection has. Most come
/// from small sets, so that equal ones meet.
class RandomValues : public KeyGenerator {
public:
   explicit RandomValues( U64 seed );

   Flowspec::FlowspecKey key() { return keys_[below( keys_.size() )]; }
   Zorv::IntfId intf() { return Zorv::IntfId( below( 6 ) ); }
   Zorv::AddressFamily family() {
      return oneIn( 2 ) ? Zorv::AddressFamily::ipv4 : Zorv::AddressFamily::ipv6;
   }
   Vek::String text();
   Osk::UniqueId id() { return Osk::UniqueId( 1 + below( 5 ) ); }
   template < typename T >
   T flags() {
      return T( below( U64{ 1 } << std::size( T::flagNames ) ) );
   }
   Zorv::IpGenAddr address();
   QosLib::ColoredCounters counters();
   L3::ResolvedNexthopInfo nexthops();
   Flowspec::NumericalRange range();
   Flowspec::MatchComponent component();
   Flowspec::TrafficRedirect redirect();
   Flowspec::FlowspecIntfInterfaceSetConfig interfaceSets();
   Flowspec::UnsupportedQual unsupportedQual();

   /// A value of a type that is known by its description; `std::logic_error` when there is no
   /// generator for it.
   void fill( const Vek::ValueType& type, void* value );

private:
   std::vector< Flowspec::FlowspecKey > keys_;
};

} // namespace TestSupport
