#include "Zorv/IpGenAddr.h"

#include "Osk/Group.h"
#include "Osk/HashMix.h"
#include "Vek/text/Exceptions.h"

namespace Zorv {

namespace {

using Bytes = IpGenAddr::Bytes;

constexpr unsigned groupCount = 8;

// A dotted address and one character more.
constexpr std::size_t dottedWindow = 16;

// A bit for each character of a window that is no digit, the lowest for the first one, and one for
// the end. The lengths of the numbers vary too much for a loop over the digits to be guessed well.
unsigned otherThanDigits( const char* window ) {
   return Osk::Group( window ).otherThanDigits() | 1U << dottedWindow;
}

// The host-order integer of the dotted IPv4 address that all of `text` spells.
std::optional< U32 > readDotted( std::string_view text ) {
   std::size_t at = 0;
   const auto address = IpGenAddr::takeDotted( text, at );
   return at == text.size() ? address : std::nullopt;
}

int hexValue( char c ) {
   if ( Vek::isDigit( c ) ) {
      return c - '0';
   }
   const char lower = static_cast< char >( c | 0x20 );
   return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Reads IPv6 from all of `text`: groups go from the front; those after "::" are moved to the end.
bool readColons( std::string_view text, Bytes& bytes ) {
   bytes = {};
   unsigned groups = 0;
   int gap = -1;
   std::size_t at = 0;
   if ( text.starts_with( "::" ) ) {
      gap = 0;
      at = 2;
   }
   while ( at < text.size() ) {
      if ( groups == groupCount ) {
         return false;
      }
      const std::string_view rest = text.substr( at );
      const std::size_t length = rest.find( ':' );
      const std::string_view group = rest.substr( 0, length );
      if ( length == std::string_view::npos && group.find( '.' ) != std::string_view::npos ) {
         const auto dotted = readDotted( group );
         if ( groups > groupCount - 2 || !dotted ) {
            return false;
         }
         Osk::storeBig32( &bytes[groups * 2], *dotted );
         groups += 2;
         break;
      }
      if ( group.empty() || group.size() > 4 ) {
         return false;
      }
      unsigned value = 0;
      for ( const char c : group ) {
         const int digit = hexValue( c );
         if ( digit < 0 ) {
            return false;
         }
         value = value * 16 + static_cast< unsigned >( digit );
      }
      bytes[groups * 2] = static_cast< U8 >( value >> 8 );
      bytes[groups * 2 + 1] = static_cast< U8 >( value );
      ++groups;
      at += group.size();
      if ( at == text.size() ) {
         break;
      }
      ++at;
      if ( at < text.size() && text[at] == ':' ) {
         if ( gap >= 0 ) {
            return false;
         }
         gap = static_cast< int >( groups );
         ++at;
      } else if ( at == text.size() ) {
         return false;
      }
   }
   if ( gap < 0 ) {
      return groups == groupCount;
   }
   if ( groups == groupCount ) {
      return false;
   }
   const std::size_t tail = ( groups - static_cast< unsigned >( gap ) ) * 2;
   const std::size_t from = static_cast< std::size_t >( gap ) * 2;
   std::memmove( bytes.data() + 16 - tail, bytes.data() + from, tail );
   std::memset( bytes.data() + from, 0, 16 - tail - from );
   return true;
}

// The decimal text of a byte.
struct ByteText {
   char digits[3];
   U8 length;
};

constexpr auto byteTexts = [] {
   std::array< ByteText, 256 > texts{};
   for ( unsigned byte = 0; byte < texts.size(); ++byte ) {
      ByteText& text = texts[byte];
      for ( const unsigned unit : { 100U, 10U, 1U } ) {
         if ( byte >= unit || unit == 1 ) {
            text.digits[text.length++] = static_cast< char >( '0' + byte / unit % 10 );
         }
      }
   }
   return texts;
}();

void writeDotted( Vek::TextWriter& out, const U8* bytes ) {
   char* at = out.room( 4 * sizeof( ByteText ) );
   for ( unsigned i = 0; i < 4; ++i ) {
      const ByteText& text = byteTexts[bytes[i]];
      std::memcpy( at, &text, sizeof text ); // a fixed length; the dot or the next text covers it
      at += text.length;
      *at++ = '.';
   }
   out.written( at - 1 );
}

// The 64-bit number whose first `length` bits are set: none below 1, all from 64 on.
bool isIpv4Mapped( const Bytes& bytes ) {
   static constexpr U8 prefix[12] = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF };
   return std::memcmp( bytes.data(), prefix, sizeof prefix ) == 0;
}

void writeColons( Vek::TextWriter& out, const Bytes& bytes ) {
   const unsigned count = isIpv4Mapped( bytes ) ? 6 : groupCount;
   const auto group = [&]( unsigned i ) { return bytes[i * 2] << 8 | bytes[i * 2 + 1]; };
   unsigned gap = groupCount;
   unsigned gapLength = 1;
   for ( unsigned i = 0; i < count; ++i ) {
      unsigned length = 0;
      while ( i + length < count && group( i + length ) == 0 ) {
         ++length;
      }
      if ( length > gapLength ) {
         gap = i;
         gapLength = length;
      }
      i += length;
   }
   for ( unsigned i = 0; i < count; ++i ) {
      if ( i == gap ) {
         out << "::";
         i += gapLength - 1;
         continue;
      }
      if ( i != 0 && i != gap + gapLength ) {
         out << ':';
      }
      out.hex( static_cast< U64 >( group( i ) ) );
   }
   if ( count == 6 ) {
      out << ':';
      writeDotted( out, &bytes[12] );
   }
}

} // namespace

std::optional< IpGenAddr > IpGenAddr::fromText( std::string_view text ) {
   if ( const auto dotted = readDotted( text ) ) {
      return ipv4( *dotted );
   }
   Bytes bytes;
   if ( readColons( text, bytes ) ) {
      return IpGenAddr( AddressFamily::ipv6, bytes );
   }
   return std::nullopt;
}

std::optional< U32 > IpGenAddr::takeDotted( std::string_view text, std::size_t& at ) {
   char padded[dottedWindow] = {};
   const char* begin = text.data() + at;
   if ( text.size() - at < dottedWindow ) {
      text.copy( padded, dottedWindow, at );
      begin = padded;
   }
   unsigned ends = otherThanDigits( begin );
   unsigned from = 0;
   U32 address = 0;
   for ( unsigned i = 0; i < 4; ++i ) {
      const unsigned to = static_cast< unsigned >( std::countr_zero( ends ) );
      const unsigned length = to - from;
      if ( length == 0 || length > 3 || ( length > 1 && begin[from] == '0' ) ) {
         return std::nullopt;
      }
      // The last digit is the lowest byte.
      const U32 digits = ( Osk::loadBig32( begin + from ) ^ 0x3030'3030 ) >> ( 4 - length ) * 8;
      const U32 value =
         ( digits >> 16 & 0xFF ) * 100 + ( digits >> 8 & 0xFF ) * 10 + ( digits & 0xFF );
      if ( value > 255 || ( i < 3 && begin[to] != '.' ) ) {
         return std::nullopt;
      }
      address = address << 8 | value;
      from = to + 1;
      ends &= ends - 1;
   }
   at += from - 1;
   return address;
}

void IpGenAddr::stringValueIs( std::string_view text ) {
   const auto address = text.empty() ? IpGenAddr() : fromText( text );
   if ( !address ) {
      Vek::throwRange( Vek::concat( typeName, ": '", text, "' is not an address" ) );
   }
   *this = *address;
}

U32 IpGenAddr::hash() const {
   Osk::HashMix mix;
   mix.mix( Osk::loadBig64( bytes_.data() ), Osk::loadBig64( bytes_.data() + 8 ) );
   return mix.value();
}

Vek::String IpGenAddr::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const IpGenAddr& address ) {
   if ( address.family() == AddressFamily::ipv4 ) {
      writeDotted( out, address.bytes().data() );
   } else if ( address.family() == AddressFamily::ipv6 ) {
      writeColons( out, address.bytes() );
   }
   return out;
}

std::ostream& operator<<( std::ostream& out, const IpGenAddr& address ) {
   return Vek::writeText( out, address.stringValue() );
}

void logFailFamily( const Vek::LogReader& in, U32 family ) {
   in.fail( Vek::concat( "no address has the family ", family ) );
}

} // namespace Zorv
