#pragma once

#include "Osk/Endian.h"
#include "Zorv/IpGenAddr.h"
#include "wire/Community.h"

#include <algorithm>
#include <bit>

/// Communities as texts name them: a type, an AS number or an address, and a number.
namespace Forms::CommunityParts {

using Wire::ExtendedCommunity;
using Wire::Ipv6Community;

/// Two octets of AS number, four of number.
inline ExtendedCommunity as2( U16 type, U16 as, U32 number ) {
   ExtendedCommunity community;
   Osk::storeBig16( community.data(), type );
   Osk::storeBig16( community.data() + 2, as );
   Osk::storeBig32( community.data() + 4, number );
   return community;
}

/// Four octets of AS number or of an IPv4 address, two of number.
inline ExtendedCommunity as4( U16 type, U32 as, U16 number ) {
   ExtendedCommunity community;
   Osk::storeBig16( community.data(), type );
   Osk::storeBig32( community.data() + 2, as );
   Osk::storeBig16( community.data() + 6, number );
   return community;
}

inline ExtendedCommunity rate( U16 type, U16 as, float rate ) {
   return as2( type, as, std::bit_cast< U32 >( rate ) );
}

/// `address` is one of IPv6.
inline Ipv6Community ipv6( U16 type, const Zorv::IpGenAddr& address, U16 number ) {
   Ipv6Community community;
   Osk::storeBig16( community.data(), type );
   std::ranges::copy( address.bytes(), community.begin() + 2 );
   Osk::storeBig16( community.data() + 18, number );
   return community;
}

/// The type of a community of either length.
template < typename Community >
U16 type( const Community& community ) {
   return Osk::loadBig16( community.data() );
}

inline U16 as2Of( const ExtendedCommunity& community ) {
   return Osk::loadBig16( community.data() + 2 );
}
inline U32 as4Of( const ExtendedCommunity& community ) {
   return Osk::loadBig32( community.data() + 2 );
}
/// The number after an AS number of two octets.
inline U32 number4Of( const ExtendedCommunity& community ) {
   return Osk::loadBig32( community.data() + 4 );
}
/// The number after four octets, or after an IPv6 address.
template < typename Community >
U16 number2Of( const Community& community ) {
   return Osk::loadBig16( community.data() + community.size() - 2 );
}
inline float rateOf( const ExtendedCommunity& community ) {
   return std::bit_cast< float >( number4Of( community ) );
}
inline Zorv::IpGenAddr addressOf( const ExtendedCommunity& community ) {
   return Zorv::IpGenAddr::ipv4( as4Of( community ) );
}
inline Zorv::IpGenAddr addressOf( const Ipv6Community& community ) {
   Zorv::IpGenAddr::Bytes bytes;
   std::copy_n( community.begin() + 2, bytes.size(), bytes.begin() );
   return Zorv::IpGenAddr::ipv6( bytes );
}

} // namespace Forms::CommunityParts
