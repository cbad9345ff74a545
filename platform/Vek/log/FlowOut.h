#pragma once

#include "Mell/Slab.h"
#include "Vek/collections/DirtyKeys.h"
#include "Vek/log/StreamType.h"

#include <memory>

namespace Vek::log {

class EntityStreamAdapter;
class Sender;

/// What one connection has still to be told of one entity: a mark for each streamed row, and the
/// keys of collections. It is there only while something waits, so a connection that is up to date
/// costs an entity nothing, and one that stalls costs at most this and the keys: of a collection of
/// values as many as it has members and a few, of children those that the peer was told of and that
/// are gone.
struct OSK_EXPORT FlowOut {
   FlowOut( EntityStreamAdapter& adapter_, Sender& sender_ );
   FlowOut( const FlowOut& ) = delete;
   FlowOut& operator=( const FlowOut& ) = delete;
   ~FlowOut();

   static void* operator new( std::size_t size );
   static void operator delete( void* memory );

   /// The keys that wait of the row at `position`; null when there were none yet.
   DirtyKeys* keys( U8 position ) const { return rowKeys ? rowKeys[position].get() : nullptr; }

   /// Notes that a row changed, of a collection the member under `key`.
   void mark( U8 position, const void* key );

   EntityStreamAdapter& adapter;
   Sender& sender;
   FlowOut* nextOfAdapter; ///< of another connection, for the same entity
   FlowOut* previousOfAdapter = nullptr;
   FlowOut* previous = nullptr; ///< in the sender's queue
   FlowOut* next = nullptr;
   std::unique_ptr< std::unique_ptr< DirtyKeys >[] > rowKeys;
   /// Over the collection that is being sent whole, or the children that are being announced.
   std::unique_ptr< KeyWalk > walk;
   U32 dirty = 0;                ///< rows with something to send
   U32 whole = 0;                ///< collections to be sent whole, in a transaction
   U32 begun = 0;                ///< those of which the transaction has begun
   U16 resumeAt = 0;             ///< the field id that was returned when the connection was full
   U8 instantiateAt = 0;         ///< row of which children are announced next
   bool announced = false;       ///< the peer knows the entity
   bool mayHaveChildren = false; ///< its type has rows of children
   bool instantiating = false;   ///< children are being announced or were
};

} // namespace Vek::log
