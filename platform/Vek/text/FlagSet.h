#pragma once

#include "Vek/text/Exceptions.h"
#include "Vek/text/Text.h"

#include <compare>
#include <cstddef>

namespace Vek {

/// A set of up to 8 named flags in one byte. A type `T` derives from `FlagSet< T >` and has
/// `typeName` and `flagNames`, the name of each flag from bit 0 on.
template < typename T >
class FlagSet {
public:
   /// The empty set.
   constexpr FlagSet() = default;

   /// The set with the bits of `value`; `RangeException` when a bit is no flag.
   explicit FlagSet( U64 value ) : value_( static_cast< U8 >( value ) ) {
      if ( value >> std::size( T::flagNames ) != 0 ) {
         throwRange( concat( T::typeName, ": ", value, " is not a set of flags" ) );
      }
   }

   constexpr U8 value() const { return value_; }

   /// True when any flag is set.
   constexpr explicit operator bool() const { return value_ != 0; }

   /// The names of the flags that are set, in bit order, joined by "|"; "" for none.
   String stringValue() const {
      String text;
      for ( std::size_t bit = 0; bit < std::size( T::flagNames ); ++bit ) {
         if ( value_ >> bit & 1 ) {
            text.append( text.empty() ? "" : "|" ).append( T::flagNames[bit] );
         }
      }
      return text;
   }

   /// Reads names joined by "|"; `RangeException` for a name that is no flag, and then the set is
   /// unchanged.
   void stringValueIs( std::string_view text ) {
      unsigned value = 0;
      while ( !text.empty() ) {
         const std::string_view name = text.substr( 0, text.find( '|' ) );
         text.remove_prefix( name.size() );
         const bool more = !text.empty();
         text.remove_prefix( more );
         value |= 1U << position( name );
         if ( more && text.empty() ) {
            position( text );
         }
      }
      value_ = static_cast< U8 >( value );
   }

   constexpr U32 hash() const { return value_; }

   constexpr auto operator<=>( const FlagSet& ) const = default;

protected:
   constexpr bool flag( unsigned bit ) const { return value_ >> bit & 1; }
   constexpr void flagIs( unsigned bit, bool on ) {
      const unsigned mask = 1U << bit;
      value_ = static_cast< U8 >( on ? value_ | mask : value_ & ~mask );
   }

private:
   static unsigned position( std::string_view name ) {
      for ( unsigned bit = 0; bit < std::size( T::flagNames ); ++bit ) {
         if ( T::flagNames[bit] == name ) {
            return bit;
         }
      }
      throwRange( concat( T::typeName, ": '", name, "' is not a flag" ) );
   }

   U8 value_ = 0;
};

} // namespace Vek
