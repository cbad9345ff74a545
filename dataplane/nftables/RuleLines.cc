#include "dataplane/nftables/RuleLines.h"

#include "Vek/text/Text.h"
#include "match/Packet.h"

#include <algorithm>
#include <bit>

namespace Dataplane::Nftables {

namespace {

using namespace Flowspec;
using Match::FragmentBits;
using Source = Field::Source;
using Zorv::AddressFamily;

constexpr U8 tcp = 6;
constexpr U8 udp = 17;

constexpr Field protocolField{ Source::l4proto, 0, 1, 0xFF };
constexpr Field srcPortField{ Source::transport, 0, 2, 0xFFFF };
constexpr Field destPortField{ Source::transport, 2, 2, 0xFFFF };

// Where the number of a component is in a packet.
struct Numbers {
   Field field;
   U32 scale = 1;  // of a number of the field to that of a component
   U32 beside = 0; // what the field is less than the component
};

Numbers numbersOf( MatchCompType type, AddressFamily family ) {
   const bool v6 = family == AddressFamily::ipv6;
   switch ( type ) {
   case MatchCompType::icmpType:
      return { { Source::transport, 0, 1, 0xFF } };
   case MatchCompType::icmpCode:
      return { { Source::transport, 1, 1, 0xFF } };
   case packetLength: // IPv6 has the length of what follows its header
      return v6 ? Numbers{ { Source::network, 4, 2, 0xFFFF }, 1, 40 }
                : Numbers{ { Source::network, 2, 2, 0xFFFF } };
   case MatchCompType::dscp:
      return v6 ? Numbers{ { Source::network, 0, 2, 0x0FC0 }, 0x40 }
                : Numbers{ { Source::network, 1, 1, 0xFC }, 4 };
   case MatchCompType::flowLabel:
      return { { Source::network, 1, 3, 0x0FFFFF } };
   case MatchCompType::srcPort:
      return { srcPortField };
   default:
      return { destPortField };
   }
}

std::vector< Range > intersection( const std::vector< Range >& a, const std::vector< Range >& b ) {
   std::vector< Range > both;
   for ( const Range& x : a ) {
      for ( const Range& y : b ) {
         const Range common{ std::max( x.low, y.low ), std::min( x.high, y.high ) };
         if ( common.low <= common.high ) {
            both.push_back( common );
         }
      }
   }
   return both;
}

// Turned around when that leaves one value to compare with.
Test testOf( const Field& field, std::vector< Range > ranges ) {
   const U32 lowestBit = field.mask & ( ~field.mask + 1 );
   const bool allButOne = ( ranges.size() == 1 && ranges[0].low == lowestBit &&
                            ranges[0].high == field.mask && ranges[0].low != ranges[0].high ) ||
                          ( ranges.size() == 2 && ranges[0].low == 0 &&
                            ranges[1].high == field.mask && ranges[0].high + 2 == ranges[1].low );
   if ( allButOne ) {
      const U32 value = ranges.size() == 1 ? 0 : ranges[0].high + 1;
      return { field, { { value, value } }, true };
   }
   return { field, std::move( ranges ) };
}

// The values of the numbers' field that are in the ranges of a component.
std::vector< Range > fieldRanges( const Numbers& numbers, const std::vector< Range >& ranges ) {
   std::vector< Range > values;
   for ( const Range& range : ranges ) {
      if ( range.high >= numbers.beside ) {
         const U32 low = std::max( range.low, numbers.beside ) - numbers.beside;
         values.push_back(
            { low * numbers.scale, ( range.high - numbers.beside ) * numbers.scale } );
      }
   }
   return values;
}

// The masked values of a field that `admits` admits. Values that the mask rules out do not occur,
// so that a range may go over them.
template < typename Admits >
std::vector< Range > maskedRanges( U32 mask, Admits admits ) {
   std::vector< Range > ranges;
   bool open = false;
   U32 value = 0;
   do {
      if ( !admits( value ) ) {
         open = false;
      } else if ( open ) {
         ranges.back().high = value;
      } else {
         ranges.push_back( { value, value } );
         open = true;
      }
      value = ( ( value | ~mask ) + 1 ) & mask;
   } while ( value != 0 );
   return ranges;
}

Test tcpFlagsTest( const Wire::FlagFunction& flags ) {
   U32 mask = 0;
   for ( const auto& cube : flags.cubes() ) {
      mask |= cube.set | cube.clear;
   }
   return testOf( { Source::transport, 12, 2, mask },
                  maskedRanges( mask, [&]( U32 value ) { return flags.admits( value ); } ) );
}

// The combination of `fragment` flags of a packet.
U32 fragmentFlags( bool dontFragment, bool more, bool atOffset ) {
   U32 flags = dontFragment ? FragmentBits::dontFragment : 0;
   if ( atOffset ) {
      flags |= FragmentBits::isFragment | ( more ? 0 : FragmentBits::lastFragment );
   } else if ( more ) {
      flags |= FragmentBits::firstFragment;
   }
   return flags;
}

// Of the word with IPv4's flags and offset, each of the three parts as far as it matters.
Test ipv4FragmentTest( const Wire::FlagFunction& flags ) {
   constexpr U32 parts[] = { 0x1FFF, 0x2000, 0x4000 }; // offset, more fragments, don't fragment
   const auto admits = [&]( U32 word ) {
      return flags.admits( fragmentFlags( word & parts[2], word & parts[1], word & parts[0] ) );
   };
   U32 mask = 0;
   for ( const U32 part : parts ) {
      for ( const U32 word :
            { 0x0000U, 0x0001U, 0x2000U, 0x2001U, 0x4000U, 0x4001U, 0x6000U, 0x6001U } ) {
         if ( admits( word & ~part ) != admits( word | ( part & 0x6001 ) ) ) {
            mask |= part;
         }
      }
   }
   // All offsets but 0 are the same: the lowest stands for them.
   std::vector< Range > ranges =
      maskedRanges( mask & 0x6001, [&]( U32 word ) { return admits( word ); } );
   if ( mask & parts[0] ) {
      for ( Range& range : ranges ) {
         range.high |= range.high & 1 ? parts[0] : 0;
      }
   }
   return testOf( { Source::network, 6, 2, mask }, std::move( ranges ) );
}

Test equal( const Field& field, U32 value, bool negated = false ) {
   return { field, { { value, value } }, negated };
}

constexpr Field ipv6OffsetField{ Source::fragmentHeader, 2, 2, 0xFFF8 };

// Offset and more-fragments flag are at both ends of a word of the fragment header, and a packet
// may have no such header: alternatives. None for later fragments when what follows is read, too.
std::vector< Line > ipv6FragmentLines( const Wire::FlagFunction& flags, bool transport ) {
   constexpr Field more{ Source::fragmentHeader, 3, 1, 0x01 };
   std::vector< Line > lines;
   for ( const bool atOffset : { false, true } ) {
      if ( atOffset && transport ) {
         continue;
      }
      const bool last = flags.admits( fragmentFlags( false, false, atOffset ) );
      const bool notLast = flags.admits( fragmentFlags( false, true, atOffset ) );
      if ( !last && !notLast ) {
         continue;
      }
      Line line{ equal( ipv6OffsetField, 0, atOffset ) };
      if ( last != notLast ) {
         line.push_back( equal( more, notLast ) );
      }
      lines.push_back( std::move( line ) );
   }
   if ( flags.admits( 0 ) ) {
      // With all of the chain there: the protocol can be read, and it is no extension header.
      lines.push_back( { NoFragmentHeader(), equal( protocolField, 44, true ) } );
   }
   return lines;
}

// Adds the test of a component to each line; alternatives make several of one.
void addAlternatives( std::vector< Line >& lines, const std::vector< Line >& alternatives ) {
   std::vector< Line > product;
   for ( const Line& line : lines ) {
      for ( const Line& alternative : alternatives ) {
         product.push_back( line );
         product.back().insert( product.back().end(), alternative.begin(), alternative.end() );
      }
   }
   lines = std::move( product );
}

// The protocols that have the field of a component; all when it says nothing of them.
std::vector< Range > protocolsOf( MatchCompType type, AddressFamily family ) {
   switch ( type ) {
   case MatchCompType::port:
   case MatchCompType::destPort:
   case MatchCompType::srcPort:
      return { { tcp, tcp }, { udp, udp } };
   case MatchCompType::tcpFlags:
      return { { tcp, tcp } };
   case MatchCompType::icmpType:
   case MatchCompType::icmpCode:
      return family == AddressFamily::ipv6 ? std::vector< Range >{ { 58, 58 } }
                                           : std::vector< Range >{ { 1, 1 } };
   default:
      return { { 0, 0xFF } };
   }
}

std::vector< Line > componentLines( const Wire::CanonicalComponent& component, AddressFamily family,
                                    bool transport ) {
   switch ( component.type ) {
   case MatchCompType::port:
      return { { testOf( destPortField, component.ranges ) },
               { testOf( srcPortField, component.ranges ) } };
   case MatchCompType::tcpFlags:
      return { { tcpFlagsTest( component.flags ) } };
   case MatchCompType::fragment:
      if ( family == AddressFamily::ipv6 ) {
         return ipv6FragmentLines( component.flags, transport );
      }
      return { { ipv4FragmentTest( component.flags ) } };
   default:
      const Numbers numbers = numbersOf( component.type, family );
      return { { testOf( numbers.field, fieldRanges( numbers, component.ranges ) ) } };
   }
}

bool readsTransport( const Wire::CanonicalRule& rule ) {
   return std::ranges::any_of( rule.components(), [&]( const auto& component ) {
      return protocolsOf( component.type, rule.family() ) != protocolsOf( ipProto, rule.family() );
   } );
}

bool readsFragment( const Wire::CanonicalRule& rule ) {
   return std::ranges::any_of( rule.components(), []( const auto& component ) {
      return component.type == MatchCompType::fragment;
   } );
}

// The tests for the protocols that the components together take. The kernel takes an authentication
// header for the protocol of an IPv6 packet, so that what is after it is an alternative.
std::vector< Line > protocolLines( const Wire::CanonicalRule& rule ) {
   const AddressFamily family = rule.family();
   const std::vector< Range > all{ { 0, 0xFF } };
   std::vector< Range > protocols = all;
   const bool transport = readsTransport( rule );
   bool readsProtocol = transport;
   for ( const Wire::CanonicalComponent& component : rule.components() ) {
      const bool names = component.type == ipProto;
      protocols = intersection( protocols,
                                names ? component.ranges : protocolsOf( component.type, family ) );
      readsProtocol = readsProtocol || names;
   }
   if ( !readsProtocol ) {
      return { Line() };
   }
   if ( family == AddressFamily::ipv4 ) {
      Line line{ testOf( protocolField, protocols ) };
      if ( transport ) {
         line.push_back( equal( { Source::network, 6, 2, 0x1FFF }, 0 ) ); // no later fragment
      }
      return { std::move( line ) };
   }
   if ( protocols == all ) {
      return { { equal( protocolField, 44, true ) } }; // that can be read
   }
   constexpr U8 authentication = 51;
   std::vector< Line > lines{
      { testOf( protocolField, intersection( protocols, { { 0, 50 }, { 52, 0xFF } } ) ) } };
   if ( !transport ) {
      // What is after another extension header is not known.
      const std::vector< Range > ends{ { 1, 42 }, { 45, 50 }, { 52, 59 }, { 61, 0xFF } };
      lines.push_back(
         { equal( protocolField, authentication ),
           testOf( { Source::transport, 0, 1, 0xFF }, intersection( protocols, ends ) ) } );
   }
   return lines;
}

bool admitsNothing( const Line& line ) {
   return std::ranges::any_of( line, []( const Expression& expression ) {
      const auto* const test = std::get_if< Test >( &expression );
      return test != nullptr && test->ranges.empty();
   } );
}

} // namespace

std::vector< Line > matchLines( const Wire::CanonicalRule& rule ) {
   if ( rule.nothing() ) {
      return {};
   }
   Line source;
   if ( rule.srcPrefix().length() > 0 ) {
      source.push_back( SourceTest{ rule.srcPrefix() } );
   }
   std::vector< Line > lines{ std::move( source ) };
   addAlternatives( lines, protocolLines( rule ) );
   const bool transport = readsTransport( rule );
   if ( transport && rule.family() == AddressFamily::ipv6 && !readsFragment( rule ) ) {
      // In a later fragment the kernel would read the IP header for the one after it.
      addAlternatives( lines, { { NoFragmentHeader() }, { equal( ipv6OffsetField, 0 ) } } );
   }
   for ( const Wire::CanonicalComponent& component : rule.components() ) {
      if ( component.type != ipProto ) {
         addAlternatives( lines, componentLines( component, rule.family(), transport ) );
      }
   }
   std::erase_if( lines, admitsNothing );
   return lines;
}

} // namespace Dataplane::Nftables
