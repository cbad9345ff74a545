#pragma once

#include "Vek/log/Message.h"
#include "Vek/log/OutBuffer.h"

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

   /// Writes what waits into the buffer, as far as there is room.
   void fill();

   /// The bytes to be sent, and how many of them were.
   std::span< const U8 > pending() const { return buffer_.pending(); }
   void sent( std::size_t size ) { buffer_.sent( size ); }

   /// Whether anything waits, in the buffer or for room in it.
   bool idle() const { return !waiting() && buffer_.empty(); }

   /// Whether the peer has been told all but what is published from now on.
   bool synchronised() const { return synchronised_ && !waiting(); }

   /// Whether a change may be written at once: nothing waits that it would overtake. False until
   /// the next `fill` when what waited went away by itself.
   bool upToDate() const { return upToDate_; }

   /// Why nothing more can be sent, such as a value that has no encoding; empty while all is well.
   const String& error() const { return error_; }
   void fail( const String& reason );

   /// Room for messages of together `size` bytes, which are sent once they are committed; null when
   /// the buffer is full.
   U8* reserve( std::size_t size ) { return buffer_.reserve( size ); }
   void commit( std::size_t size ) { buffer_.commit( size ); }

   /// Writes one message; false when the buffer is full.
   bool put( const RowMessage& message );
   /// The same for one without payload.
   bool put( const Header& header );

   /// Notes that the peer is to be told that a root is gone.
   void rootGone( U64 number );

   /// Puts at the end of the queue of entities to be announced, or of announced ones that changed.
   void enqueue( FlowOut& flowOut );
   void remove( FlowOut& flowOut );

private:
   struct Queue {
      FlowOut* first = nullptr;
      FlowOut* last = nullptr;

      void push( FlowOut& flowOut );
      void erase( FlowOut& flowOut );
   };

   bool waiting() const {
      return unannounced_.first || changed_.first || !goneRoots_.empty() || !preambleWritten_;
   }
   Queue& queueOf( const FlowOut& flowOut );
   bool flowOut();
   bool writePreamble();

   Source& source_;
   // What a change looks at for each connection stands together.
   bool upToDate_ = false;
   OutBuffer buffer_;
   Queue unannounced_;
   Queue changed_;
   std::vector< U64 > goneRoots_;
   bool preambleWritten_ = false;
   bool synchronised_ = false;
   String error_;
};

} // namespace Vek::log
