#include "Vek/log/Source.h"

namespace Vek::log {

Source::~Source() = default;

void Source::rootIs( NamedEntity& root ) {
   if ( EntityStreamAdapter::of( root, *this ) ) {
      return;
   }
   auto adapter = std::make_unique< EntityStreamAdapter >(
      *this, root, types_.of( root.typeInfo() ), nullptr, U8{ 0 } );
   for ( Sender* const sender : senders_ ) {
      adapter->newFlowOut( *sender );
      adapter->vekInstantiateSerialize( *sender );
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
   for ( Sender* const sender : senders_ ) {
      const FlowOut* const waiting = at->adapter->flowOut( *sender );
      if ( !waiting || waiting->announced ) {
         sender->rootGone( at->adapter->number() );
      }
   }
   roots_.erase( at );
}

void Source::fail( const String& reason ) {
   for ( Sender* const sender : senders_ ) {
      sender->fail( reason );
   }
}

} // namespace Vek::log
