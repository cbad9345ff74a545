#pragma once

#include "forms/dialects/Cursor.h"

/// The components of a rule as its texts have them: lists of tests in the order of their types.
namespace Forms {

/// One test of a component: `test` is what `OpBits` has of it, lt, gt and eq of a number, invert
/// and match of flags.
struct Term {
   bool andPrevious;
   U8 test;
   U32 value;

   bool operator==( const Term& ) const = default;
};

/// A component other than a prefix, with at least one term, the first without `andPrevious`.
struct Component {
   Flowspec::MatchCompType type;
   std::vector< Term > terms;
};

/// The components of a key that BGP can carry, in the order of their types. Throws `Inexpressible`
/// for any other key: no NLRI holds it.
std::vector< Component > componentsOf( const Flowspec::FlowspecKey& key );

/// Fills a rule's key with the components of a text in any order, and fails at the text's cursor.
class KeyBuilder {
public:
   /// The key of `rule` gets its family at once.
   KeyBuilder( const Cursor& text, Zorv::AddressFamily family, Rule& rule );

   /// Reports a type that the family does not have, one that was there before, and a prefix of
   /// another family, at offset `at` of the text.
   void prefixIs( std::size_t at, Flowspec::MatchCompType type, const Zorv::IpGenPrefix& prefix );
   void begin( std::size_t at, Flowspec::MatchCompType type );
   /// Adds a term to the component that was begun last, which has its shortest length. Reports a
   /// value that no length holds, and more terms than a key has words.
   void add( std::size_t at, const Term& term );
   /// After the last component: puts them into the order of their types. Reports a rule without
   /// any, and one that is too long, at `at`.
   void finish( std::size_t at );

private:
   const Cursor& text_;
   Flowspec::FlowspecKey& key_;
   U32 index_ = 0;
   Flowspec::MatchCompType type_ = Flowspec::invalid;
   U32 seen_ = 0; // types, as bits
};

} // namespace Forms
