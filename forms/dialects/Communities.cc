#include "forms/dialects/Communities.h"

#include "wire/ActionDecoder.h"

namespace Forms {

namespace {

template < typename Community >
std::optional< std::span< const U8 > > octetsOf( const std::vector< Community >& communities ) {
   if ( communities.empty() ) {
      return std::nullopt;
   }
   return std::span( communities.front().data(), communities.size() * sizeof( Community ) );
}

} // namespace

void takeCommunities( const Cursor& text, std::size_t at, const Wire::EncodedAction& communities,
                      const Zorv::IpGenAddr& nextHop, const Context& context, Rule& rule,
                      std::vector< Fault >& remarks ) {
   if ( context.matchOnly ) {
      return;
   }
   Wire::DecodedAction decoded;
   if ( const auto rejection =
           Wire::decodeAction( { octetsOf( communities.extended ), octetsOf( communities.ipv6 ) },
                               { context.localAs, nextHop, context.vrfs }, decoded ) ) {
      text.failAt( at, rejection->message() );
   }
   rule.action = decoded.action;
   for ( const U16 id : decoded.interfaceSets ) {
      rule.key.interfaceSetPush( id );
   }
   rule.kept = std::move( decoded.kept );
   rule.keptIpv6 = std::move( decoded.keptIpv6 );
   for ( const Wire::ActionRemark remark : decoded.remarks ) {
      remarks.push_back( text.faultAt( at, Vek::String( Wire::name( remark ) ) ) );
   }
}

Wire::EncodedAction communitiesOf( const Rule& rule, const Context& context ) {
   Wire::EncodedAction communities;
   if ( context.matchOnly ) {
      return communities;
   }
   std::vector< U16 > interfaceSets;
   for ( const U16 id : rule.key.interfaceSet() ) {
      interfaceSets.push_back( id );
   }
   if ( const auto refusal = Wire::encodeAction( rule.action, interfaceSets, context.localAs,
                                                 context.vrfs, communities ) ) {
      throw Inexpressible{ Vek::String( Wire::message( *refusal ) ) };
   }
   communities.extended.insert( communities.extended.end(), rule.kept.begin(), rule.kept.end() );
   communities.ipv6.insert( communities.ipv6.end(), rule.keptIpv6.begin(), rule.keptIpv6.end() );
   return communities;
}

} // namespace Forms
