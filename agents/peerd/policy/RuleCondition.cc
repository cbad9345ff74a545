#include "agents/peerd/policy/RuleCondition.h"

#include <algorithm>

namespace Peerd {

namespace {

constexpr U32 bit( Flowspec::MatchCompType type ) { return U32{ 1 } << static_cast< U8 >( type ); }

bool prefixHolds( const Zorv::IpGenPrefix& prefix, std::span< const Zorv::IpGenPrefix > outer,
                  U8 minLength ) {
   return prefix.length() >= minLength && ( outer.empty() || isInside( prefix, outer ) );
}

} // namespace

U32 componentsOf( const Flowspec::FlowspecKey& key ) {
   U32 types = 0;
   if ( !key.destPrefix().empty() ) {
      types |= bit( Flowspec::destPrefix );
   }
   if ( !key.srcPrefix().empty() ) {
      types |= bit( Flowspec::srcPrefix );
   }
   for ( const auto& member : key.matchOpVal() ) {
      types |= U32{ 1 } << ( static_cast< U8 >( member.word.matchType() ) & 31 );
   }
   return types;
}

bool isInside( const Zorv::IpGenPrefix& prefix, const Zorv::IpGenPrefix& outer ) {
   return !prefix.empty() && prefix.family() == outer.family() &&
          prefix.length() >= outer.length() &&
          prefix.address().masked( outer.length() ) == outer.address();
}

bool isInside( const Zorv::IpGenPrefix& prefix, std::span< const Zorv::IpGenPrefix > outer ) {
   return std::ranges::any_of(
      outer, [&]( const Zorv::IpGenPrefix& one ) { return isInside( prefix, one ); } );
}

bool RuleCondition::holds( const Flowspec::FlowspecKey& key,
                           const Flowspec::RuleAction& action ) const {
   if ( family != Zorv::AddressFamily::none && key.addressFamily() != family ) {
      return false;
   }
   if ( !prefixHolds( key.destPrefix(), destinations, minDestinationLength ) ||
        !prefixHolds( key.srcPrefix(), sources, minSourceLength ) ) {
      return false;
   }
   if ( ( with | without ) != 0 ) {
      const U32 components = componentsOf( key );
      if ( ( components & with ) != with || ( components & without ) != 0 ) {
         return false;
      }
   }
   return actions.value() == 0 || ( actions.value() & action.fields.value() ) != 0;
}

} // namespace Peerd
