#include "agents/bgp/message/AttributeTable.h"

#include "Vek/text/Text.h"

#include <array>

namespace Bgp {

namespace {

constexpr U8 wellKnown = AttributeFlags::transitive;
constexpr U8 optional = AttributeFlags::optional;
constexpr U8 transitive = AttributeFlags::optional | AttributeFlags::transitive;

constexpr LengthRule any{ LengthRule::Form::any };
constexpr LengthRule exactly( U8 octets ) { return { LengthRule::Form::exactly, octets }; }
constexpr LengthRule multipleOf( U8 octets ) { return { LengthRule::Form::multipleOf, octets }; }

using T = AttributeType;
using enum OnFault;
using enum Senders;

constexpr AttributeRow rows[] = {
   { T::origin, "ORIGIN", wellKnown, exactly( 1 ), withdraw, all },
   { T::asPath, "AS_PATH", wellKnown, any, withdraw, all },
   { T::nextHop, "NEXT_HOP", wellKnown, exactly( 4 ), withdraw, all },
   { T::med, "MULTI_EXIT_DISC", optional, exactly( 4 ), withdraw, all },
   { T::localPref, "LOCAL_PREF", wellKnown, exactly( 4 ), withdraw, internal },
   { T::atomicAggregate, "ATOMIC_AGGREGATE", wellKnown, exactly( 0 ), discard, all },
   { T::aggregator, "AGGREGATOR", transitive, any, discard, all },
   { T::communities, "COMMUNITIES", transitive, multipleOf( 4 ), withdraw, all },
   { T::originatorId, "ORIGINATOR_ID", optional, exactly( 4 ), withdraw, internal },
   { T::clusterList, "CLUSTER_LIST", optional, multipleOf( 4 ), withdraw, internal },
   { T::mpReach, "MP_REACH_NLRI", optional, any, reset, all },
   { T::mpUnreach, "MP_UNREACH_NLRI", optional, any, reset, all },
   { T::extendedCommunities, "EXTENDED_COMMUNITIES", transitive, multipleOf( 8 ), withdraw, all },
   { T::as4Path, "AS4_PATH", transitive, any, discard, twoOctet },
   { T::as4Aggregator, "AS4_AGGREGATOR", transitive, exactly( 8 ), discard, twoOctet },
   { T::ipv6Communities, "IPV6_EXTENDED_COMMUNITIES", transitive, multipleOf( 20 ), withdraw, all },
   { T::largeCommunities, "LARGE_COMMUNITIES", transitive, multipleOf( 12 ), withdraw, all },
};

// The index of each type's row; one past the last row for types that have none.
constexpr auto indexes = [] {
   std::array< U8, 256 > table{};
   table.fill( std::size( rows ) );
   for ( U8 i = 0; i < std::size( rows ); ++i ) {
      table[rows[i].type] = i;
   }
   return table;
}();

} // namespace

const AttributeRow* findAttribute( U8 type ) {
   const std::size_t index = indexes[type];
   return index == std::size( rows ) ? nullptr : &rows[index];
}

Vek::String attributeName( U8 type ) {
   const AttributeRow* const row = findAttribute( type );
   return row ? Vek::String( row->name ) : Vek::concat( "attribute ", type );
}

} // namespace Bgp
