#pragma once

#include "match/RuleMatch.h"

namespace Match {

/// The values of one field that begin with the same bits. A value of a field other than an address
/// has 32 bits, the highest of `bits`.
struct Block {
   Wire::AddressBits bits;
   U8 length; ///< how many bits are the same; the others are 0

   auto operator<=>( const Block& ) const = default;
};

/// One component of a rule as blocks: a packet that the rule matches has a value in one of them.
struct Attribute {
   Flowspec::MatchCompType type;
   std::vector< Block > blocks; ///< at most `maxBlocks`, each once; none when no packet matches
};

inline constexpr std::size_t maxBlocks = 16;

/// What a rule can be found by: its prefixes, then its numeric components in the order of the key.
///
/// A prefix is one block. A range of numbers is at most five: it is rounded outwards to blocks of
/// about a quarter of its size, so there are values in them that the rule does not match. Ranges
/// that would be too many blocks become the one from the lowest to the highest.
std::vector< Attribute > attributesOf( const RuleMatch& rule );

/// From `begin` up to `end`, without it.
struct NumberRange {
   U64 begin;
   U64 end;
};

/// The numbers from the lowest to the highest of those that a numeric component admits; `end` is 0
/// when there are none.
NumberRange hullOf( const RuleMatch::Component& component, Zorv::AddressFamily family );

/// The block of a value with all bits known, to be masked.
inline Wire::AddressBits blockBits( U32 value ) { return { U64{ value } << 32, 0 }; }

} // namespace Match
