#pragma once

#include "Vek/log/EntityStreamAdapter.h"
#include "Vek/log/RowMessage.h"
#include "Vek/log/Sender.h"

#include <optional>

namespace Vek::log {

/// The root entities that a process streams, to any number of connections. While it streams them,
/// every change of them and of what they own is sent: encoded once for all connections that are up
/// to date, and kept as a mark or a key for each of the others. One thread.
class OSK_EXPORT Source {
public:
   Source() = default;
   Source( const Source& ) = delete;
   Source& operator=( const Source& ) = delete;
   ~Source();

   /// Begins to stream a root entity; nothing when it is streamed already.
   void rootIs( NamedEntity& root );
   /// Ends to stream one; readers are told that it is gone.
   void rootDel( NamedEntity& root );

   /// Ends all connections with a reason, such as a value that has no encoding.
   void fail( const String& reason );

private:
   friend class EntityStreamAdapter;
   friend class Sender;

   struct Root {
      Ptr< NamedEntity > entity;
      std::unique_ptr< EntityStreamAdapter > adapter;
   };

   /// Begins to tell a change: what is noted at connections about an earlier one is void.
   void beginChange() { ++changes_; }

   /// Writes the message about a row to every connection that is up to date and has room for it,
   /// and calls `missed( Sender& )` for each of the others. It is encoded once, if at all.
   template < typename Missed >
   void multicast( const EntityStreamAdapter& adapter, U8 position, const void* key,
                   Missed missed ) {
      std::optional< RowMessage > message;
      const U8* encoded = nullptr;
      for ( Sender* const sender : senders_ ) {
         if ( sender->upToDate() && !message ) {
            message.emplace( adapter.number(), *adapter.type().rows()[position], &adapter.entity(),
                             key );
         }
         U8* const at = sender->upToDate() ? sender->reserve( message->size() ) : nullptr;
         if ( !at ) {
            missed( *sender );
            continue;
         }
         if ( encoded ) {
            std::memcpy( at, encoded, message->size() );
         } else {
            message->write( at );
            encoded = at;
         }
         sender->commit( message->size() );
      }
   }

   StreamTypes types_;
   std::vector< Root > roots_;
   std::vector< Sender* > senders_;
   U64 lastNumber_ = 0;
   U64 changes_ = 0;
};

} // namespace Vek::log
