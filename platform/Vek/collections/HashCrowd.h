#pragma once

#include "Osk/Types.h"

namespace Vek::detail {

/// The keys of a hash collection's members, by their positions, and their order, for code that
/// knows no types.
struct HashKeys {
   const void* table;
   const void* ( *at )( const void* table, U32 position );
   int ( *compare )( const void* a, const void* b ); ///< below 0 when `a` comes first
};

/// Members of a hash collection that find no room on the way of their hash, as those of many equal
/// hashes: a search tree over their positions in the order of their keys, balanced by chance.
class OSK_EXPORT HashCrowd {
public:
   explicit HashCrowd( U64 seed ) : chance_( seed ) {}
   HashCrowd( const HashCrowd& other );
   HashCrowd& operator=( const HashCrowd& ) = delete;
   ~HashCrowd();

   /// The position of the member with `key`; null when there is none.
   U32* find( const HashKeys& keys, const void* key ) const;
   void insert( const HashKeys& keys, U32 position );
   void erase( const HashKeys& keys, U32 position );

   /// Calls with each position.
   template < typename Visit >
   void forEach( Visit visit ) const {
      visitAll( root_, visit );
   }

private:
   struct Node {
      U32 position;
      U32 rank; ///< above those of the nodes below
      Node* before = nullptr;
      Node* after = nullptr;
   };

   static Node* copy( const Node* node );
   static void drop( Node* node );
   template < typename Visit >
   static void visitAll( const Node* node, Visit& visit ) {
      for ( ; node; node = node->after ) {
         visitAll( node->before, visit );
         visit( node->position );
      }
   }

   Node* root_ = nullptr;
   U64 chance_;
};

} // namespace Vek::detail
