#pragma once

#include "forms/dialects/Terms.h"
#include "wire/Canonical.h"
#include "wire/NlriFormat.h"

#include <algorithm>
#include <vector>

namespace Forms {

/// The components of a text in any order, collected before the rule's family is known. Terms of a
/// component that occurs more than once are joined by OR.
class MatchParts {
public:
   void prefixIs( std::size_t at, Flowspec::MatchCompType type, const Zorv::IpGenPrefix& prefix ) {
      prefixes_.push_back( { at, type, prefix } );
   }
   void add( std::size_t at, Flowspec::MatchCompType type, const Term& term ) {
      terms_.push_back( { at, type, term } );
   }

   /// That of the first prefix; none without one.
   Zorv::AddressFamily family() const {
      return prefixes_.empty() ? Zorv::AddressFamily::none : prefixes_.front().prefix.family();
   }

   /// Makes the key of `rule`; fails as `KeyBuilder` does, at `end` of `text` for the whole.
   void fill( const Cursor& text, Zorv::AddressFamily family, std::size_t end, Rule& rule );

private:
   struct PlacedPrefix {
      std::size_t at;
      Flowspec::MatchCompType type;
      Zorv::IpGenPrefix prefix;
   };
   struct PlacedTerm {
      std::size_t at;
      Flowspec::MatchCompType type;
      Term term;
   };

   std::vector< PlacedPrefix > prefixes_;
   std::vector< PlacedTerm > terms_;
};

/// How many octets the NLRI of a rule has after its length field. Throws `Inexpressible` when no
/// NLRI holds it.
U32 nlriLength( const Rule& rule );

/// Calls `write` with a rule, and where that throws `Inexpressible` with the canonical form of its
/// match, when it has one; prefixes stay. Of two reasons the first is thrown. What no NLRI holds is
/// no rule: a key without a component never becomes one that matches everything.
template < typename Write >
void writeEquivalent( const Rule& rule, Vek::String& out, Write write ) {
   nlriLength( rule );
   const std::size_t size = out.size();
   try {
      write( rule );
      return;
   } catch ( const Inexpressible& why ) {
      Rule canonical = rule;
      if ( Wire::CanonicalRule( rule.key ).toKey( canonical.key ) ) {
         throw;
      }
      if ( !rule.key.destPrefix().empty() || !rule.key.srcPrefix().empty() ) {
         canonical.key.destPrefixIs( rule.key.destPrefix() );
         canonical.key.srcPrefixIs( rule.key.srcPrefix() );
      }
      out.resize( size );
      try {
         write( canonical );
      } catch ( const Inexpressible& ) {
         throw Inexpressible{ why.reason };
      }
   }
}

/// An operator of a dialect, and what it tests (`OpBits`).
struct Operator {
   std::string_view text;
   U8 test;
};

/// Takes the first of `operators` that comes next, the longer of two that begin alike being first
/// in the list; `otherwise` when none does.
template < std::size_t count >
U8 takeOperator( Cursor& text, const Operator ( &operators )[count], U8 otherwise ) {
   const auto* const row = std::ranges::find_if(
      operators, [&]( const Operator& candidate ) { return text.take( candidate.text ); } );
   return row == std::end( operators ) ? otherwise : row->test;
}

/// A name of a dialect for a component other than a prefix.
struct ComponentName {
   Flowspec::MatchCompType type;
   std::string_view name;
   U32 max; ///< the largest value that is read
};

/// A name of a dialect for a number.
struct NumberName {
   std::string_view name;
   U32 value;
};

} // namespace Forms
