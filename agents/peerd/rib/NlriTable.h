#pragma once

#include "agents/peerd/rib/Route.h"

namespace Peerd {

/// All NLRI that some peer announced.
class NlriTable {
public:
   /// The one with `id`, or null.
   NlriNode* find( NlriId id ) const;
   /// Makes the one with `id`, which is not there. Its octets are copied.
   NlriNode& add( NlriId id );
   /// Removes `node`, and its memory.
   void erase( const NlriNode& node ) { nodes_.erase( node.id() ); }

   U32 size() const { return nodes_.size(); }

private:
   Vek::HashMap< NlriId, std::unique_ptr< NlriNode > > nodes_;
};

} // namespace Peerd
