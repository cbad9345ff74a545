#pragma once

#include "Vek/log/Message.h"
#include "Vek/log/OutBuffer.h"

#include <limits>
#include <new>
#include <vector>

namespace Vek::log {

class RowMessage;
class Source;
struct FlowOut;

/// The sending half of a connection: what waits to be told, and a bounded buffer of what is told
/// and waits to be sent.
class OSK_EXPORT Sender {
public:
   /// Begins to send what `source` streams; both live until the sender goes. `capacity` is the size
   /// of the buffer in bytes.
   explicit Sender( Source& source, std::size_t capacity = 1U << 18 );
   Sender( const Sender& ) = delete;
   Sender& operator=( const Sender& ) = delete;
   ~Sender();

   /// Writes what waits into the buffer, as far as there is room and the steps last.
   void fill();

   /// The steps that are left: a message takes one and more for a long one, a member that is looked
   /// at takes one. As many as may be, unless the owner sets them before it calls `fill`.
   U64& steps() { return steps_; }

   /// The bytes to be sent, and how many of them were.
   std::span< const U8 > pending() const { return buffer_.pending(); }
   void sent( std::size_t size ) { buffer_.sent( size ); }

   /// Whether anything waits, in the buffer or for room in it.
   bool idle() const { return !waiting() && buffer_.empty(); }

   /// Whether the peer has been told all but what is published from now on.
   bool synchronised() const { return !waiting(); }

   /// Whether the first copy has not come to all entities yet. It will come to those for which
   /// nothing waits here.
   bool instantiating() const { return instantiating_; }

   /// Whether a change may be written at once: nothing waits that it would overtake. False until
   /// the next `fill` when what waited went away by itself.
   bool upToDate() const { return upToDate_; }

   /// Why nothing more can be sent, such as a value that has no encoding; empty while all is well.
   const String& error() const { return error_; }
   void fail( const String& reason );

   /// Room for messages of together `size` bytes, which are sent once they are committed; null when
   /// the buffer is full, or there is no memory for a larger one, which fails the connection.
   U8* reserve( std::size_t size ) {
      try {
         return buffer_.reserve( size );
      } catch ( const std::bad_alloc& ) {
         fail( outOfMemory );
         return nullptr;
      }
   }
   void commit( std::size_t size ) { buffer_.commit( size ); }

   /// The same room for what `fill` writes: null, too, when its steps are used up.
   U8* room( std::size_t size );

   /// Does something for this connection. When there is no memory for it, this connection fails and
   /// no other.
   template < typename Do >
   void unlessOutOfMemory( Do something ) {
      try {
         something();
      } catch ( const std::bad_alloc& ) {
         fail( outOfMemory );
      }
   }
   static constexpr const char* outOfMemory = "out of memory";

   /// Writes one message; false when the buffer is full.
   bool put( const RowMessage& message );
   /// The same for one without payload.
   bool put( const Header& header );

   /// Notes that the peer is to be told that a root is gone.
   void rootGone( U64 number );

   /// Puts at the end of the queue of entities to be announced, or of announced ones that changed.
   void enqueue( FlowOut& flowOut );
   void remove( FlowOut& flowOut );

   /// What is noted at connections while one change is told to all of them.
   enum class Note : U8 {
      none,
      unannounced, ///< an entity waits to be announced
      announced,   ///< it is announced, and more of it waits
      served,      ///< the connection was told or has a mark
   };
   void noteIs( Note note );
   Note note() const;
   /// Whether the peer was told of the entity of which it is noted whether it is announced.
   bool knowsNoted() const {
      return note() == Note::none ? !instantiating_ : note() == Note::announced;
   }

private:
   friend class Source;

   struct Queue {
      FlowOut* first = nullptr;
      FlowOut* last = nullptr;

      void push( FlowOut& flowOut );
      void erase( FlowOut& flowOut );
   };

   bool waiting() const {
      return unannounced_.first || changed_.first || !goneRoots_.empty() || !synchronised_;
   }
   Queue& queueOf( const FlowOut& flowOut );
   bool flowOut();
   bool announceAll();
   bool instantiate();
   bool writePreamble();

   Source& source_;
   // What a change looks at for each connection stands together.
   bool upToDate_ = false;
   OutBuffer buffer_;
   Queue unannounced_;
   Queue changed_;
   std::vector< U64 > goneRoots_;
   U64 steps_ = std::numeric_limits< U64 >::max();
   // The first copy: roots from this one on, and announced entities from that one on, are still to
   // be gone over for children.
   std::size_t nextRoot_ = 0;
   FlowOut* nextParent_ = nullptr;
   U64 instantiatesUpTo_ = 0; ///< the last number there was when it came to `nextParent_`
   bool instantiating_ = true;
   Note note_ = Note::none;
   U64 noteOf_ = 0; ///< the change that it is about
   bool preambleWritten_ = false;
   bool synchronised_ = false;
   String error_;
};

} // namespace Vek::log
