#pragma once

#include "Osk/HashMix.h"
#include "match/RuleBlocks.h"
#include "match/RuleList.h"

#include <memory>

namespace Match {

/// Rules filed by their attributes: a hash table of groups, each of the rules that share a block.
/// A group that grows becomes a table of its own, over the attributes that are left.
class MatchTable {
public:
   using Ids = std::vector< U32 >; ///< the best first

   /// `filedBy` has the bits of the types that the rules were filed by on the way to this table.
   explicit MatchTable( U32 filedBy ) : filedBy_( filedBy ) {}

   std::size_t size() const { return size_; }

   void insert( const RuleList& rules, U32 id, const std::vector< Attribute >& attributes );
   /// A rule that was inserted with the same attributes.
   void erase( const RuleList& rules, U32 id, const std::vector< Attribute >& attributes ) {
      take( rules, id, attributes );
   }

   /// Calls `tryRules` with the groups that a packet has to be tried on. `values` are those of the
   /// packet by type, ready to be masked.
   template < typename Values, typename TryRules >
   void visit( const Values& values, const TryRules& tryRules ) const;

private:
   // Of more than one rule: either a list or a table.
   struct Many {
      Ids rules;
      std::unique_ptr< MatchTable > table;
   };

   // The rules that share a block; unused when `tag` is 0.
   struct Group {
      static constexpr U32 none = ~U32{ 0 };

      U64 tag = 0;
      U32 one = none; // when there is no `many`
      std::unique_ptr< Many > many;

      std::size_t size() const;
   };

   // A length in use.
   struct Length {
      Flowspec::MatchCompType type;
      U8 length;
      U32 groups;
   };

   static U64 tagOf( Flowspec::MatchCompType type, const Wire::AddressBits& bits, U8 length );
   static U32 bitOf( Flowspec::MatchCompType type ) {
      return U32{ 1 } << static_cast< U8 >( type );
   }

   std::size_t home( U64 tag ) const { return ( tag >> 16 ) & ( groups_.size() - 1 ); }
   std::size_t next( std::size_t at ) const { return ( at + 1 ) & ( groups_.size() - 1 ); }
   std::size_t filterWord( U64 tag ) const { return ( tag >> 22 ) & ( filter_.size() - 1 ); }
   static U64 filterBit( U64 tag ) { return U64{ 1 } << ( tag >> 16 ) % 64; }

   const Group* find( U64 tag ) const;
   Group* find( U64 tag ) { return const_cast< Group* >( std::as_const( *this ).find( tag ) ); }
   Group& add( Flowspec::MatchCompType type, const Block& block );
   void remove( Group& group, Flowspec::MatchCompType type, const Block& block );
   std::size_t freeSlot( U64 tag ) const;
   void resize( std::size_t size );

   bool usable( const std::vector< Attribute >& attributes, const Attribute& attribute ) const;
   const Attribute* rarest( const std::vector< Attribute >& attributes ) const;
   void put( Group& group, const RuleList& rules, U32 id, Flowspec::MatchCompType type,
             const std::vector< Attribute >& attributes );
   bool take( const RuleList& rules, U32 id, const std::vector< Attribute >& attributes );
   static bool takeFrom( Group& group, const RuleList& rules, U32 id,
                         const std::vector< Attribute >& attributes );

   U32 filedBy_;
   std::size_t size_ = 0;
   std::vector< Length > lengths_; // by type; the longer first
   std::vector< Group > groups_;   // a power of two, probed one after the other
   std::vector< U64 > filter_;     // a bit for each tag, small enough to stay in the first cache
   std::size_t used_ = 0;          // groups
   std::size_t removed_ = 0;       // whose bits are in the filter still
   Ids rest_;                      // what no attribute is left for
};

template < typename Values, typename TryRules >
void MatchTable::visit( const Values& values, const TryRules& tryRules ) const {
   for ( const Length& length : lengths_ ) {
      for ( const Wire::AddressBits& value : values( length.type ) ) {
         const Group* const group =
            find( tagOf( length.type, value.masked( length.length ), length.length ) );
         if ( !group ) {
            continue;
         }
         if ( !group->many ) {
            tryRules( std::span( &group->one, 1 ) );
         } else if ( group->many->table ) {
            group->many->table->visit( values, tryRules );
         } else {
            tryRules( std::span( group->many->rules ) );
         }
      }
   }
   tryRules( std::span( rest_ ) );
}

inline U64 MatchTable::tagOf( Flowspec::MatchCompType type, const Wire::AddressBits& bits,
                              U8 length ) {
   const U64 kind = U64{ static_cast< U8 >( type ) } << 8 | length;
   Osk::HashMix mix;
   mix.mix( bits.high, bits.low ^ kind << 48 );
   return U64{ mix.value() } << 16 | kind;
}

inline const MatchTable::Group* MatchTable::find( U64 tag ) const {
   if ( used_ == 0 || !( filter_[filterWord( tag )] & filterBit( tag ) ) ) {
      return nullptr;
   }
   std::size_t at = home( tag );
   while ( groups_[at].tag != 0 && groups_[at].tag != tag ) {
      at = next( at );
   }
   return groups_[at].tag == tag ? &groups_[at] : nullptr;
}

} // namespace Match
