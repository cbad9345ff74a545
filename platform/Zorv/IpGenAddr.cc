#include "Zorv/IpGenAddr.h"

#include "Osk/Endian.h"
#include "Osk/HashMix.h"
#include "Vek/Exceptions.h"

namespace Zorv {

namespace {

using Bytes = IpGenAddr::Bytes;

constexpr unsigned groupCount = 8;

// The host-order integer of the dotted IPv4 address that all of `text` spells.
std::optional< U32 > readDotted( std::string_view text ) {
   const char* at = text.data();
   const char* const end = at + text.size();
   const auto digit = [&] { return at == end ? ~0U : Vek::digitValue( *at ); };
   U32 address = 0;
   for ( unsigned i = 0; i < 4; ++i ) {
      if ( i > 0 && ( at == end || *at++ != '.' ) ) {
         return std::nullopt;
      }
      unsigned value = digit();
      if ( value > 9 ) {
         return std::nullopt;
      }
      ++at;
      // A zero in front of another digit, and a fourth digit, are taken for a missing dot.
      for ( unsigned more = 0; more < 2 && value != 0 && digit() <= 9; ++more ) {
         value = value * 10 + Vek::digitValue( *at++ );
      }
      if ( value > 255 ) {
         return std::nullopt;
      }
      address = address << 8 | value;
   }
   return at == end ? std::optional( address ) : std::nullopt;
}

int hexValue( char c ) {
   if ( Vek::isDigit( c ) ) {
      return c - '0';
   }
   const char lower = static_cast< char >( c | 0x20 );
   return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Reads IPv6 from all of `text`: groups go from the front; those behind "::" are moved to the end.
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

void writeDotted( Vek::TextWriter& out, const U8* bytes ) {
   out << bytes[0] << '.' << bytes[1] << '.' << bytes[2] << '.' << bytes[3];
}

// The 64-bit number whose first `length` bits are set: none below 1, all from 64 on.
U64 leadingOnes( int length ) {
   return length <= 0 ? 0 : length >= 64 ? ~U64{ 0 } : ~( ~U64{ 0 } >> length );
}

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

IpGenAddr IpGenAddr::ipv4( U32 address ) {
   Bytes bytes{};
   Osk::storeBig32( bytes.data(), address );
   return IpGenAddr( AddressFamily::ipv4, bytes );
}

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

void IpGenAddr::stringValueIs( std::string_view text ) {
   const auto address = text.empty() ? IpGenAddr() : fromText( text );
   if ( !address ) {
      Vek::throwRange( Vek::concat( typeName, ": '", text, "' is not an address" ) );
   }
   *this = *address;
}

U32 IpGenAddr::ipv4Value() const { return Osk::loadBig32( bytes_.data() ); }

IpGenAddr IpGenAddr::masked( unsigned length ) const {
   IpGenAddr result = *this;
   U8* const bytes = result.bytes_.data();
   const int bits = static_cast< int >( length );
   Osk::storeBig64( bytes, Osk::loadBig64( bytes ) & leadingOnes( bits ) );
   Osk::storeBig64( bytes + 8, Osk::loadBig64( bytes + 8 ) & leadingOnes( bits - 64 ) );
   return result;
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

} // namespace Zorv
