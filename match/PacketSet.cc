#include "match/PacketSet.h"

#include "wire/AddressBits.h"

#include <algorithm>
#include <array>

namespace Match {

namespace {

using namespace Flowspec;
using Wire::AddressBits;
using Wire::ValueRange;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;
using Ranges = std::vector< ValueRange >;

constexpr U32 top = ~U32{ 0 };

Ranges intersection( const Ranges& a, const Ranges& b ) {
   Ranges both;
   for ( auto at = a.begin(), other = b.begin(); at != a.end() && other != b.end(); ) {
      const ValueRange range{ std::max( at->low, other->low ), std::min( at->high, other->high ) };
      if ( range.low <= range.high ) {
         both.push_back( range );
      }
      ( at->high < other->high ? at : other )++;
   }
   return both;
}

// The values that are not in the ranges.
Ranges complement( const Ranges& ranges ) {
   Ranges others;
   U64 low = 0;
   for ( const ValueRange range : ranges ) {
      if ( range.low > low ) {
         others.push_back( { static_cast< U32 >( low ), range.low - 1 } );
      }
      low = U64{ range.high } + 1;
   }
   if ( low <= top ) {
      others.push_back( { static_cast< U32 >( low ), top } );
   }
   return others;
}

Ranges rangesOf( const Wire::FlagFunction& function ) {
   Ranges ranges;
   for ( U32 combination = 0; combination < 1U << function.flags(); ++combination ) {
      if ( !function.admits( combination ) ) {
         continue;
      }
      if ( !ranges.empty() && ranges.back().high + 1 == combination ) {
         ++ranges.back().high;
      } else {
         ranges.push_back( { combination, combination } );
      }
   }
   return ranges;
}

// The empty prefix contains all.
bool contains( const IpGenPrefix& outer, const IpGenPrefix& inner ) {
   return outer.length() <= inner.length() &&
          AddressBits::of( inner.address() ).masked( outer.length() ) ==
             AddressBits::of( outer.address() ).masked( outer.length() );
}

bool meet( const IpGenPrefix& a, const IpGenPrefix& b ) {
   return contains( a, b ) || contains( b, a );
}

// An address of `family` in `outer` that is not in `inner`, a longer prefix in it.
IpGenAddr addressBeyond( AddressFamily family, const IpGenPrefix& outer,
                         const IpGenPrefix& inner ) {
   IpGenAddr::Bytes bytes = inner.address().bytes();
   bytes[outer.length() / 8] ^= static_cast< U8 >( 0x80 >> outer.length() % 8 );
   return IpGenAddr::ofFamily( family, bytes.data(), IpGenAddr::bits( family ) );
}

} // namespace

/// Packets of one kind: those that have certain fields, each with values that do not depend on the
/// others'.
class PacketSet::Box {
public:
   Box( AddressFamily family, U32 minLength, Ranges fragments ) : family_( family ) {
      const U32 maxLength = family == AddressFamily::ipv6 ? 65575 : 65535;
      field( packetLength ) = { { minLength, maxLength } };
      field( dscp ) = { { 0, 63 } };
      field( fragment ) = std::move( fragments );
      if ( family == AddressFamily::ipv6 ) {
         field( flowLabel ) = { { 0, 0xFFFFF } };
      }
   }

   /// The values of a field; none when the packets do not have it.
   Ranges& field( MatchCompType type ) { return fields_[static_cast< U8 >( type )]; }

   /// Leaves what has one of `values`; false when nothing is left.
   bool restrict( MatchCompType type, const Ranges& values ) {
      return !( field( type ) = intersection( field( type ), values ) ).empty();
   }
   /// The same without `values`, for a field that may be absent.
   bool exclude( MatchCompType type, const Ranges& values ) {
      return field( type ).empty() || restrict( type, complement( values ) );
   }

   /// Leaves what has addresses in both prefixes, which meet those of the box.
   void restrict( const IpGenPrefix& destination, const IpGenPrefix& source ) {
      narrow( destination_, destination );
      narrow( source_, source );
   }

   /// A packet of the box whose destination is not in `prefix`, and then the same for sources.
   std::optional< Packet > beyondDestination( const IpGenPrefix& prefix ) const {
      return contains( prefix, destination_ )
                ? std::nullopt
                : std::optional( packet( addressBeyond( family_, destination_, prefix ),
                                         addressOf( source_, 2 ) ) );
   }
   std::optional< Packet > beyondSource( const IpGenPrefix& prefix ) const {
      return contains( prefix, source_ )
                ? std::nullopt
                : std::optional( packet( addressOf( destination_, 1 ),
                                         addressBeyond( family_, source_, prefix ) ) );
   }

