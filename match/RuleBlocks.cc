#include "match/RuleBlocks.h"

#include <algorithm>
#include <bit>

namespace Match {

namespace {

using namespace Flowspec;
using Wire::AddressBits;

// What is beyond all values that packets have of a field.
U64 endOf( MatchCompType type, Zorv::AddressFamily family ) {
   // Of IPv6 the length has the fixed header beside the 16 bits of the payload's.
   return type == packetLength ? U64{ 0x10000 } + 40
                               : U64{ componentType( type ).field( family ).bits } + 1;
}

// One range for each alternative that can hold; "not equal" leaves no hole in it.
std::vector< NumberRange > rangesOf( const RuleMatch::Component& component,
                                     Zorv::AddressFamily family ) {
   const NumberRange all{ 0, endOf( component.type, family ) };
   std::vector< NumberRange > ranges;
   NumberRange range = all;
   const auto add = [&] {
      if ( range.begin < range.end ) {
         ranges.push_back( range );
      }
      range = all;
   };
   for ( const RuleMatch::Term& term : component.terms ) {
      if ( &term != component.terms.data() && !( term.op & OpBits::andPrevious ) ) {
         add();
      }
      const U64 equal = term.op & OpBits::eq ? 1 : 0;
      if ( !( term.op & OpBits::gt ) ) {
         range.end = std::min( range.end, term.value + equal );
      }
      if ( !( term.op & OpBits::lt ) ) {
         range.begin = std::max( range.begin, term.value + 1 - equal );
      }
   }
   add();
   return ranges;
}

void addBlocks( std::vector< Block >& blocks, NumberRange range ) {
   const U64 last = range.end - 1;
   const U64 quarter = std::max< U64 >( 2, std::bit_width( last - range.begin ) ) - 2;
   for ( U64 block = range.begin >> quarter; block <= last >> quarter; ++block ) {
      blocks.push_back( { blockBits( static_cast< U32 >( block << quarter ) ),
                          static_cast< U8 >( 32 - quarter ) } );
   }
}

NumberRange hullOf( const std::vector< NumberRange >& ranges ) {
   NumberRange hull{ ~U64{ 0 }, 0 };
   for ( const NumberRange& range : ranges ) {
      hull = { std::min( hull.begin, range.begin ), std::max( hull.end, range.end ) };
   }
   return hull;
}

std::vector< Block > blocksOf( const RuleMatch::Component& component, Zorv::AddressFamily family ) {
   std::vector< Block > blocks;
   const std::vector< NumberRange > ranges = rangesOf( component, family );
   for ( const NumberRange& range : ranges ) {
      addBlocks( blocks, range );
   }
   std::ranges::sort( blocks );
   blocks.erase( std::unique( blocks.begin(), blocks.end() ), blocks.end() );
   if ( blocks.size() > maxBlocks ) {
      blocks.clear();
      addBlocks( blocks, hullOf( ranges ) );
   }
   return blocks;
}

} // namespace

NumberRange hullOf( const RuleMatch::Component& component, Zorv::AddressFamily family ) {
   return hullOf( rangesOf( component, family ) );
}

std::vector< Attribute > attributesOf( const RuleMatch& rule ) {
   std::vector< Attribute > attributes;
   const auto addPrefix = [&]( MatchCompType type, const Zorv::IpGenPrefix& prefix ) {
      if ( prefix.length() != 0 ) {
         attributes.push_back( { type,
                                 { { AddressBits::of( prefix.address() ).masked( prefix.length() ),
                                     prefix.length() } } } );
      }
   };
   addPrefix( destPrefix, rule.destPrefix() );
   addPrefix( srcPrefix, rule.srcPrefix() );
   for ( const RuleMatch::Component& component : rule.components() ) {
      if ( !isBitmask( component.type ) ) {
         attributes.push_back( { component.type, blocksOf( component, rule.family() ) } );
      }
   }
   return attributes;
}

} // namespace Match
