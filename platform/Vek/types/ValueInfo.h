#pragma once

#include "Vek/types/Rows.h"

/// The descriptions of types that are no entities, from their rows.
namespace Vek {

namespace detail {

/// A value type `T` that is built from its attributes, of which the first rows tell.
template < typename T, const auto& rows, typename... Attributes >
struct Record {
   using Indices = std::index_sequence_for< Attributes... >;

   static constexpr bool streamed = ( ValueLog< Attributes >::streamed && ... );

   template < std::size_t... I >
   static void build( void* const* attributes, void* value, std::index_sequence< I... > ) {
      at< T >( value ) = T( at< Attributes >( attributes[I] )... );
   }

   static std::size_t logSize( const void* value ) {
      std::size_t size = 0;
      forEach( value, [&]< typename A >( const A& a ) { size += ValueLog< A >::size( &a ); } );
      return size;
   }

   static void logWrite( LogWriter& out, const void* value ) {
      forEach( value, [&]< typename A >( const A& a ) { ValueLog< A >::write( out, &a ); } );
   }

   static void logRead( LogReader& in, void* value ) { read( in, value, Indices() ); }

private:
   template < typename Visit >
   static void forEach( const void* value, Visit visit ) {
      forEach( value, visit, Indices() );
   }

   template < typename Visit, std::size_t... I >
   static void forEach( const void* value, Visit visit, std::index_sequence< I... > ) {
      ( with< I, Attributes >( value, visit ), ... );
   }

   template < std::size_t position, typename A, typename Visit >
   static void with( const void* value, Visit visit ) {
      constexpr const Field& row = rows[position];
      if constexpr ( row.stored != nullptr ) {
         visit( at< const A >( row.stored( value ) ) );
      } else {
         A attribute{};
         row.get( value, &attribute );
         visit( attribute );
      }
   }

   template < std::size_t... I >
   static void read( LogReader& in, void* value, std::index_sequence< I... > ) {
      if constexpr ( ( ( rows[I].stored != nullptr ) && ... ) ) {
         // There is nothing to be checked about attributes that stand in the value as they are.
         ( ValueLog< Attributes >::read( in, const_cast< void* >( rows[I].stored( value ) ) ),
           ... );
      } else {
         std::tuple< Attributes... > attributes;
         ( ValueLog< Attributes >::read( in, &std::get< I >( attributes ) ), ... );
         at< T >( value ) = T( std::get< I >( attributes )... );
      }
   }
};

} // namespace detail

/// A value type that is not built from attributes.
template < typename T >
consteval TypeInfo valueInfo( std::span< const Field > rows ) {
   TypeInfo info;
   info.name = valueType< T >.name;
   info.kind = TypeKind::value;
   info.rows = rows;
   info.value = &valueType< T >;
   return info;
}

/// A value type built from its stored attributes, which are of the given types and have the first
/// rows.
template < typename T, const auto& rows, typename... Attributes >
consteval TypeInfo valueInfo() {
   using Record = detail::Record< T, rows, Attributes... >;
   TypeInfo info = valueInfo< T >( rows );
   info.parameters = detail::ParameterList< Attributes... >::types;
   info.build = []( void* const* attributes, void* value ) {
      Record::build( attributes, value, typename Record::Indices() );
   };
   if constexpr ( Record::streamed ) {
      info.logSize = Record::logSize;
      info.logWrite = Record::logWrite;
      info.logRead = Record::logRead;
   }
   return info;
}

/// A value type of another library, known by its name and its text alone.
template < typename T >
consteval TypeInfo plainInfo( std::string_view name = valueType< T >.name ) {
   TypeInfo info;
   info.name = name;
   info.kind = TypeKind::value;
   info.value = &valueType< T >;
   return info;
}

/// An enumeration.
template < NamedEnum E >
consteval TypeInfo enumerationInfo() {
   TypeInfo info;
   info.name = enumInfo( E{} ).type;
   info.kind = TypeKind::enumeration;
   info.enumeration = &enumInfo( E{} );
   info.value = &valueType< E >;
   return info;
}

} // namespace Vek
