#pragma once

#include "Vek/text/Exceptions.h"
#include "Vek/text/Text.h"

#include <concepts>
#include <iosfwd>
#include <type_traits>

/// Enumerations with names: one table of rows each, from which number, name and text come.
namespace Vek {

struct TypeInfo;

/// One enumerator: its number and its name.
struct Enumerator {
   U8 number;
   std::string_view name;
};

/// The name and the enumerators of one enumeration; constant-initialised.
struct EnumInfo {
   std::string_view type; ///< with its namespace, such as "Flowspec::MatchCompType"
   const Enumerator* rows;
   std::size_t count;

   template < std::size_t N >
   constexpr EnumInfo( std::string_view typeName, const Enumerator ( &table )[N] )
      : type( typeName ), rows( table ), count( N ) {}

   /// The row of `number`, or null.
   constexpr const Enumerator* find( U64 number ) const {
      for ( const Enumerator* row = rows; row != rows + count; ++row ) {
         if ( row->number == number ) {
            return row;
         }
      }
      return nullptr;
   }

   /// The row of `name`, or null.
   constexpr const Enumerator* find( std::string_view name ) const {
      for ( const Enumerator* row = rows; row != rows + count; ++row ) {
         if ( row->name == name ) {
            return row;
         }
      }
      return nullptr;
   }
};

/// Whether the numbers of `table` ascend from 0 without gaps, so that a number is its own index.
template < std::size_t N >
constexpr bool enumeratorsAreDense( const Enumerator ( &table )[N] ) {
   for ( std::size_t i = 0; i < N; ++i ) {
      if ( table[i].number != i || table[i].name.empty() ) {
         return false;
      }
   }
   return true;
}

/// The name of `number`, or the number itself in decimal when it has none.
OSK_EXPORT String enumText( const EnumInfo& info, U8 number );

/// `number`, when an enumerator has it; `RangeException`
/// "<type>: <number> is not an enumerator" otherwise.
OSK_EXPORT U8 enumNumber( const EnumInfo& info, U64 number );

/// The number of the enumerator `name`; `RangeException` "<type>: '<name>' is not an enumerator"
/// when there is none.
OSK_EXPORT U8 enumNumber( const EnumInfo& info, std::string_view name );

/// An enumeration with names: a function `enumInfo` beside it gives its `EnumInfo`.
template < typename E >
concept NamedEnum = std::is_enum_v< E > && requires( E e ) {
   { enumInfo( e ) } -> std::same_as< const EnumInfo& >;
};

/// The enumerator's name; the number in decimal for a value without a name.
template < NamedEnum E >
String stringValue( E value ) {
   return enumText( enumInfo( value ), static_cast< U8 >( value ) );
}

/// The enumerator with a number or a name; `RangeException` when there is none.
template < NamedEnum E >
E enumInstance( U64 number ) {
   return static_cast< E >( enumNumber( enumInfo( E{} ), number ) );
}
template < NamedEnum E >
E enumInstance( std::string_view name ) {
   return static_cast< E >( enumNumber( enumInfo( E{} ), name ) );
}

/// Takes a name from `range` and stores its enumerator; `RangeException` when there is none.
template < NamedEnum E >
void sequenceToValue( CharRange& range, E* value ) {
   *value = enumInstance< E >( range.takeName() );
}

/// Writes the name.
template < NamedEnum E >
std::ostream& operator<<( std::ostream& out, E value ) {
   return writeText( out, stringValue( value ) );
}

} // namespace Vek
