#include "Vek/log/Source.h"

#include <algorithm>

namespace Vek::log {

Source::~Source() = default;

void Source::rootIs( NamedEntity& root ) {
   if ( EntityStreamAdapter::of( root, *this ) ) {
      return;
   }
   auto adapter = std::make_unique< EntityStreamAdapter >(
      *this, root, types_.of( root.typeInfo() ), nullptr, U8{ 0 } );
   for ( Sender* const sender : senders_ ) {
      if ( !sender->instantiating() ) {
         sender->unlessOutOfMemory( [&] { adapter->newFlowOuts( *sender ); } );
      }
   }
   roots_.push_back( { Ptr< NamedEntity >( &root ), std::move( adapter ) } );
}

void Source::rootDel( NamedEntity& root ) {
   const auto at = std::find_if( roots_.begin(), roots_.end(), [&]( const Root& streamed ) {
      return streamed.entity.get() == &root;
   } );
   if ( at == roots_.end() ) {
      return;
   }
   beginChange();
   at->adapter->noteAnnounced();
   const auto position = static_cast< std::size_t >( at - roots_.begin() );
   for ( Sender* const sender : senders_ ) {
      if ( sender->knowsNoted() ) {
         sender->unlessOutOfMemory( [&] { sender->rootGone( at->adapter->number() ); } );
      }
      sender->nextRoot_ -= position < sender->nextRoot_;
   }
   roots_.erase( at );
}

void Source::fail( const String& reason ) {
   for ( Sender* const sender : senders_ ) {
      sender->fail( reason );
   }
}

} // namespace Vek::log
