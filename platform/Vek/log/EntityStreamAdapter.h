#pragma once

#include "Vek/log/FlowOut.h"
#include "Vek/log/Message.h"

namespace Vek::log {

class Source;

/// Streams one entity: writes its constructor parameters, its changes as they are published, and
/// all of it for a connection that has just begun. One for each entity of a streamed tree, owned by
/// its parent's, and by the source for a root.
class OSK_EXPORT EntityStreamAdapter final : public Observer {
public:
   /// Begins to stream `entity` and what it owns. `number` is its number in messages.
   EntityStreamAdapter( Source& source, Entity& entity, const StreamType& type,
                        EntityStreamAdapter* parent, U8 parentPosition );
   EntityStreamAdapter( const EntityStreamAdapter& ) = delete;
   EntityStreamAdapter& operator=( const EntityStreamAdapter& ) = delete;
   ~EntityStreamAdapter();

   static void* operator new( std::size_t size );
   static void operator delete( void* memory );

   Entity& entity() const { return *observation_.entity(); }
   const StreamType& type() const { return type_; }
   U64 number() const { return number_; }

   /// The adapter that streams `entity` from `source`, or null.
   static EntityStreamAdapter* of( const Entity& entity, const Source& source );

   /// The bytes that `serializeConstructorParams` writes.
   std::size_t attrLogSizeCtorParams() const;
   void serializeConstructorParams( LogWriter& out ) const;

   /// Writes one message about a stored attribute to the synchronised connections, from one
   /// encoding, and marks it for the others. False when the field is not streamed as an attribute;
   /// `DefaultKeyException` when the value cannot be written.
   bool streamAdapterOnAttribute( U16 fieldId );

   /// Begins to stream the entity to a connection: what stands before `fromFieldId` is marked
   /// synchronised, the rest is to be sent.
   FlowOut& newFlowOut( Sender& sender, U16 fromFieldId = 0 );

   /// The same for the entity and all that it owns.
   void newFlowOuts( Sender& sender );

   /// Queues the announcements of the next children, row by row in the ascending order of their
   /// keys: of those with numbers up to `upTo`, as later ones are queued when they come. Whether
   /// these were all.
   bool vekInstantiateSerialize( FlowOut& flowOut, U64 upTo );

   /// Announces the entity to its peer, with the beginnings of the transactions of its children;
   /// false when the connection is full.
   bool announce( FlowOut& flowOut );

   /// Writes what waits, in the order of the field ids, from `fieldId` on (0: from the first).
   /// Returns 0 when all is written, else the field at which to go on when the connection has room
   /// again.
   U16 handleAttrFlowOut( U16 fieldId, FlowOut& flowOut );

   void onChange( const Change& change ) override;

private:
   friend class Source;
   friend struct FlowOut;

   // Drops the adapters of children and what waits, and leaves the parent's.
   void leave();

   // Calls with the position of its row and the entity, for each child.
   void forEachChild( const std::function< void( U8 position, Entity& child ) >& visit ) const;

   void onChildren( const Change& change, U8 position );
   void onRemoved( EntityStreamAdapter& child, const void* key, U8 position );

   void publish( U8 position, const void* key );

   // The parts of `handleAttrFlowOut`; false when the connection is full.
   bool writeRow( U8 position, FlowOut& flowOut );
   bool writeKeys( U8 position, FlowOut& flowOut );
   bool putTransaction( Sender& sender, U8 position, TransactionType type ) const;

   void writeTransaction( LogWriter& out, U8 position, TransactionType type ) const;

   void markNew( Sender& sender, U8 position, const void* key );
   // Notes at each connection with a flow-out for this entity whether it is announced.
   void noteAnnounced() const;

   void* object() const { return &entity(); }

   Observation observation_;
   Source& source_;
   const StreamType& type_;
   U64 number_;
   FlowOut* flowOuts_ = nullptr;
   EntityStreamAdapter* parent_;
   EntityStreamAdapter* firstChild_ = nullptr;
   EntityStreamAdapter* next_ = nullptr;
   EntityStreamAdapter* previous_ = nullptr;
   U8 parentPosition_; ///< of the row in the parent that holds this one
};

} // namespace Vek::log
