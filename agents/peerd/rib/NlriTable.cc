#include "agents/peerd/rib/NlriTable.h"

#include <algorithm>
#include <new>

namespace Peerd {

std::unique_ptr< NlriNode > NlriNode::make( NlriId id ) {
   // As a length field tells it (RFC 8955 section 4.1).
   const U8 lengthSize = id.size < 0xF0 ? 1 : 2;
   std::unique_ptr< NlriNode > node( new ( std::size_t{ lengthSize } + id.size ) NlriNode );
   node->size = id.size;
   node->family = id.family;
   node->lengthSize = lengthSize;
   node->octets = reinterpret_cast< U8* >( node.get() + 1 );
   if ( lengthSize == 2 ) {
      node->octets[0] = static_cast< U8 >( 0xF0 | id.size >> 8 );
   }
   node->octets[lengthSize - 1] = static_cast< U8 >( id.size );
   std::ranges::copy( id.span(), node->octets + lengthSize );
   return node;
}

NlriNode* NlriTable::find( NlriId id ) const {
   const auto found = nodes_.find( id );
   return found == nodes_.end() ? nullptr : found->second.get();
}

NlriNode& NlriTable::add( NlriId id ) {
   std::unique_ptr< NlriNode > node = NlriNode::make( id );
   NlriNode& made = *node;
   nodes_.insertOrAssign( made.id(), std::move( node ) );
   return made;
}

} // namespace Peerd
