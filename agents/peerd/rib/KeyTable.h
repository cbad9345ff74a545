#pragma once

#include "agents/peerd/rib/KeyView.h"
#include "agents/peerd/rib/Route.h"

namespace Peerd {

/// The keys that NLRI are mapped to, and what is filed under them. Changes are gathered until
/// `settle`, which tells the sink what comes of them.
class KeyTable {
public:
   explicit KeyTable( RuleSink& sink ) : sink_( sink ) {}

   /// The entry of `key`, made when there is none.
   FiledKey& get( const Flowspec::FlowspecKey& key );

   /// The most NLRI that are mapped to one key, as each of them is looked at when it is decided. A
   /// rule can be written in more ways than that.
   static constexpr U32 maxClaims = 1024;

   /// `node`, which is not, is mapped to `key` from now on; false when there are too many.
   bool claim( FiledKey& key, NlriNode& node );
   /// `node`, which was, is no longer.
   void unclaim( FiledKey& key, NlriNode& node );
   /// What is filed under `key` may be something else now; `anew`: even if it comes of the same.
   void touch( FiledKey& key, bool anew );

   /// Decides each key that was touched. `moved( node )` is called with each NLRI that is filed now
   /// and was not, or the other way round.
   template < typename Moved >
   void settle( Moved moved );

   bool isFiled( const Flowspec::FlowspecKey& key ) const;
   U32 filed() const { return filed_; }

private:
   // A key that was touched, and the NLRI that is to be filed under it.
   struct Change {
      FiledKey* key;
      NlriNode* winner;
   };

   void decide( Change& change );
   bool isOther( const FiledKey& key, const NlriNode& winner ) const;
   void file( FiledKey& key, NlriNode& winner );
   void begin() {
      if ( !begun_ ) {
         begun_ = true;
         sink_.begin();
      }
   }

   RuleSink& sink_;
   Vek::HashMap< KeyView, std::unique_ptr< FiledKey > > keys_;
   std::vector< Change > changes_;
   std::vector< const Route* > candidates_; // of the key in work
   U32 filed_ = 0;
   bool begun_ = false; // of the transaction under way
};

template < typename Moved >
void KeyTable::settle( Moved moved ) {
   for ( Change& change : changes_ ) {
      decide( change );
      if ( change.key->filed && !change.winner ) {
         begin();
         sink_.withdraw( change.key->key );
         --filed_;
      }
   }
   for ( const auto& [key, winner] : changes_ ) {
      NlriNode* const before = key->filed;
      if ( winner ) {
         file( *key, *winner );
      }
      if ( before != winner ) {
         key->filed = winner;
         if ( before && --before->filedKeys == 0 ) {
            moved( *before );
         }
         if ( winner && winner->filedKeys++ == 0 ) {
            moved( *winner );
         }
      }
      key->dirty = false;
      key->judgedAnew = false;
      if ( !winner ) {
         keys_.erase( { &key->key } );
      }
   }
   changes_.clear();
   if ( std::exchange( begun_, false ) ) {
      sink_.commit();
   }
}

} // namespace Peerd
