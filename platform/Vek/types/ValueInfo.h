#pragma once

#include "Vek/types/Rows.h"

/// The descriptions of types that are no entities, from their rows.
namespace Vek {

namespace detail {

/// The number of the rows of stored attributes, which are the first ones.
constexpr std::size_t attributeRows( std::span< const Field > rows ) {
   std::size_t count = 0;
   while ( count != rows.size() &&
           ( rows[count].kind == FieldKind::key || rows[count].kind == FieldKind::attribute ) ) {
      ++count;
   }
   return count;
}

/// Whether a `T` is made from just these attributes, none of which loses a bit.
template < typename T, typename... Attributes >
concept BuiltFrom = requires( const Attributes&... attributes ) {
   T{ attributes... };
};

template < typename T, const auto& rows,
           typename Positions = std::make_index_sequence< attributeRows( rows ) > >
struct Record;

/// A value type `T` that is built from its attributes.
template < typename T, const auto& rows, std::size_t... I >
struct Record< T, rows, std::index_sequence< I... > > {
   template < std::size_t position >
   using Attribute = typename std::remove_cvref_t< decltype( rows ) >::template TypeAt< position >;

   using Parameters = ParameterList< Attribute< I >... >;
   static constexpr bool complete = BuiltFrom< T, Attribute< I >... >;
   static constexpr bool streamed = ( ValueLog< Attribute< I > >::streamed && ... );

   static void build( void* const* attributes, void* value ) {
      at< T >( value ) = T( at< Attribute< I > >( attributes[I] )... );
   }

   static std::size_t logSize( const void* value ) {
      std::size_t size = 0;
      forEach( value, [&]< typename A >( const A& a ) { size += ValueLog< A >::size( &a ); } );
      return size;
   }

   static void logWrite( LogWriter& out, const void* value ) {
      forEach( value, [&]< typename A >( const A& a ) { ValueLog< A >::write( out, &a ); } );
   }

   static void logRead( LogReader& in, void* value ) {
      if constexpr ( ( ( rows[I].stored != nullptr ) && ... ) ) {
         // There is nothing to be checked about attributes that are in the value as they are.
         ( ValueLog< Attribute< I > >::read( in, const_cast< void* >( rows[I].stored( value ) ) ),
           ... );
      } else {
         std::tuple< Attribute< I >... > attributes;
         ( ValueLog< Attribute< I > >::read( in, &std::get< I >( attributes ) ), ... );
         at< T >( value ) = T( std::get< I >( attributes )... );
      }
   }

private:
   template < typename Visit >
   static void forEach( const void* value, Visit visit ) {
      ( with< I >( value, visit ), ... );
   }

   template < std::size_t position, typename Visit >
   static void with( const void* value, Visit visit ) {
      using A = Attribute< position >;
      constexpr const Field& row = rows[position];
      if constexpr ( row.stored != nullptr ) {
         visit( at< const A >( row.stored( value ) ) );
      } else {
         A attribute{};
         row.get( value, &attribute );
         visit( attribute );
      }
   }
};

} // namespace detail

/// A value type with the table `rows`. One that is not read from a text as a whole (`IsRecord`) is
/// built from its stored attributes, in the order of their rows, and has its text and its encoding
/// from them.
template < typename T, const auto& rows >
consteval TypeInfo valueInfo() {
   detail::checkTable< T, rows >();
   TypeInfo info;
   info.name = valueType< T >.name;
   info.kind = TypeKind::value;
   info.rows = rows;
   info.value = &valueType< T >;
   if constexpr ( detail::IsRecord< T > ) {
      using Record = detail::Record< T, rows >;
      static_assert(
         Record::complete || !detail::rowsAreOf< T, rows >,
         "the value is not built from the types of its attributes as the rows list them" );
      if constexpr ( Record::complete ) {
         info.parameters = Record::Parameters::types;
         info.build = Record::build;
         if constexpr ( Record::streamed ) {
            info.logSize = Record::logSize;
            info.logWrite = Record::logWrite;
            info.logRead = Record::logRead;
         }
      }
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

/// Stands for a type of another library in a list of types.
template < typename T >
struct Plain {
   static const TypeInfo& typeInfo() {
      static constexpr TypeInfo info = plainInfo< T >();
      return info;
   }
};

namespace detail {

template < typename T >
constexpr Description describes() {
   if constexpr ( NamedEnum< T > ) {
      return []() -> const TypeInfo& {
         static constexpr TypeInfo info = enumerationInfo< T >();
         return info;
      };
   } else if constexpr ( std::is_base_of_v< Counted, T > ) {
      return T::type;
   } else {
      return T::typeInfo;
   }
}

} // namespace detail

/// The types of a module: entities, values and enumerations.
template < typename... T >
inline constexpr Description types[] = { detail::describes< T >()... };

} // namespace Vek
