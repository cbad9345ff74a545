#include "tools/flowspecctl/system/StateDiff.h"

#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/system/EntityText.h"

#include <optional>

#include <nlohmann/json.hpp>

namespace Tools {

using Vek::Entity;
using Vek::Field;
using Vek::FieldKind;

struct StateDiff::Difference {
   std::string_view change;
   std::string_view sign; ///< empty for an attribute
   std::optional< Vek::String > key{};
   std::optional< Vek::String > before{};
   std::optional< Vek::String > after{};
};

void StateDiff::compare( const Vek::NamedEntity& first, const Vek::NamedEntity& second ) {
   root_ = Forms::printable( first.name() );
   path_.clear();
   compareEntities( first, second );
}

void StateDiff::onlyFirst( const Vek::String& root ) {
   root_ = Forms::printable( root );
   write( "", { .change = "removed", .sign = "-" } );
}

void StateDiff::onlySecond( const Vek::String& root ) {
   root_ = Forms::printable( root );
   write( "", { .change = "added", .sign = "+" } );
}

void StateDiff::compareEntities( const Entity& first, const Entity& second ) {
   for ( const Field* const row : types_.of( first.typeInfo() ).rows() ) {
      if ( row->isCollection() ) {
         compareMembers( *row, first, second );
      } else if ( row->kind == FieldKind::child ) {
         const auto child = [&]( const Entity& parent ) {
            return static_cast< const Entity* >( row->stored( addressOf( parent ) ) );
         };
         compareChild( *row, child( first ), child( second ) );
      } else {
         compareAttribute( *row, first, second );
      }
   }
}

void StateDiff::compareAttribute( const Field& row, const Entity& first, const Entity& second ) {
   Vek::log::withValue( row, addressOf( first ), [&]( const void* before ) {
      Vek::log::withValue( row, addressOf( second ), [&]( const void* after ) {
         if ( !row.value->equal( before, after ) ) {
            write( row.name, { .change = "set",
                               .sign = "",
                               .before = textOf( *row.value, before ),
                               .after = textOf( *row.value, after ) } );
         }
      } );
   } );
}

void StateDiff::compareMembers( const Field& row, const Entity& first, const Entity& second ) {
   const bool hasChildren = row.kind == FieldKind::children;
   const bool hasValues = row.value && !hasChildren;
   const auto text = [&]( const void* value ) {
      return hasValues ? std::optional( textOf( *row.value, value ) ) : std::nullopt;
   };
   row.collection->visit( addressOf( first ), [&]( const void* key, const void* before ) {
      const void* const after = row.collection->find( addressOf( second ), key );
      if ( !after ) {
         write( row.name, { .change = "removed",
                            .sign = "-",
                            .key = textOf( *row.key, key ),
                            .before = text( before ) } );
      } else if ( hasChildren ) {
         descend( *static_cast< const Entity* >( before ), *static_cast< const Entity* >( after ) );
      } else if ( hasValues && !row.value->equal( before, after ) ) {
         write( row.name, { .change = "changed",
                            .sign = "=",
                            .key = textOf( *row.key, key ),
                            .before = text( before ),
                            .after = text( after ) } );
      }
   } );
   row.collection->visit( addressOf( second ), [&]( const void* key, const void* after ) {
      if ( !row.collection->find( addressOf( first ), key ) ) {
         write( row.name, { .change = "added",
                            .sign = "+",
                            .key = textOf( *row.key, key ),
                            .after = text( after ) } );
      }
   } );
}

void StateDiff::compareChild( const Field& row, const Entity* first, const Entity* second ) {
   if ( first && second ) {
      descend( *first, *second );
   } else if ( first ) {
      write( row.name, { .change = "removed", .sign = "-" } );
   } else if ( second ) {
      write( row.name, { .change = "added", .sign = "+" } );
   }
}

// Goes on with a child that both have. Of two types, such as two kinds of an action, they have
// nothing to be compared but that.
void StateDiff::descend( const Entity& first, const Entity& second ) {
   const std::size_t length = path_.size();
   appendStep( path_, first, types_ );
   if ( &first.typeInfo() == &second.typeInfo() ) {
      compareEntities( first, second );
   } else {
      write( "type", { .change = "set",
                       .sign = "",
                       .before = Vek::String( first.typeInfo().name ),
                       .after = Vek::String( second.typeInfo().name ) } );
   }
   path_.resize( length );
}

void StateDiff::write( std::string_view field, const Difference& difference ) {
   ++count_;
   const auto& [change, sign, key, before, after] = difference;
   if ( json_ ) {
      nlohmann::ordered_json object{
         { "root", root_ }, { "path", path_ }, { "field", field }, { "change", change } };
      const auto add = [&]( const char* name, const std::optional< Vek::String >& text ) {
         if ( text ) {
            object[name] = *text;
         }
      };
      add( "key", key );
      add( "old", before );
      add( "new", after );
      out_ += object.dump() + '\n';
      return;
   }
   out_ += Vek::concat( root_, std::string_view( path_.empty() ? "" : " " ), path_,
                        std::string_view( field.empty() ? ":" : ": " ), field );
   out_ += sign.empty() ? "" : Vek::concat( ' ', sign );
   out_ += key ? ' ' + *key : "";
   if ( before && after ) {
      out_ += Vek::concat( key ? ": " : " ", *before, " -> ", *after );
   } else if ( after ) {
      out_ += " -> " + *after;
   }
   out_ += '\n';
}

} // namespace Tools
