#pragma once

#include "Vek/types/Field.h"

/// How a setter finds the row of its data member.
namespace Vek {

namespace detail {

/// A number for each data member, by which a setter finds its row: a hash of the member's name as
/// the compiler spells it. (Addresses of objects would do, but g++ does not compare them at compile
/// time under its sanitizers.)
template < auto Member >
consteval U64 memberIdentity() {
   U64 hash = 0xCBF29CE484222325;
   for ( const char c : std::string_view( __PRETTY_FUNCTION__ ) ) {
      hash = ( hash ^ static_cast< U8 >( c ) ) * 0x100000001B3;
   }
   return hash;
}

template < typename T >
struct MemberPointer;
template < typename C, typename T >
struct MemberPointer< T C::* > {
   using Class = C;
   using Type = T;
};

/// The position of a data member's row, or the number of rows when it has none.
constexpr std::size_t findRow( std::span< const Field > rows, U64 member ) {
   std::size_t at = 0;
   while ( at != rows.size() && rows[at].member != member ) {
      ++at;
   }
   return at;
}

} // namespace detail

/// The position in `Table::rows` of the row of a data member; no such row is a compile-time error.
template < typename Table, auto Member >
consteval std::size_t rowOf() {
   constexpr std::size_t row = detail::findRow( Table::rows, detail::memberIdentity< Member >() );
   static_assert( row != Table::rows.size(), "the member that is set has no row in the table" );
   return row;
}

} // namespace Vek
