#pragma once

#include "Mell/Slab.h"
#include "Vek/DirtyKeys.h"
#include "Vek/log/StreamType.h"

#include <memory>

namespace Vek::log {

class EntityStreamAdapter;
class Sender;

/// What one connection has still to be told of one entity: a mark for each streamed row, and the
/// keys of collections. It is there only while something waits, so a connection that is up to date
/// costs an entity nothing, and one that stalls costs at most this and each key once.
struct OSK_EXPORT FlowOut {
   FlowOut( EntityStreamAdapter& adapter_, Sender& sender_ );
   FlowOut( const FlowOut& ) = delete;
   FlowOut& operator=( const FlowOut& ) = delete;
   ~FlowOut();

   static void* operator new( std::size_t size );
   static void operator delete( void* memory );

   /// The list of keys that wait of the row at `position`.
   DirtyKeys& keys( U8 position );

   EntityStreamAdapter& adapter;
   Sender& sender;
   FlowOut* nextOfAdapter = nullptr; ///< of another connection, for the same entity
   FlowOut* previous = nullptr;      ///< in the sender's queue
   FlowOut* next = nullptr;
   std::unique_ptr< std::unique_ptr< DirtyKeys >[] > rowKeys;
   U32 dirty = 0;          ///< rows with something to send
   U32 whole = 0;          ///< collections to be sent whole, in a transaction
   U32 begun = 0;          ///< those of which the transaction has begun
   U16 resumeAt = 0;       ///< the field id that was returned when the connection was full
   bool announced = false; ///< the peer knows the entity
};

} // namespace Vek::log
