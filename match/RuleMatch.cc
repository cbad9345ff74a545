#include "match/RuleMatch.h"

#include "Flowspec/key/FlowspecKeyReader.h"

#include <algorithm>

namespace Match {

namespace {

using namespace Flowspec;
using Wire::AddressBits;
using Zorv::AddressFamily;

// The bits of a term's value that count.
U32 usedBits( MatchCompType type, AddressFamily family ) {
   const ComponentType& row = componentType( type );
   return row.ignoresOtherBits ? row.field( family ).bits : ~U32{ 0 };
}

bool numericHolds( const RuleMatch::Term& term, U32 value ) {
   const U8 relation = value < term.value   ? OpBits::lt
                       : value > term.value ? OpBits::gt
                                            : OpBits::eq;
   return term.op & relation;
}

bool bitmaskHolds( const RuleMatch::Term& term, U32 value ) {
   const U32 found = value & term.value;
   const bool holds = term.op & OpBits::match ? found == term.value : found != 0;
   return holds != static_cast< bool >( term.op & OpBits::invert );
}

template < typename Holds >
bool anyAlternative( const std::vector< RuleMatch::Term >& terms, U32 value, Holds holds ) {
   bool all = holds( terms.front(), value );
   for ( std::size_t i = 1; i < terms.size(); ++i ) {
      if ( terms[i].op & OpBits::andPrevious ) {
         all = all && holds( terms[i], value );
      } else if ( all ) {
         return true;
      } else {
         all = holds( terms[i], value );
      }
   }
   return all;
}

bool matchesComponent( const RuleMatch::Component& component, const Packet& packet ) {
   const FieldValues values = packet.values( component.type );
   return std::any_of( values.begin(), values.end(), [&]( U32 value ) {
      return isBitmask( component.type ) ? anyAlternative( component.terms, value, bitmaskHolds )
                                         : anyAlternative( component.terms, value, numericHolds );
   } );
}

bool isOf( const Zorv::IpGenPrefix& prefix, AddressFamily family ) {
   return prefix.empty() || prefix.family() == family;
}

} // namespace

RuleMatch::PrefixTest::PrefixTest( const Zorv::IpGenPrefix& tested )
   : prefix( tested ), bits( AddressBits::of( tested.address() ) ),
     mask( AddressBits{ ~U64{ 0 }, ~U64{ 0 } }.masked( tested.length() ) ) {}

bool RuleMatch::PrefixTest::holds( const Zorv::IpGenAddr& address ) const {
   const AddressBits other = AddressBits::of( address );
   return ( ( ( other.high ^ bits.high ) & mask.high ) |
            ( ( other.low ^ bits.low ) & mask.low ) ) == 0;
}

RuleMatch::RuleMatch( const FlowspecKey& key )
   : destination_( key.destPrefix() ), source_( key.srcPrefix() ), family_( key.addressFamily() ),
     valid_( ( family_ == AddressFamily::ipv4 || family_ == AddressFamily::ipv6 ) &&
             isOf( key.destPrefix(), family_ ) && isOf( key.srcPrefix(), family_ ) &&
             readComponents( key ) ) {}

bool RuleMatch::readComponents( const FlowspecKey& key ) {
   if ( unprintableTerm( key ) ) {
      return false;
   }
   for ( U32 index = 0; index < key.matchOpVals(); ) {
      const MatchOpValResult term = key.getOptVal( index );
      const MatchCompType type = term.matchType();
      if ( components_.empty() || components_.back().type != type ) {
         if ( !hasTerms( type ) ||
              std::ranges::find( components_, type, &Component::type ) != components_.end() ) {
            return false;
         }
         components_.push_back( { type, {} } );
      }
      components_.back().terms.push_back( { term.val32() & usedBits( type, family_ ), term.op() } );
      index = term.nextIndex().value();
   }
   return true;
}

bool RuleMatch::matches( const Packet& packet ) const {
   return valid_ && packet.family == family_ && destination_.holds( packet.destination ) &&
          source_.holds( packet.source ) &&
          std::ranges::all_of( components_, [&]( const Component& component ) {
             return matchesComponent( component, packet );
          } );
}

MatchCompType RuleMatch::mismatch( const Packet& packet ) const {
   if ( !destination_.holds( packet.destination ) ) {
      return MatchCompType::destPrefix;
   }
   if ( !source_.holds( packet.source ) ) {
      return MatchCompType::srcPrefix;
   }
   const auto failed = std::ranges::find_if_not( components_, [&]( const Component& component ) {
      return matchesComponent( component, packet );
   } );
   return failed == components_.end() ? invalid : failed->type;
}

} // namespace Match
