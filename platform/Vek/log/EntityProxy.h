#pragma once

#include "Mell/Slab.h"
#include "Vek/collections/DirtyKeys.h"
#include "Vek/log/Message.h"
#include "Vek/log/StreamType.h"

#include <memory>

namespace Vek::log {

class EntityProxy;
class Receiver;

/// Decides which attributes of a read-only proxy a peer may write all the same.
using RemoteWrites = std::function< bool( const Entity& entity, const Field& row ) >;

/// The local copy of an entity that a peer streams: applies the messages about it through the
/// entity's own operations, so that its observers see ordinary changes.
class OSK_EXPORT EntityProxy {
public:
   /// `number` is the peer's for the entity.
   EntityProxy( U64 number, Entity& entity, const StreamType& type );
   EntityProxy( const EntityProxy& ) = delete;
   EntityProxy& operator=( const EntityProxy& ) = delete;
   ~EntityProxy();

   static void* operator new( std::size_t size );
   static void operator delete( void* memory );

   U64 number() const { return number_; }
   Entity& entity() const { return *entity_; }
   const StreamType& type() const { return type_; }

   /// Makes the proxy read-only: a message about a row that `allowed` does not let through raises
   /// `ReadOnlyProxyException`. `allowed` lives as long as the proxy; null makes it writable.
   void readOnlyIs( const RemoteWrites* allowed ) { allowed_ = allowed; }

   /// Begins (type 0) or ends (type 2) the resynchronisation of a collection: members that were
   /// there at the beginning and are not received in between are removed at the end; those that
   /// this process makes meanwhile stay. Nothing for other types. False when the field is
   /// no collection. The beginning does not look at the members. The end looks at all of them, of
   /// which each was received or is removed; it may be left unfinished when `steps` are used up,
   /// and then no message is applied before `finish` has finished it.
   bool doHandleAttrTransaction( U16 fieldId, U8 type, U64& steps );
   bool doHandleAttrTransaction( U16 fieldId, U8 type );

   /// Goes on with the end of a resynchronisation; whether it is finished.
   bool finish( U64& steps );
   bool isFinished() const;

   /// Applies a message about an attribute or a member of a collection. `removed` says that the
   /// member is gone, `length` is the length of the payload, all of which the value takes. False
   /// when the type does not stream the field so. What `in` and the entity's operations raise goes
   /// through, and then the entity is unchanged.
   bool doHandleAttrDeserialization( U16 fieldId, bool removed, std::size_t length, LogReader& in );

   /// Notes that a child or a member was received, which may be there already.
   void received( U8 position, const void* key );
   /// Whether a resynchronisation of the row is under way.
   bool inTransaction( U8 position ) const;

   /// `ReadOnlyProxyException` unless a peer may write the row.
   void checkWritable( const Field& row ) const;

   void* object() const { return entity_.get(); }

private:
   friend class Receiver;
   struct Resynchronisation;

   U64 number_;
   Ptr< Entity > entity_;
   const StreamType& type_;
   const RemoteWrites* allowed_ = nullptr;
   std::unique_ptr< Resynchronisation > resynchronisation_; ///< of all rows, while there is one
   Receiver* receiver_ = nullptr;                           ///< which it belongs to, if any
   EntityProxy* parent_ = nullptr;
   EntityProxy* firstChild_ = nullptr;
   EntityProxy* next_ = nullptr;
   EntityProxy* previous_ = nullptr;
};

/// Makes an entity from the constructor parameters that `in` gives, in their declared order.
OSK_EXPORT Ptr< Entity > newEntityForAttrLog( const TypeInfo& type, LogReader& in );

} // namespace Vek::log
