#include "Flowspec/vocab/BitMask.h"

#include "Osk/HashMix.h"

namespace Flowspec {

namespace {

constexpr std::string_view ipBitNames[IpBitMask::supportedIpBits()] = {
   "DF", "is-fragment", "first-fragment", "last-fragment" };
constexpr std::string_view tcpBitNames[TcpBitMask::supportedTcpBits()] = {
   "FIN", "SYN", "RST", "PSH", "ACK", "URG", "ECE", "CWR", "NS" };

template < std::size_t N >
void writeBits( Vek::TextWriter& out, const BitMask& mask, const std::string_view ( &names )[N] ) {
   bool first = true;
   for ( std::size_t i = 0; i < N; ++i ) {
      if ( mask.mask() >> i & 1 ) {
         out << ( first ? "" : "," ) << names[i] << ( mask.val() >> i & 1 ? ":1" : ":0" );
         first = false;
      }
   }
}

} // namespace

Vek::String BitMask::toStrep() const {
   Vek::String text;
   Vek::TextWriter out( text );
   ( out << "<value:0x" ).hex( val_ );
   ( out << ";mask:0x" ).hex( mask_ ) << '>';
   out.flush();
   return text;
}

U32 BitMask::hash() const {
   Osk::HashMix mix;
   mix.mix( U64{ matchAll_ } << 32 | U64{ val_ } << 16 | mask_ );
   return mix.value();
}

bool IpBitMask::isValid() const {
   if ( mask() == 0 ) {
      return false;
   }
   if ( requiredClear( isFragment ) &&
        ( requiredSet( firstFragment ) || requiredSet( lastFragment ) ) ) {
      return false;
   }
   return !( requiredSet( firstFragment ) && requiredSet( lastFragment ) );
}

void writeStrepCli( Vek::TextWriter& out, const IpBitMask& mask ) {
   writeBits( out, mask, ipBitNames );
}

void writeStrepCli( Vek::TextWriter& out, const TcpBitMask& mask ) {
   writeBits( out, mask, tcpBitNames );
}

Vek::String IpBitMask::toStrepCli() const {
   Vek::String text;
   Vek::TextWriter out( text );
   writeBits( out, *this, ipBitNames );
   out.flush();
   return text;
}

Vek::String TcpBitMask::toStrepCli() const {
   Vek::String text;
   Vek::TextWriter out( text );
   writeBits( out, *this, tcpBitNames );
   out.flush();
   return text;
}

IpBitMask::IpBit IpBitMask::IpBitInstance( U64 number ) {
   return Vek::enumInstance< IpBit >( number );
}

IpBitMask::IpBit IpBitMask::IpBitInstance( std::string_view name ) {
   return Vek::enumInstance< IpBit >( name );
}

TcpBitMask::TcpBit TcpBitMask::TcpBitInstance( U64 number ) {
   return Vek::enumInstance< TcpBit >( number );
}

TcpBitMask::TcpBit TcpBitMask::TcpBitInstance( std::string_view name ) {
   return Vek::enumInstance< TcpBit >( name );
}

} // namespace Flowspec
