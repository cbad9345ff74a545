#include "Flowspec/key/FilterConversion.h"

#include "Classification/StructuredFilter.h"
#include "Flowspec/vocab/TraceHandle.h"
#include "Osk/Assert.h"

#include <algorithm>
#include <vector>

namespace Flowspec {

namespace {

using Classification::NumericalRange;
using Classification::PortField;
using Classification::StructuredFilter;
using Classification::TcpFlagAndMask;

constexpr unsigned progress = 8;

constexpr U8 isFragmentBit = 0x02;

using Ranges = std::vector< NumericalRange >;

Ranges sortedWithoutDuplicates( Ranges ranges ) {
   std::ranges::sort( ranges );
   ranges.erase( std::unique( ranges.begin(), ranges.end() ), ranges.end() );
   return ranges;
}

Ranges ports( const StructuredFilter& filter,
              std::set< Classification::PortRange > PortField::*side ) {
   Ranges ranges;
   for ( const auto& [protocols, field] : filter.proto ) {
      for ( const auto& [id, port] : field.port ) {
         ranges.insert( ranges.end(), ( port.*side ).begin(), ( port.*side ).end() );
      }
   }
   return sortedWithoutDuplicates( std::move( ranges ) );
}

// What the numeric components of a filter differ in.
struct Component {
   MatchCompType type;
   bool oneByte;         // values take one byte, whatever they are
   const char* function; // that traces
   std::string_view label;
};

MatchOpValIndex addRanges( FlowspecKey& key, MatchOpValIndex index, const Component& component,
                           const Ranges& ranges ) {
   const auto lengthCode = [&]( U32 value ) -> U8 { return !component.oneByte && value > 255; };
   for ( const NumericalRange& range : ranges ) {
      const U8 len1 = lengthCode( range.rangeMin() );
      const U8 len2 = lengthCode( range.rangeMax() );
      const bool endOfList = range.isEq( ranges.back() );
      if ( traceHandle.levelIsOn( progress ) ) [[unlikely]] {
         Vek::String text = Vek::concat( component.function, component.label, range );
         if ( !component.oneByte ) {
            text +=
               Vek::concat( ", len1: ", len1, ", len2: ", len2, ", endOfList: ", int{ endOfList } );
         }
         traceHandle.write( progress, __LINE__, component.function, text );
      }
      index = addNumericRange( key, index, component.type, len1, len2, endOfList, range );
   }
   return index;
}

} // namespace

MatchOpValIndex addNumericRange( FlowspecKey& key, MatchOpValIndex index, MatchCompType type,
                                 U8 firstLen, U8 secondLen, bool isLast,
                                 const NumericalRange& range ) {
   const auto lengthBits = []( U8 code ) { return ( code & 0xF ) << 4; };
   const auto add = [&]( int op, U32 value ) {
      index = key.setOpVal( index, type, static_cast< U8 >( op ), static_cast< U16 >( value ) );
   };
   const int end = isLast ? OpBits::endOfList : 0;
   if ( range.hasRange() ) {
      add( lengthBits( firstLen ) | OpBits::gt | OpBits::eq, range.rangeMin() );
      add( OpBits::andPrevious | lengthBits( secondLen ) | OpBits::lt | OpBits::eq | end,
           range.rangeMax() );
   } else {
      add( lengthBits( firstLen ) | OpBits::eq | end, range.rangeMin() );
   }
   return index;
}

void FlowspecKey::copyInStructuredFilter( const FilterPtr& filter ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   destPrefixIs( {} );
   srcPrefixIs( {} );
   matchOpValDelAll();
   if ( !filter->destPrefix.empty() ) {
      const Zorv::IpGenPrefix& prefix = *filter->destPrefix.begin();
      VEK_TRACE( traceHandle, progress, __func__, " Destination prefix: ", prefix );
      destPrefixIs( prefix );
   }
   if ( !filter->srcPrefix.empty() ) {
      const Zorv::IpGenPrefix& prefix = *filter->srcPrefix.begin();
      VEK_TRACE( traceHandle, progress, __func__, " Source prefix: ", prefix );
      srcPrefixIs( prefix );
   }
   MatchOpValIndex index = 0;
   index = copyInStructuredFilterProto( filter, index );
   index = copyInStructuredFilterDestPort( filter, index );
   index = copyInStructuredFilterSourcePort( filter, index );
   index = copyInStructuredFilterIcmpType( filter, index );
   index = copyInStructuredFilterIcmpCode( filter, index );
   index = copyInStructuredFilterTcpFlags( filter, index );
   index = copyInStructuredFilterPacketLength( filter, index );
   index = copyInStructuredFilterDscp( filter, index );
   if ( filter->fragment ) {
      const Classification::FragmentType type = filter->fragment->fragmentType();
      VEK_TRACE( traceHandle, progress, __func__, " Fragment: ", Vek::stringValue( type ) );
      if ( type == Classification::FragmentType::anyFragment ) {
         setOpVal( index, MatchCompType::fragment, OpBits::endOfList, isFragmentBit );
      }
   }
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterProto( const FilterPtr& filter,
                                                          MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   Ranges ranges;
   for ( const auto& [protocols, field] : filter->proto ) {
      ranges.push_back( protocols );
   }
   return addRanges( *this, index, { ipProto, true, __func__, " Proto range: " }, ranges );
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterDestPort( const FilterPtr& filter,
                                                             MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   return addRanges( *this, index, { destPort, false, __func__, " Dest ports: " },
                     ports( *filter, &PortField::dport ) );
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterSourcePort( const FilterPtr& filter,
                                                               MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   return addRanges( *this, index, { srcPort, false, __func__, " Source ports: " },
                     ports( *filter, &PortField::sport ) );
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterIcmpType( const FilterPtr& filter,
                                                             MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   Ranges ranges;
   for ( const auto& [protocols, field] : filter->proto ) {
      for ( const auto& [types, codes] : field.icmpType ) {
         ranges.push_back( types );
      }
   }
   std::ranges::sort( ranges );
   return addRanges( *this, index, { icmpType, true, __func__, " ICMP types: " }, ranges );
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterIcmpCode( const FilterPtr& filter,
                                                             MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   Ranges ranges;
   for ( const auto& [protocols, field] : filter->proto ) {
      for ( const auto& [types, codes] : field.icmpType ) {
         ranges.insert( ranges.end(), codes.icmpCode.begin(), codes.icmpCode.end() );
      }
   }
   return addRanges( *this, index, { icmpCode, true, __func__, " ICMP codes: " },
                     sortedWithoutDuplicates( std::move( ranges ) ) );
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterTcpFlags( const FilterPtr& filter,
                                                             MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   std::vector< TcpFlagAndMask > tests;
   for ( const auto& [protocols, field] : filter->proto ) {
      tests.insert( tests.end(), field.tcpFlagAndMask.begin(), field.tcpFlagAndMask.end() );
   }
   std::ranges::sort( tests );
   for ( const TcpFlagAndMask& test : tests ) {
      if ( test.mask() == 0 ) {
         continue;
      }
      VEK_TRACE( traceHandle, progress, __func__, " TCP flag: ", test.flag(),
                 " TCP flagMask: ", test.mask() );
      const U8 end = test.isEq( tests.back() ) ? OpBits::endOfList : U8{ 0 };
      const U8 set = test.flag() & test.mask();
      const U8 clear = test.mask() & static_cast< U8 >( ~test.flag() );
      if ( set != 0 ) {
         const U8 endOfSet = clear == 0 ? end : U8{ 0 };
         index = setOpVal( index, tcpFlags, OpBits::match | endOfSet, set );
      }
      if ( clear != 0 ) {
         const U8 joined = set != 0 ? OpBits::andPrevious : U8{ 0 };
         index = setOpVal( index, tcpFlags, OpBits::invert | joined | end, clear );
      }
   }
   return index;
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterPacketLength( const FilterPtr& filter,
                                                                 MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   return addRanges( *this, index, { packetLength, false, __func__, " Lengths: " },
                     Ranges( filter->length.begin(), filter->length.end() ) );
}

MatchOpValIndex FlowspecKey::copyInStructuredFilterDscp( const FilterPtr& filter,
                                                         MatchOpValIndex index ) {
   OSK_ASSERT( filter, "filter != nullptr" );
   return addRanges( *this, index, { dscp, true, __func__, " DSCP: " },
                     Ranges( filter->dscp.begin(), filter->dscp.end() ) );
}

} // namespace Flowspec
