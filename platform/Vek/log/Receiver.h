#pragma once

#include "Vek/entity/Directory.h"
#include "Vek/log/Budget.h"
#include "Vek/log/EntityProxy.h"

#include <limits>

namespace Vek::log {

/// The receiving half of a connection: takes a peer's stream in pieces of any size and keeps the
/// roots that it streams in a directory, with all that they own, equal to the peer's.
///
/// The stream is not trusted. Whatever is malformed raises `StreamException`, which names the
/// message, the attribute and the byte; the entities then stand as the last whole message left
/// them, and nothing more may be given to this receiver. What a resynchronisation that was cut off
/// had not named yet stays.
///
/// What has come of a message is held until the rest has. Before the types are agreed on that is at
/// most `maxTypes` bytes, of the text of the peer's; afterwards a message of up to `ownPart` bytes,
/// and of a longer one as much as the budget of the policy has left.
class OSK_EXPORT Receiver {
public:
   /// What a receiver asks its owner; any of them may be empty.
   struct Policy {
      /// Whether a root may be received; "" for yes, else the reason.
      std::function< String( std::string_view type, std::string_view name ) > refusesRoot = {};
      /// Which rows of its entities a peer may write; empty for all.
      RemoteWrites allows = {};
      /// Told of every message before it is applied, with its type when the entity is known.
      std::function< void( const Header& header, std::span< const U8 > payload,
                           const StreamType* type ) >
         sees = {};
      /// What all receivers that share it may hold of messages that have not come whole, beyond
      /// `ownPart` each; a message that does not fit raises `StreamException`. Null for no bound
      /// but `maxPayload`.
      std::shared_ptr< Budget > budget = {};
   };

   /// The size of the messages, header and payload, that are in no budget.
   static constexpr std::size_t ownPart = Header::size + ( 1U << 16 );

   /// The longest text of a peer's types that is taken: no shorter than this process's own, so that
   /// every text that can be agreed on is.
   static std::size_t maxTypes();

   /// Roots are looked up and created in `directory`, which lives as long as the receiver.
   explicit Receiver( Directory& directory ) : Receiver( directory, Policy() ) {}
   Receiver( Directory& directory, Policy policy );
   Receiver( const Receiver& ) = delete;
   Receiver& operator=( const Receiver& ) = delete;
   ~Receiver();

   /// Takes the next bytes of the stream and applies the messages that are complete. Returns how
   /// many bytes it took: all, unless the steps were used up before. The others are to be given
   /// again.
   std::size_t receive( std::span< const U8 > bytes );

   /// The steps that are left: a message takes one and more for a long one, what is looked at or
   /// removed because of it takes one each. As many as may be, unless the owner sets them before it
   /// calls `receive`.
   U64& steps() { return steps_; }

   /// Whether the last message that was taken is not applied to its end yet: `receive` goes on with
   /// it, also without more bytes.
   bool isBusy() const { return ending_ != nullptr; }

   /// Whether the peer has said that all it had when the connection began was sent.
   bool synchronised() const { return synchronised_; }

   /// Messages applied so far.
   U64 messages() const { return messages_; }

   /// Bytes of the stream that were applied: all but those of a message that is not complete.
   U64 applied() const { return applied_ - ( isBusy() ? messageSize( 1 ) : 0 ); }

   /// Whether the stream ended between messages.
   bool atBoundary() const { return partial_.empty(); }

   /// The entity that the peer streams under a number, or null.
   Entity* entity( U64 number ) const;

private:
   friend class EntityProxy;

   bool mayGoOn() const { return steps_ > 0 && !isBusy(); }
   std::size_t takeAll( std::span< const U8 > bytes );
   std::size_t takeOne( std::span< const U8 > bytes );
   std::size_t sizeOf( std::span< const U8 > bytes ) const;
   void hold( std::span< const U8 > bytes );
   void checkFirst( const Header& header );
   void readPreamble( LogReader in );
   void apply( const Header& header, std::span< const U8 > payload );
   void applyTypes( LogReader& in, std::span< const U8 > payload );
   void applyRoot( const Header& header, LogReader& in );
   bool applyValue( const Header& header, LogReader& in );
   void applyTransaction( const Header& header, LogReader& in );
   void applyChild( const Header& header, LogReader& in );
   Entity& take( EntityProxy& parent, const Field& row, U8 position, const void* key,
                 Entity& child );
   void removeChild( EntityProxy& parent, const Field& row, LogReader& in );
   void dropChild( EntityProxy& parent, const Field& row, const void* key );

   EntityProxy& proxyOf( const Header& header ) const;
   EntityProxy& add( U64 number, Entity& entity, const StreamType& type, EntityProxy* parent );
   void checkNew( U64 number, const LogReader& in ) const;
   void drop( EntityProxy& proxy );
   void dropProxyOf( const Entity& entity );
   [[noreturn]] void refuse( const Header& header, std::string_view reason ) const;

   Directory& directory_;
   const Policy policy_;
   StreamTypes types_;
   HashMap< U64, EntityProxy* > proxies_; ///< owned
   HashMap< const Entity*, EntityProxy* > proxyOfEntity_;
   std::vector< U8 > partial_;
   Budget::Share share_; ///< of the policy's budget, for `partial_`
   U64 digest_ = 0;
   U64 messages_ = 0;
   U64 applied_ = 0;
   U64 steps_ = std::numeric_limits< U64 >::max();
   EntityProxy* ending_ = nullptr;      ///< which has not finished the end of a resynchronisation
   std::optional< String > fewerTypes_; ///< the peer's, when it has not all of this process's
   bool preambleRead_ = false;
   bool typesChecked_ = false;
   bool synchronised_ = false;
};

} // namespace Vek::log
