#include "Vek/log/Receiver.h"

#include "Vek/log/Schema.h"
#include "Vek/text/Printable.h"

#include <algorithm>

// The entities that a receiver keeps: roots and children as they are announced and go.

namespace Vek::log {

namespace {

// Whether two entities were made from the same constructor parameters.
bool sameParameters( const StreamType& type, const Entity& a, const Entity& b ) {
   return std::all_of( type.parameters().begin(), type.parameters().end(), [&]( const Field* row ) {
      bool same = false;
      withValue( *row, &a, [&]( const void* valueOfA ) {
         withValue( *row, &b, [&]( const void* valueOfB ) {
            same = row->value->equal( valueOfA, valueOfB );
         } );
      } );
      return same;
   } );
}

} // namespace

void Receiver::applyRoot( const Header& header, LogReader& in ) {
   if ( header.removed() ) {
      in.end();
      EntityProxy& proxy = proxyOf( header );
      if ( proxy.parent_ ) {
         throw StreamException( "the entity is not a root" );
      }
      const Ptr< Entity > entity = proxy.entity_;
      drop( proxy );
      const String& name = static_cast< const NamedEntity& >( *entity ).name();
      if ( directory_.entity( name ).get() == entity.get() ) {
         directory_.erase( name );
      }
      return;
   }
   checkNew( header.entity, in );
   const String typeName = in.string();
   const String name = in.string();
   in.end();
   if ( fewerTypes_ && !typesTell( *fewerTypes_, typeName ) ) {
      throw StreamException( concat( "the type ", printable( typeName ), " was not told" ) );
   }
   if ( policy_.refusesRoot ) {
      if ( const String reason = policy_.refusesRoot( typeName, name ); !reason.empty() ) {
         throw StreamException( reason );
      }
   }
   const Ptr< NamedEntity > root = directory_.create( typeName, name );
   dropProxyOf( *root );
   add( header.entity, *root, types_.of( root->typeInfo() ), nullptr );
}

void Receiver::applyChild( const Header& header, LogReader& in ) {
   EntityProxy& parent = proxyOf( header );
   const auto position = parent.type().position( header.fieldId );
   if ( !position || !( parent.type().childRows() >> *position & 1 ) ) {
      throw StreamException( "the field holds no children" );
   }
   const Field& row = *parent.type().rows()[*position];
   parent.checkWritable( row );
   const U64 number = in.u64();
   if ( header.removed() ) {
      if ( number != 0 ) {
         in.fail( "a removed child has a number" );
      }
      removeChild( parent, row, in );
      return;
   }
   checkNew( number, in );
   const StreamType& type = types_.ofChildren( row );
   const Ptr< Entity > child = newEntityForAttrLog( type.info(), in );
   in.end();
   if ( !row.isCollection() ) {
      add( number, take( parent, row, *position, nullptr, *child ), type, &parent );
      return;
   }
   const Field& keyRow = type.keyRow( *row.key );
   const Arguments key( std::span( &keyRow.value, 1 ) );
   keyRow.get( child.get(), key[0] );
   parent.received( *position, key[0] );
   add( number, take( parent, row, *position, key[0], *child ), type, &parent );
}

// Puts a child that was received into its row and returns it, or the one that is there already and
// is the same by its constructor parameters. Outside of a resynchronisation a child of a collection
// is always a new one, as its sender does not announce one twice.
Entity& Receiver::take( EntityProxy& parent, const Field& row, U8 position, const void* key,
                        Entity& child ) {
   const void* const present = row.isCollection() ? row.collection->find( parent.object(), key )
                                                  : row.stored( parent.object() );
   if ( present ) {
      const Ptr< Entity > old( static_cast< Entity* >( const_cast< void* >( present ) ) );
      dropProxyOf( *old );
      const bool keeps = !row.isCollection() || parent.inTransaction( position );
      if ( keeps && sameParameters( types_.ofChildren( row ), *old, child ) ) {
         return *old;
      }
      if ( row.isCollection() ) {
         row.collection->erase( parent.object(), key );
      }
   }
   row.adopt( parent.entity(), row, key, Ptr< Entity >( &child ) );
   return child;
}

void Receiver::removeChild( EntityProxy& parent, const Field& row, LogReader& in ) {
   if ( !row.isCollection() ) {
      in.end();
      if ( const void* const child = row.stored( parent.object() ) ) {
         dropProxyOf( *static_cast< const Entity* >( child ) );
         row.adopt( parent.entity(), row, nullptr, Ptr< Entity >() );
      }
      return;
   }
   const Arguments key( std::span( &row.key, 1 ) );
   row.key->logRead( in, key[0] );
   in.end();
   dropChild( parent, row, key[0] );
   row.collection->erase( parent.object(), key[0] );
}

void Receiver::dropChild( EntityProxy& parent, const Field& row, const void* key ) {
   if ( const void* const child = row.collection->find( parent.object(), key ) ) {
      dropProxyOf( *static_cast< const Entity* >( child ) );
   }
}

EntityProxy& Receiver::proxyOf( const Header& header ) const {
   const auto at = proxies_.find( header.entity );
   if ( at == proxies_.end() ) {
      throw StreamException( concat( "no entity has the number ", header.entity ) );
   }
   return *at->second;
}

void Receiver::checkNew( U64 number, const LogReader& in ) const {
   if ( number == 0 || proxies_.find( number ) != proxies_.end() ) {
      in.fail( concat( "a new entity cannot have the number ", number ) );
   }
}

EntityProxy& Receiver::add( U64 number, Entity& entity, const StreamType& type,
                            EntityProxy* parent ) {
   auto made = std::make_unique< EntityProxy >( number, entity, type );
   EntityProxy& proxy = *made;
   proxy.receiver_ = this;
   proxy.readOnlyIs( policy_.allows ? &policy_.allows : nullptr );
   proxies_.insert( number, &proxy );
   static_cast< void >( made.release() );
   proxyOfEntity_.insert( &entity, &proxy );
   if ( parent ) {
      proxy.parent_ = parent;
      proxy.next_ = std::exchange( parent->firstChild_, &proxy );
      if ( proxy.next_ ) {
         proxy.next_->previous_ = &proxy;
      }
   }
   return proxy;
}

void Receiver::drop( EntityProxy& proxy ) {
   while ( proxy.firstChild_ ) {
      drop( *proxy.firstChild_ );
   }
   if ( proxy.parent_ ) {
      ( proxy.previous_ ? proxy.previous_->next_ : proxy.parent_->firstChild_ ) = proxy.next_;
      if ( proxy.next_ ) {
         proxy.next_->previous_ = proxy.previous_;
      }
   }
   proxyOfEntity_.erase( &proxy.entity() );
   proxies_.erase( proxy.number() );
   delete &proxy;
   steps_ -= steps_ > 0;
}

void Receiver::dropProxyOf( const Entity& entity ) {
   if ( const auto at = proxyOfEntity_.find( &entity ); at != proxyOfEntity_.end() ) {
      drop( *at->second );
   }
}

} // namespace Vek::log
