#include "Vek/log/Sender.h"

#include "Vek/log/RowMessage.h"
#include "Vek/log/Schema.h"
#include "Vek/log/Source.h"

namespace Vek::log {

namespace {

// Fetches what those after the first in a queue will be written from, as entities are all over the
// memory: first the adapter, some steps later most of a large entity.
class Lookahead {
public:
   explicit Lookahead( const FlowOut* first ) : entityOf_( first ), adapterOf_( first ) {
      for ( int i = 0; i < 2 * distance; ++i ) {
         stepAdapter();
         if ( i >= distance ) {
            stepEntity();
         }
      }
   }

   void step() {
      stepAdapter();
      stepEntity();
   }

private:
   static constexpr int distance = 6;
   static constexpr std::size_t fetched = 448;

   void stepAdapter() {
      if ( adapterOf_ && ( adapterOf_ = adapterOf_->next ) ) {
         __builtin_prefetch( &adapterOf_->adapter );
      }
   }
   void stepEntity() {
      if ( entityOf_ && ( entityOf_ = entityOf_->next ) ) {
         const auto* const entity = reinterpret_cast< const U8* >( &entityOf_->adapter.entity() );
         for ( std::size_t line = 0; line < fetched; line += 64 ) {
            __builtin_prefetch( entity + line );
         }
      }
   }

   const FlowOut* entityOf_;
   const FlowOut* adapterOf_;
};

} // namespace

Sender::Sender( Source& source, std::size_t capacity ) : source_( source ), buffer_( capacity ) {
   source_.senders_.push_back( this );
}

Sender::~Sender() {
   std::erase( source_.senders_, this );
   while ( unannounced_.first ) {
      delete unannounced_.first;
   }
   while ( changed_.first ) {
      delete changed_.first;
   }
}

void Sender::fill() {
   if ( !error_.empty() ) {
      return;
   }
   try {
      flowOut();
      upToDate_ = !waiting();
   } catch ( const std::bad_alloc& ) {
      fail( outOfMemory );
   } catch ( const std::exception& exception ) {
      fail( exception.what() );
   }
}

void Sender::fail( const String& reason ) {
   upToDate_ = false;
   if ( error_.empty() ) {
      error_ = reason;
   }
}

U8* Sender::room( std::size_t size ) {
   if ( steps_ == 0 ) {
      return nullptr;
   }
   constexpr std::size_t bytesAStep = 64;
   steps_ -= std::min< U64 >( steps_, 1 + size / bytesAStep );
   return reserve( size );
}

bool Sender::put( const RowMessage& message ) {
   U8* const at = room( message.size() );
   if ( !at ) {
      return false;
   }
   message.write( at );
   commit( message.size() );
   return true;
}

bool Sender::put( const Header& header ) {
   U8* const at = room( Header::size );
   if ( !at ) {
      return false;
   }
   LogWriter out( at );
   writeHeader( out, header );
   commit( Header::size );
   return true;
}

void Sender::rootGone( U64 number ) {
   upToDate_ = false;
   goneRoots_.push_back( number );
}

void Sender::enqueue( FlowOut& flowOut ) {
   upToDate_ = false;
   queueOf( flowOut ).push( flowOut );
}

void Sender::remove( FlowOut& flowOut ) {
   if ( nextParent_ == &flowOut ) {
      nextParent_ = flowOut.next;
   }
   queueOf( flowOut ).erase( flowOut );
}

void Sender::noteIs( Note note ) {
   note_ = note;
   noteOf_ = source_.changes_;
}

Sender::Note Sender::note() const { return noteOf_ == source_.changes_ ? note_ : Note::none; }

void Sender::Queue::push( FlowOut& flowOut ) {
   flowOut.previous = last;
   flowOut.next = nullptr;
   ( last ? last->next : first ) = &flowOut;
   last = &flowOut;
}

void Sender::Queue::erase( FlowOut& flowOut ) {
   ( flowOut.previous ? flowOut.previous->next : first ) = flowOut.next;
   ( flowOut.next ? flowOut.next->previous : last ) = flowOut.previous;
}

Sender::Queue& Sender::queueOf( const FlowOut& flowOut ) {
   return flowOut.announced ? changed_ : unannounced_;
}

bool Sender::flowOut() {
   if ( !preambleWritten_ && !writePreamble() ) {
      return false;
   }
   preambleWritten_ = true;
   while ( !goneRoots_.empty() ) {
      if ( !put( Header{
              .kind = MessageKind::root, .entity = goneRoots_.back(), .flags = removedFlag } ) ) {
         return false;
      }
      goneRoots_.pop_back();
   }
   do {
      if ( !announceAll() ) {
         return false;
      }
   } while ( instantiating_ && instantiate() );
   if ( instantiating_ ) {
      return false;
   }
   for ( Lookahead ahead( changed_.first ); FlowOut* const waiting = changed_.first; ) {
      ahead.step();
      waiting->resumeAt = waiting->adapter.handleAttrFlowOut( waiting->resumeAt, *waiting );
      if ( waiting->resumeAt != 0 ) {
         return false;
      }
      // Rows in front of the one at which it went on may have changed meanwhile.
      if ( waiting->dirty == 0 ) {
         delete waiting;
      }
   }
   if ( !synchronised_ ) {
      synchronised_ = put( Header{ .kind = MessageKind::synchronised } );
   }
   return synchronised_;
}

bool Sender::announceAll() {
   for ( Lookahead ahead( unannounced_.first ); FlowOut* const waiting = unannounced_.first; ) {
      ahead.step();
      if ( !waiting->adapter.announce( *waiting ) ) {
         return false;
      }
      unannounced_.erase( *waiting );
      changed_.push( *waiting );
      if ( instantiating_ && !nextParent_ ) {
         nextParent_ = waiting;
      }
   }
   return true;
}

// Goes on with the first copy until something is to be announced; false when the steps are used up
// before, or when it has come to all entities. Nothing but announcements is written before that, so
// all entities that it has come to wait in `changed_`, in the order of their announcements.
bool Sender::instantiate() {
   for ( ; !unannounced_.first; steps_ -= steps_ > 0 ) {
      if ( steps_ == 0 ) {
         return false;
      }
      if ( nextParent_ ) {
         FlowOut& parent = *nextParent_;
         if ( !parent.instantiating ) {
            parent.instantiating = true;
            instantiatesUpTo_ = source_.lastNumber_;
         }
         if ( !parent.mayHaveChildren ||
              parent.adapter.vekInstantiateSerialize( parent, instantiatesUpTo_ ) ) {
            nextParent_ = parent.next;
         }
      } else if ( nextRoot_ < source_.roots_.size() ) {
         source_.roots_[nextRoot_++].adapter->newFlowOut( *this );
      } else {
         instantiating_ = false;
         return false;
      }
   }
   return true;
}

bool Sender::writePreamble() {
   const String& types = typesText();
   const std::size_t size = preambleSize + messageSize( types.size() );
   U8* const at = room( size );
   if ( !at ) {
      return false;
   }
   LogWriter out( at );
   out.u32( streamMagic );
   out.u16( streamVersion );
   out.u16( 0 );
   out.u64( typesDigest( types ) );
   writeHeader( out, { .length = static_cast< U32 >( types.size() ), .kind = MessageKind::types } );
   out.bytes( types.data(), types.size() );
   commit( size );
   return true;
}

} // namespace Vek::log
