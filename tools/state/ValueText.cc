#include "tools/state/ValueText.h"

#include "Flowspec/key/FlowspecKey.h"
#include "Osk/DumpContext.h"
#include "Vek/entity/Inspect.h"
#include "Vek/log/StreamType.h"
#include "Vek/types/TypeRegistry.h"
#include "forms/Printable.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

void appendQuoted( Vek::String& out, std::string_view text ) {
   out += '"';
   for ( const char c : text ) {
      out += c == '"' || c == '\\' ? "\\" : "";
      appendPrintable( out, { &c, 1 } );
   }
   out += '"';
}

template < typename Visit >
void withAttribute( const Vek::Field& row, const void* object, Visit visit ) {
   const Vek::Arguments value( std::span( &row.value, 1 ) );
   row.get( object, value[0] );
   visit( value[0] );
}

void appendMember( Vek::String& out, const Vek::Field& row, const void* key, const void* value ) {
   appendValue( out, *row.key, key );
   if ( row.value ) {
      out += " -> ";
      appendValue( out, *row.value, value );
   }
}

void appendRows( Vek::String& out, const Vek::TypeInfo& info, const void* value ) {
   std::string_view separator = "{";
   info.forEachField( [&]( const Vek::Field& row ) {
      const bool attribute =
         row.kind == Vek::FieldKind::key || row.kind == Vek::FieldKind::attribute;
      if ( !attribute && !row.isCollection() ) {
         return;
      }
      out += Vek::concat( std::exchange( separator, ", " ), row.name, ' ' );
      if ( attribute ) {
         withAttribute( row, value, [&]( const void* v ) { appendValue( out, *row.value, v ); } );
         return;
      }
      out += '{';
      std::string_view before;
      row.collection->visit( value, [&]( const void* key, const void* member ) {
         out += std::exchange( before, ", " );
         appendMember( out, row, key, member );
      } );
      out += '}';
   } );
   out += '}';
}

// Whether a value is better told by its rows. The text of a record may leave out attributes, and
// that of any type but a rule key the members of its collections.
bool isToldByRows( const Vek::TypeInfo& info ) {
   const bool isRuleKey = *info.value == Vek::valueType< FlowspecKey >;
   return !isRuleKey && ( info.build || std::any_of( info.rows.begin(), info.rows.end(),
                                                     []( const Vek::Field& row ) {
                                                        return row.isCollection();
                                                     } ) );
}

// Writes what the entity's own dump does; false when it has none.
bool dumpItself( Vek::String& out, Vek::Entity& entity ) {
   const Vek::Field* const row = entity.typeInfo().field( "dumpState" );
   if ( !row ) {
      return false;
   }
   Osk::DumpContext context( [&]( std::string_view line ) {
      appendPrintable( out, line.substr( 0, line.size() - 1 ) );
      out += '\n';
   } );
   U32 indent = 0;
   const Vek::Any arguments[] = { Vek::Any::of( context ), Vek::Any::of( indent ) };
   return Vek::inspectOperation( entity, row->id, Vek::InspectCode::call, arguments ) ==
          Vek::InspectAnswer::done;
}

class StateWriter {
public:
   explicit StateWriter( Vek::String& out ) : out_( out ) {}

   void rows( const Vek::Entity& entity, std::size_t indent ) {
      const void* const object = dynamic_cast< const void* >( &entity );
      const Vek::String blanks( indent, ' ' );
      for ( const Vek::Field* const row : types_.of( entity.typeInfo() ).rows() ) {
         out_ += blanks;
         out_ += row->name;
         if ( row->isCollection() ) {
            out_ += Vek::concat( " #", row->collection->size( object ), '\n' );
            row->collection->visit( object, [&]( const void* key, const void* member ) {
               out_ += blanks + "  ";
               if ( row->kind == Vek::FieldKind::children ) {
                  child( member, indent + 2 );
               } else {
                  appendMember( out_, *row, key, member );
                  out_ += '\n';
               }
            } );
         } else if ( row->kind == Vek::FieldKind::attribute ) {
            out_ += ": ";
            appendValue( out_, *row->value, row->stored( object ) );
            out_ += '\n';
         } else if ( const void* const single = row->stored( object ) ) {
            out_ += ": ";
            child( single, indent );
         } else {
            out_ += ": none\n";
         }
      }
   }

private:
   // What it was made from, and its rows.
   void child( const void* untyped, std::size_t indent ) {
      const auto& entity = *static_cast< const Vek::Entity* >( untyped );
      std::string_view separator;
      for ( const Vek::Field* const row : types_.of( entity.typeInfo() ).parameters() ) {
         out_ += std::exchange( separator, ", " );
         withAttribute( *row, dynamic_cast< const void* >( &entity ),
                        [&]( const void* value ) { appendValue( out_, *row->value, value ); } );
      }
      out_ += '\n';
      rows( entity, indent + 2 );
   }

   Vek::String& out_;
   Vek::log::StreamTypes types_;
};

} // namespace

void appendValue( Vek::String& out, const Vek::ValueType& type, const void* value ) {
   if ( type == Vek::valueType< Vek::String > ) {
      appendQuoted( out, *static_cast< const Vek::String* >( value ) );
      return;
   }
   const Vek::TypeInfo* const info = Vek::TypeRegistry::find( type.name );
   if ( info && isToldByRows( *info ) ) {
      appendRows( out, *info, value );
      return;
   }
   Vek::String text;
   Vek::TextWriter writer( text );
   type.write( writer, value );
   writer.flush();
   appendPrintable( out, text.empty() ? "-" : text );
}

Vek::String stateText( Vek::Entity& root ) {
   Vek::String text;
   if ( !dumpItself( text, root ) ) {
      StateWriter( text ).rows( root, 0 );
   }
   return text;
}

} // namespace Tools