   Packet packet() const { return packet( addressOf( destination_, 1 ), addressOf( source_, 2 ) ); }

private:
   static void narrow( IpGenPrefix& prefix, const IpGenPrefix& by ) {
      if ( by.length() > prefix.length() ) {
         prefix = by;
      }
   }

   // Where any will do, one that is reserved for examples.
   IpGenAddr addressOf( const IpGenPrefix& prefix, U8 host ) const {
      if ( prefix.length() != 0 ) {
         return prefix.address();
      }
      return family_ == AddressFamily::ipv4 ? IpGenAddr::ipv4( 0xC0000200 + host )
                                            : IpGenAddr::ipv6( { 0x20, 0x01, 0x0D, 0xB8, 0, 0, 0, 0,
                                                                 0, 0, 0, 0, 0, 0, 0, host } );
   }

   template < typename T >
   std::optional< T > lowest( MatchCompType type ) const {
      const Ranges& values = fields_[static_cast< U8 >( type )];
      return values.empty() ? std::nullopt
                            : std::optional( static_cast< T >( values.front().low ) );
   }

   Packet packet( const IpGenAddr& destination, const IpGenAddr& source ) const {
      return { .family = family_,
               .destination = destination,
               .source = source,
               .length = *lowest< U32 >( packetLength ),
               .dscp = *lowest< U8 >( MatchCompType::dscp ),
               .flowLabel = lowest< U32 >( MatchCompType::flowLabel ),
               .protocol = lowest< U8 >( ipProto ),
               .fragment = lowest< U8 >( MatchCompType::fragment ),
               .destPort = lowest< U16 >( MatchCompType::destPort ),
               .srcPort = lowest< U16 >( MatchCompType::srcPort ),
               .icmpType = lowest< U8 >( MatchCompType::icmpType ),
               .icmpCode = lowest< U8 >( MatchCompType::icmpCode ),
               .tcpFlags = lowest< U16 >( MatchCompType::tcpFlags ) };
   }

