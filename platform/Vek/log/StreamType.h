#pragma once

#include "Vek/entity/Entity.h"
#include "Vek/types/Arguments.h"

#include <array>
#include <unordered_map>

namespace Vek::log {

/// A key and a value of a row, to be read into.
struct RowValues {
   explicit RowValues( const Field& row )
      : key( std::span( &row.key, row.key ? 1 : 0 ) ),
        value( std::span( &row.value, row.value ? 1 : 0 ) ) {}

   Arguments key;
   Arguments value;
};

/// What the attribute log needs of one entity type, gathered from its rows once.
class OSK_EXPORT StreamType {
public:
   /// The largest number of streamed rows: a connection marks them in one word.
   static constexpr std::size_t maxRows = 32;

   explicit StreamType( const TypeInfo& info );

   const TypeInfo& info() const { return *info_; }

   /// The rows that travel, ascending by id: stored attributes with a setter, collections and
   /// children. Views, derived values, keys and operations do not.
   std::span< const Field* const > rows() const { return rows_; }

   /// The position in `rows()` of a field, if it is streamed.
   std::optional< U8 > position( U16 fieldId ) const {
      const std::size_t at = fieldId - firstId;
      return at < positions_.size() && positions_[at] != none ? std::optional( positions_[at] )
                                                              : std::nullopt;
   }

   /// The bit of a streamed row, and those of all that are collections or hold children.
   static constexpr U32 bitOf( U8 position ) { return 1U << position; }
   U32 collectionRows() const { return collectionRows_; }
   U32 childRows() const { return childRows_; }
   /// Those of all with ids from `fieldId` on.
   U32 rowsFrom( U16 fieldId ) const {
      U32 rows = allRows_;
      while ( rows && rows_[static_cast< U32 >( std::countr_zero( rows ) )]->id < fieldId ) {
         rows &= rows - 1;
      }
      return rows;
   }

   /// The rows that give the constructor's parameters.
   std::span< const Field* const > parameters() const { return parameters_; }

   /// Values of the row at `position`, to be given back when nothing was raised: to make them anew
   /// for each message costs more than to read into them.
   std::unique_ptr< RowValues > takeValues( U8 position ) const {
      std::unique_ptr< RowValues > values = std::move( values_[position] );
      return values ? std::move( values ) : std::make_unique< RowValues >( *rows_[position] );
   }
   void giveValues( U8 position, std::unique_ptr< RowValues > values ) const {
      values_[position] = std::move( values );
   }

   /// The row that gives the key under which an entity of this type stands in a collection with
   /// keys of the given type.
   const Field& keyRow( const ValueType& key ) const;

private:
   static constexpr U16 firstId = 256; ///< ids below are those of value types
   static constexpr U8 none = 0xFF;

   const TypeInfo* info_;
   std::vector< const Field* > rows_;
   std::vector< const Field* > parameters_;
   std::array< U8, 64 > positions_;
   mutable std::array< std::unique_ptr< RowValues >, maxRows > values_;
   U32 allRows_ = 0;
   U32 collectionRows_ = 0;
   U32 childRows_ = 0;
};

/// The stream types of a process's entities, each made when it is first asked for.
class OSK_EXPORT StreamTypes {
public:
   const StreamType& of( const TypeInfo& info );

   /// The type of the children that a row holds.
   const StreamType& ofChildren( const Field& row );

private:
   std::unordered_map< const TypeInfo*, StreamType > types_;
   std::unordered_map< const Field*, const StreamType* > ofChildren_;
};

/// Calls with the stored value of an attribute.
template < typename Visit >
void withValue( const Field& row, const void* object, Visit visit ) {
   if ( row.stored ) {
      visit( row.stored( object ) );
   } else {
      const Arguments value( std::span( &row.value, 1 ) );
      row.get( object, value[0] );
      visit( value[0] );
   }
}

} // namespace Vek::log
