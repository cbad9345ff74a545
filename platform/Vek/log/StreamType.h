#pragma once

#include "Vek/Arguments.h"
#include "Vek/Entity.h"

#include <array>
#include <unordered_map>

namespace Vek::log {

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

   /// A bit for each streamed row, and for those that hold children.
   static constexpr U32 bitOf( U8 position ) { return 1U << position; }
   U32 allRows() const { return allRows_; }
   U32 childRows() const { return childRows_; }

   /// The rows that give the constructor's parameters.
   std::span< const Field* const > parameters() const { return parameters_; }

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
   U32 allRows_ = 0;
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