   AddressFamily family_;
   IpGenPrefix destination_;
   IpGenPrefix source_;
   std::array< Ranges, numComponentTypes > fields_;
};

std::vector< PacketSet::Box > PacketSet::kinds( AddressFamily family ) {
   const bool v6 = family == AddressFamily::ipv6;
   const U32 header = v6 ? 40 : 20;
   // What is read of a fragment header, and all of it, which IPv4 does not have.
   const U32 seen = v6 ? 4 : 0;
   const U32 whole = v6 ? 8 : 0;
   const U32 icmp = v6 ? 58 : 1;
   // The lowest bit, "don't fragment", is free in IPv4.
   const auto fragments = [v6]( U32 bits ) { return ValueRange{ bits, bits + ( v6 ? 0 : 1 ) }; };
   const ValueRange none = fragments( 0 );
   const ValueRange first = fragments( FragmentBits::firstFragment );
   const ValueRange middle = fragments( FragmentBits::isFragment );
   const ValueRange last = fragments( FragmentBits::isFragment | FragmentBits::lastFragment );

   // Headers as far as they are there.
   struct Header {
      Ranges protocols;
      U32 octets;
      std::vector< MatchCompType > fields;
   };
   const Header headers[] = {
      { { { 6, 6 } },
        14,
        { MatchCompType::srcPort, MatchCompType::destPort, MatchCompType::tcpFlags } },
      { { { 6, 6 }, { 17, 17 } }, 4, { MatchCompType::srcPort, MatchCompType::destPort } },
      { { { icmp, icmp } }, 2, { MatchCompType::icmpType, MatchCompType::icmpCode } },
      { { { 6, 6 }, { 17, 17 } }, 2, { MatchCompType::srcPort } },
      { { { icmp, icmp } }, 1, { MatchCompType::icmpType } },
   };
   std::vector< Box > kinds;
   for ( const auto& [protocols, octets, fields] : headers ) {
      for ( const bool isFirst : { false, true } ) {
         Box box( family, header + octets + ( isFirst ? whole : 0 ), { isFirst ? first : none } );
         box.field( ipProto ) = protocols;
         for ( const MatchCompType type : fields ) {
            box.field( type ) = { { 0, componentType( type ).maximum() } };
         }
         kinds.push_back( std::move( box ) );
      }
   }
   // Extension headers are no protocol.
   const Ranges protocols =
      v6 ? complement( { { 0, 0 }, { 43, 44 }, { 51, 51 }, { 60, 60 }, { 256, top } } )
         : Ranges{ { 0, 255 } };
   for ( Box box : { Box( family, header, { none } ),
                     Box( family, header + seen, { middle, first, last } ) } ) {
      box.field( ipProto ) = protocols;
      kinds.push_back( std::move( box ) );
   }
   if ( v6 ) {
      // The chain of extension headers is cut off.
      kinds.emplace_back( family, header, Ranges() );
      kinds.emplace_back( family, header + seen, Ranges{ none, middle, first, last } );
   }
   return kinds;
}

PacketSet::PacketSet( const FlowspecKey& key ) : family_( AddressFamily::none ) {
   const Wire::CanonicalRule rule( key );
   if ( rule.nothing() ) {
      return;
   }
   family_ = rule.family();
   destPrefix_ = rule.destPrefix();
   srcPrefix_ = rule.srcPrefix();
   for ( const Wire::CanonicalComponent& component : rule.components() ) {
      parts_.push_back( { component.type, isBitmask( component.type ) ? rangesOf( component.flags )
                                                                      : component.ranges } );
   }
}

// Leaves of boxes what is in the set.
void PacketSet::restrict( std::vector< Box >& boxes ) const {
   for ( Box& box : boxes ) {
      box.restrict( destPrefix_, srcPrefix_ );
   }
   for ( const Part& part : parts_ ) {
      std::vector< Box > left;
      for ( Box& box : boxes ) {
         // A port may be that of either side.
         if ( part.type == MatchCompType::port ) {
            if ( Box other = box; other.restrict( MatchCompType::destPort, part.values ) ) {
               left.push_back( std::move( other ) );
            }
         }
         if ( box.restrict( part.type == MatchCompType::port ? MatchCompType::srcPort : part.type,
                            part.values ) ) {
            left.push_back( std::move( box ) );
         }
      }
      boxes = std::move( left );
   }
}

// A packet of `box` that is not in the set.
std::optional< Packet > PacketSet::outside( const Box& box ) const {
   if ( auto packet = box.beyondDestination( destPrefix_ ) ) {
      return packet;
   }
   if ( auto packet = box.beyondSource( srcPrefix_ ) ) {
      return packet;
   }
   for ( const Part& part : parts_ ) {
      Box others = box;
      const bool found = part.type == MatchCompType::port
                            ? others.exclude( MatchCompType::destPort, part.values ) &&
                                 others.exclude( MatchCompType::srcPort, part.values )
                            : others.exclude( part.type, part.values );
      if ( found ) {
         return others.packet();
      }
   }
   return std::nullopt;
}

bool PacketSet::meets( const PacketSet& other ) const {
   return family_ == other.family_ && meet( destPrefix_, other.destPrefix_ ) &&
          meet( srcPrefix_, other.srcPrefix_ );
}

template < typename Take >
std::optional< Packet > PacketSet::firstOfKinds( Take take ) const {
   if ( family_ == AddressFamily::none ) {
      return std::nullopt;
   }
   for ( const Box& kind : kinds( family_ ) ) {
      std::vector< Box > boxes{ kind };
      restrict( boxes );
      if ( auto packet = take( boxes ) ) {
         return packet;
      }
   }
   return std::nullopt;
}

std::optional< Packet > PacketSet::any() const {
   return firstOfKinds( []( const std::vector< Box >& boxes ) {
      return boxes.empty() ? std::nullopt : std::optional( boxes.front().packet() );
   } );
}

std::optional< Packet > PacketSet::common( const PacketSet& other ) const {
   if ( !meets( other ) ) {
      return std::nullopt;
   }
   return firstOfKinds( [&]( std::vector< Box >& boxes ) {
      other.restrict( boxes );
      return boxes.empty() ? std::nullopt : std::optional( boxes.front().packet() );
   } );
}

std::optional< Packet > PacketSet::beyond( const PacketSet& other ) const {
   if ( !meets( other ) ) {
      return any();
   }
   return firstOfKinds( [&]( const std::vector< Box >& boxes ) {
      std::optional< Packet > packet;
      std::ranges::find_if(
         boxes, [&]( const Box& box ) { return ( packet = other.outside( box ) ).has_value(); } );
      return packet;
   } );
}

} // namespace Match
