#pragma once

#include "Vek/text/Text.h"
#include "Vek/types/ValueType.h"

#include <vector>

namespace TestSupport {

/// The bytes of a hexadecimal text; blanks do not count.
inline std::vector< U8 > bytesOf( std::string_view hex ) {
   std::vector< U8 > bytes;
   std::string digits;
   for ( const char c : hex ) {
      if ( c != ' ' ) {
         digits += c;
      }
      if ( digits.size() == 2 ) {
         bytes.push_back( static_cast< U8 >( std::stoul( digits, nullptr, 16 ) ) );
         digits.clear();
      }
   }
   return bytes;
}

/// Two hexadecimal digits for each byte.
inline std::string hexOf( std::span< const U8 > bytes ) {
   static constexpr char digits[] = "0123456789ABCDEF";
   std::string hex;
   for ( const U8 byte : bytes ) {
      hex += digits[byte >> 4];
      hex += digits[byte & 15];
   }
   return hex;
}

/// What a value is in the attribute log, checked to be as long as is said beforehand.
template < typename T >
std::vector< U8 > logBytes( const T& value ) {
   const Vek::ValueType& type = Vek::valueType< T >;
   std::vector< U8 > bytes( type.logSize( &value ) );
   Vek::LogWriter out( bytes.data() );
   type.logWrite( out, &value );
   if ( out.at() != bytes.data() + bytes.size() ) {
      throw std::logic_error( "another size than was said" );
   }
   return bytes;
}

/// The value that all of some bytes are in the attribute log.
template < typename T >
T logValue( std::span< const U8 > bytes,
            Vek::LogReader::Trust trust = Vek::LogReader::Trust::checked ) {
   T value{};
   Vek::LogReader in( bytes, trust );
   Vek::valueType< T >.logRead( in, &value );
   in.end();
   return value;
}

} // namespace TestSupport
