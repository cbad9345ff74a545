#include "Vek/collections/HashCrowd.h"

namespace Vek::detail {

HashCrowd::HashCrowd( const HashCrowd& other )
   : root_( copy( other.root_ ) ), chance_( other.chance_ ) {}

HashCrowd::~HashCrowd() { drop( root_ ); }

HashCrowd::Node* HashCrowd::copy( const Node* node ) {
   if ( !node ) {
      return nullptr;
   }
   Node* const copied = new Node{ node->position, node->rank };
   try {
      copied->before = copy( node->before );
      copied->after = copy( node->after );
   } catch ( ... ) {
      drop( copied );
      throw;
   }
   return copied;
}

void HashCrowd::drop( Node* node ) {
   while ( node ) {
      drop( node->before );
      Node* const after = node->after;
      delete node;
      node = after;
   }
}

U32* HashCrowd::find( const HashKeys& keys, const void* key ) const {
   for ( Node* node = root_; node; ) {
      const int order = keys.compare( key, keys.at( keys.table, node->position ) );
      if ( order == 0 ) {
         return &node->position;
      }
      node = order < 0 ? node->before : node->after;
   }
   return nullptr;
}

void HashCrowd::insert( const HashKeys& keys, U32 position ) {
   const void* const key = keys.at( keys.table, position );
   const auto isBefore = [&]( const Node* node ) {
      return keys.compare( key, keys.at( keys.table, node->position ) ) < 0;
   };
   chance_ = chance_ * 0x5851F42D4C957F2D + 0x14057B7EF767814F;
   Node* const added = new Node{ position, static_cast< U32 >( chance_ >> 32 ) };
   Node** link = &root_;
   while ( *link && ( *link )->rank >= added->rank ) {
      link = isBefore( *link ) ? &( *link )->before : &( *link )->after;
   }
   // What is below comes before or after the new one.
   Node* rest = *link;
   *link = added;
   Node** before = &added->before;
   Node** after = &added->after;
   while ( rest ) {
      if ( isBefore( rest ) ) {
         *after = rest;
         after = &rest->before;
         rest = rest->before;
      } else {
         *before = rest;
         before = &rest->after;
         rest = rest->after;
      }
   }
   *before = *after = nullptr;
}

void HashCrowd::erase( const HashKeys& keys, U32 position ) {
   const void* const key = keys.at( keys.table, position );
   Node** link = &root_;
   while ( ( *link )->position != position ) {
      const int order = keys.compare( key, keys.at( keys.table, ( *link )->position ) );
      link = order < 0 ? &( *link )->before : &( *link )->after;
   }
   Node* const erased = *link;
   Node* before = erased->before;
   Node* after = erased->after;
   while ( before && after ) {
      Node*& higher = before->rank > after->rank ? before : after;
      *link = higher;
      link = &higher == &before ? &before->after : &after->before;
      higher = *link;
   }
   *link = before ? before : after;
   delete erased;
}

} // namespace Vek::detail
