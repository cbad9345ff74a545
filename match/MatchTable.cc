#include "match/MatchTable.h"

#include <algorithm>
#include <bit>

namespace Match {

namespace {

using namespace Flowspec;

// Few enough to try; looking for a still rarer attribute costs every packet a look-up.
constexpr std::size_t fewRules = 8;
// How many rules a group tries before they are filed further.
constexpr std::size_t maxGroup = 16;
// How often a rule is filed in all tables.
constexpr std::size_t maxCopies = 64;

void insertInOrder( MatchTable::Ids& ids, const RuleList& rules, U32 id ) {
   const auto at =
      std::ranges::lower_bound( ids, id, [&]( U32 a, U32 b ) { return rules.precedes( a, b ); } );
   ids.insert( at, id );
}

bool eraseInOrder( MatchTable::Ids& ids, const RuleList& rules, U32 id ) {
   const auto at =
      std::ranges::lower_bound( ids, id, [&]( U32 a, U32 b ) { return rules.precedes( a, b ); } );
   if ( at == ids.end() || *at != id ) {
      return false;
   }
   ids.erase( at );
   return true;
}

} // namespace

std::size_t MatchTable::Group::size() const {
   if ( !many ) {
      return one != none;
   }
   return many->table ? many->table->size() : many->rules.size();
}

// Whether a rule with these attributes may be filed by one of them here.
bool MatchTable::usable( const std::vector< Attribute >& attributes,
                         const Attribute& attribute ) const {
   std::size_t copies = attribute.blocks.size();
   for ( const Attribute& other : attributes ) {
      copies *= filedBy_ & bitOf( other.type ) ? other.blocks.size() : 1;
   }
   return !( filedBy_ & bitOf( attribute.type ) ) && copies <= maxCopies;
}

// The first attribute that few rules share, else the one that the fewest do; null when none is
// left.
const Attribute* MatchTable::rarest( const std::vector< Attribute >& attributes ) const {
   const Attribute* best = nullptr;
   std::size_t bestSize = 0;
   for ( const Attribute& attribute : attributes ) {
      if ( !usable( attributes, attribute ) ) {
         continue;
      }
      std::size_t size = 0;
      for ( const Block& block : attribute.blocks ) {
         const Group* const group = find( tagOf( attribute.type, block.bits, block.length ) );
         size = std::max( size, group ? group->size() : 0 );
      }
      if ( !best || size < bestSize ) {
         best = &attribute;
         bestSize = size;
      }
      if ( bestSize < fewRules ) {
         break;
      }
   }
   return best;
}

void MatchTable::insert( const RuleList& rules, U32 id,
                         const std::vector< Attribute >& attributes ) {
   ++size_;
   const Attribute* const attribute = rarest( attributes );
   if ( !attribute ) {
      insertInOrder( rest_, rules, id );
      return;
   }
   for ( const Block& block : attribute->blocks ) {
      put( add( attribute->type, block ), rules, id, attribute->type, attributes );
   }
}

void MatchTable::put( Group& group, const RuleList& rules, U32 id, MatchCompType type,
                      const std::vector< Attribute >& attributes ) {
   if ( group.size() == 0 ) {
      group.one = id;
      return;
   }
   if ( !group.many ) {
      group.many = std::make_unique< Many >();
      group.many->rules.push_back( group.one );
   }
   Many& many = *group.many;
   if ( many.table ) {
      many.table->insert( rules, id, attributes );
      return;
   }
   insertInOrder( many.rules, rules, id );
   if ( many.rules.size() > maxGroup ) {
      auto table = std::make_unique< MatchTable >( filedBy_ | bitOf( type ) );
      if ( table->rarest( attributes ) ) {
         for ( const U32 one : std::exchange( many.rules, {} ) ) {
            table->insert( rules, one, attributesOf( rules[one] ) );
         }
         many.table = std::move( table );
      }
   }
}

// Removes a rule from where it is filed: by which attribute depends on what was there before it.
bool MatchTable::take( const RuleList& rules, U32 id, const std::vector< Attribute >& attributes ) {
   const auto isFiledBy = [&]( const Attribute& attribute ) {
      if ( !usable( attributes, attribute ) ) {
         return false;
      }
      for ( const Block& block : attribute.blocks ) {
         Group* const group = find( tagOf( attribute.type, block.bits, block.length ) );
         if ( !group || !takeFrom( *group, rules, id, attributes ) ) {
            return false;
         }
         if ( group->size() == 0 ) {
            remove( *group, attribute.type, block );
         }
      }
      return true;
   };
   const bool found =
      std::ranges::any_of( attributes, isFiledBy ) || eraseInOrder( rest_, rules, id );
   size_ -= found;
   return found;
}

bool MatchTable::takeFrom( Group& group, const RuleList& rules, U32 id,
                           const std::vector< Attribute >& attributes ) {
   if ( !group.many ) {
      return group.one == id && std::exchange( group.one, Group::none ) == id;
   }
   Many& many = *group.many;
   const bool found = many.table ? many.table->take( rules, id, attributes )
                                 : eraseInOrder( many.rules, rules, id );
   if ( group.size() < 2 && !many.table ) {
      group.one = many.rules.front();
      group.many.reset();
   } else if ( group.size() == 0 ) {
      group.one = Group::none;
      group.many.reset();
   }
   return found;
}

std::size_t MatchTable::freeSlot( U64 tag ) const {
   std::size_t at = home( tag );
   while ( groups_[at].tag != 0 ) {
      at = next( at );
   }
   return at;
}

// The group of a block, empty when there was none.
MatchTable::Group& MatchTable::add( MatchCompType type, const Block& block ) {
   const U64 tag = tagOf( type, block.bits, block.length );
   if ( Group* const group = find( tag ) ) {
      return *group;
   }
   if ( 3 * ( used_ + 1 ) > 2 * groups_.size() ) {
      resize( std::max< std::size_t >( 4, 2 * groups_.size() ) );
   }
   ++used_;
   filter_[filterWord( tag )] |= filterBit( tag );
   const auto goesBefore = [&]( const Length& length ) {
      return length.type != type ? length.type < type : length.length > block.length;
   };
   auto length = std::ranges::partition_point( lengths_, goesBefore );
   if ( length == lengths_.end() || length->type != type || length->length != block.length ) {
      length = lengths_.insert( length, { type, block.length, 0 } );
   }
   ++length->groups;
   Group& group = groups_[freeSlot( tag )];
   group.tag = tag;
   return group;
}

// Removes an empty group.
void MatchTable::remove( Group& group, MatchCompType type, const Block& block ) {
   const auto length = std::ranges::find_if( lengths_, [&]( const Length& one ) {
      return one.type == type && one.length == block.length;
   } );
   if ( --length->groups == 0 ) {
      lengths_.erase( length );
   }
   std::size_t hole = static_cast< std::size_t >( &group - groups_.data() );
   // Those after it move up as far as they are looked for.
   const std::size_t mask = groups_.size() - 1;
   for ( std::size_t at = next( hole ); groups_[at].tag != 0; at = next( at ) ) {
      if ( ( ( at - home( groups_[at].tag ) ) & mask ) >= ( ( at - hole ) & mask ) ) {
         groups_[hole] = std::move( groups_[at] );
         hole = at;
      }
   }
   groups_[hole] = {};
   --used_;
   ++removed_;
   if ( 2 * removed_ > groups_.size() ) {
      resize( std::bit_ceil( 2 * used_ + 4 ) );
   }
}

void MatchTable::resize( std::size_t size ) {
   std::vector< Group > groups( size );
   groups.swap( groups_ );
   filter_.assign( std::max< std::size_t >( 1, size / 8 ), 0 );
   removed_ = 0;
   for ( Group& group : groups ) {
      if ( group.tag != 0 ) {
         filter_[filterWord( group.tag )] |= filterBit( group.tag );
         groups_[freeSlot( group.tag )] = std::move( group );
      }
   }
}

} // namespace Match
