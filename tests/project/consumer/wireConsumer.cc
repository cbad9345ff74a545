// What a user of the installed library for octets writes: reads an NLRI, prints it, writes it back.
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <iostream>

int main() {
   const U8 octets[] = { 0x0B, 0x01, 0x10, 0x0A, 0x01, 0x03, 0x81, 0x06, 0x05, 0x91, 0x01, 0xBB };
   const auto format = Wire::NlriFormat::of( 1, 133 );
   Wire::Nlri nlri;
   if ( const auto rejection = Wire::decodeNlri( octets, *format, nlri ) ) {
      std::cout << rejection->message() << '\n';
      return 1;
   }
   std::vector< U8 > written;
   const auto refusal =
      Wire::encodeNlri( nlri.key, *format, nlri.rd, Wire::ValueLengths::asStored, written );
   std::cout << nlri.key.toStrepCli( false ) << '\n'
             << written.size() << " octets" << ( refusal ? ", refused" : "" ) << '\n';
}
