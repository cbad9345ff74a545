#include "agents/peerd/rib/KeyTable.h"

#include "agents/peerd/rib/Decision.h"
#include "agents/peerd/rib/Judge.h"

namespace Peerd {

FiledKey& KeyTable::get( const Flowspec::FlowspecKey& key ) {
   if ( const auto found = keys_.find( { &key } ); found != keys_.end() ) {
      return *found->second;
   }
   auto entry = std::make_unique< FiledKey >();
   entry->key = key;
   FiledKey& made = *entry;
   keys_.insertOrAssign( { &made.key }, std::move( entry ) );
   return made;
}

bool KeyTable::claim( FiledKey& key, NlriNode& node ) {
   if ( key.claims.size() == maxClaims ) {
      return false;
   }
   key.claims.push( &node );
   return true;
}

void KeyTable::unclaim( FiledKey& key, NlriNode& node ) {
   for ( U32 i = 0; i < key.claims.size(); ++i ) {
      if ( key.claims[i] == &node ) {
         key.claims.erase( i );
         return;
      }
   }
}

void KeyTable::touch( FiledKey& key, bool anew ) {
   key.judgedAnew |= anew;
   if ( !key.dirty ) {
      key.dirty = true;
      changes_.push_back( { &key, nullptr } );
   }
}

void KeyTable::decide( Change& change ) {
   const auto& claims = change.key->claims;
   if ( claims.size() <= 1 ) {
      change.winner = claims.empty() ? nullptr : claims[0];
      return;
   }
   candidates_.clear();
   for ( const NlriNode* const node : claims ) {
      candidates_.push_back( node->best );
   }
   change.winner = bestOf( candidates_ ).nlri;
}

bool KeyTable::isOther( const FiledKey& key, const NlriNode& winner ) const {
   const Route& route = *winner.best;
   return key.judgedAnew || key.filed != &winner || key.attributes != route.attributes ||
          key.peer != route.peer || key.term != route.term;
}

void KeyTable::file( FiledKey& key, NlriNode& winner ) {
   if ( !isOther( key, winner ) ) {
      return;
   }
   filed_ += key.filed == nullptr;
   const Route& route = *winner.best;
   key.attributes = route.attributes;
   key.peer = route.peer;
   key.term = route.term;
   begin();
   sink_.file( key.key, actionOf( *route.peer, *route.attributes, route.term ), route.peer->id );
}

bool KeyTable::isFiled( const Flowspec::FlowspecKey& key ) const {
   const auto found = keys_.find( { &key } );
   return found != keys_.end() && found->second->filed;
}

} // namespace Peerd
