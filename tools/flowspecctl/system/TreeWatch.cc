#include "tools/flowspecctl/system/TreeWatch.h"

#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/system/EntityText.h"

#include <chrono>
#include <ctime>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;
using Vek::FieldKind;

// Calls with every child that an entity has under a row.
template < typename Visit >
void forEachChild( const Vek::Entity& entity, const Vek::Field& row, Visit visit ) {
   const auto child = [&]( const void* untyped ) {
      if ( untyped ) {
         // Rows give their children as constant; they are this process's own.
         visit( const_cast< Vek::Entity& >( *static_cast< const Vek::Entity* >( untyped ) ) );
      }
   };
   if ( row.kind == FieldKind::children ) {
      row.collection->visit( addressOf( entity ),
                             [&]( const void*, const void* member ) { child( member ); } );
   } else if ( row.kind == FieldKind::child ) {
      child( row.stored( addressOf( entity ) ) );
   }
}

double now() {
   return std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
      .count();
}

Vek::String isoTime( double seconds ) {
   const auto whole = static_cast< std::time_t >( seconds );
   std::tm time{};
   ::gmtime_r( &whole, &time );
   char text[40];
   const std::size_t size = std::strftime( text, sizeof text, "%FT%T", &time );
   const auto milliseconds =
      static_cast< U32 >( ( seconds - static_cast< double >( whole ) ) * 1000 );
   const Vek::String digits = Vek::concat( 1000 + milliseconds );
   return Vek::concat( std::string_view( text, size ), '.', digits.substr( 1 ), 'Z' );
}

} // namespace

void TreeWatch::watch( Vek::NamedEntity& root, bool initial ) { add( root, initial ); }

void TreeWatch::add( Vek::Entity& entity, bool initial ) {
   observations_.insert_or_assign( &entity, entity.observe( *this ) );
   const void* const object = addressOf( entity );
   for ( const Vek::Field* const row : types_.of( entity.typeInfo() ).rows() ) {
      if ( initial ) {
         if ( row->isCollection() ) {
            row->collection->visit( object, [&]( const void* key, const void* member ) {
               write( entity, *row, What::added, key, member );
            } );
         } else if ( row->kind == FieldKind::attribute ) {
            write( entity, *row, What::set, nullptr, row->stored( object ) );
         }
      }
      forEachChild( entity, *row, [&]( Vek::Entity& child ) { add( child, initial ); } );
   }
}

void TreeWatch::drop( const Vek::Entity& entity ) {
   observations_.erase( &entity );
   for ( const Vek::Field* const row : types_.of( entity.typeInfo() ).rows() ) {
      forEachChild( entity, *row, [&]( const Vek::Entity& child ) { drop( child ); } );
   }
}

void TreeWatch::onChange( const Vek::Change& change ) {
   const Vek::Field& row = change.field;
   const void* const object = addressOf( change.entity );
   if ( change.removed ) {
      drop( *change.removed );
   }
   if ( !row.isCollection() ) {
      write( change.entity, row, What::set, nullptr, row.stored ? row.stored( object ) : nullptr );
      forEachChild( change.entity, row, [&]( Vek::Entity& child ) { add( child, true ); } );
      return;
   }
   const void* const member = row.collection->find( object, change.key );
   const What what = !member ? What::removed : change.oldValue ? What::changed : What::added;
   write( change.entity, row, what, change.key, member );
   if ( member && row.kind == FieldKind::children ) {
      add( const_cast< Vek::Entity& >( *static_cast< const Vek::Entity* >( member ) ), true );
   }
}

// What stands between the root, which is given back, and the entity with it.
Vek::String TreeWatch::pathTo( const Vek::Entity& entity, const Vek::NamedEntity*& root ) {
   if ( const Vek::Entity* const parent = entity.parent() ) {
      Vek::String path = pathTo( *parent, root );
      appendStep( path, entity, types_ );
      return path;
   }
   root = dynamic_cast< const Vek::NamedEntity* >( &entity );
   return {};
}

void TreeWatch::write( const Vek::Entity& entity, const Vek::Field& field, What what,
                       const void* key, const void* value ) {
   static constexpr std::string_view names[] = { "set", "added", "changed", "removed" };
   static constexpr std::string_view signs[] = { "", " +", " =", " -" };
   const auto index = static_cast< std::size_t >( what );
   const Vek::NamedEntity* root = nullptr;
   const Vek::String path = pathTo( entity, root );
   const Vek::String rootName = root ? printable( root->name() ) : Vek::String();
   const bool hasValue =
      value && field.value && field.kind != FieldKind::children && field.kind != FieldKind::child;
   if ( json_ ) {
      Json object{ { "time", now() },
                   { "root", rootName },
                   { "path", path },
                   { "field", field.name },
                   { "change", names[index] } };
      if ( key ) {
         object["key"] = textOf( *field.key, key );
      }
      if ( hasValue ) {
         object["value"] = textOf( *field.value, value );
      }
      out_ += object.dump() + '\n';
      return;
   }
   out_ +=
      Vek::concat( isoTime( now() ), ' ', rootName, std::string_view( path.empty() ? "" : " " ),
                   path, ": ", field.name, signs[index] );
   if ( key ) {
      out_ += Vek::concat( ' ', textOf( *field.key, key ) );
   }
   if ( hasValue ) {
      out_ += Vek::concat( std::string_view( key ? " -> " : " " ), textOf( *field.value, value ) );
   }
   out_ += '\n';
}

} // namespace Tools
