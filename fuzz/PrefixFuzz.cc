#include "fuzz/Check.h"

#include <arpa/inet.h>

namespace {

// The C library's opinion of an address; 0 for none.
int familyOf( const Vek::String& address, std::array< U8, 16 >& bytes ) {
   bytes = {};
   if ( inet_pton( AF_INET, address.c_str(), bytes.data() ) == 1 ) {
      return 1;
   }
   return inet_pton( AF_INET6, address.c_str(), bytes.data() ) == 1 ? 2 : 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view text = Fuzz::text( data, size );
   if ( text.find( '\0' ) == text.npos ) {
      std::array< U8, 16 > bytes;
      const int family = familyOf( Vek::String( text ), bytes );
      const auto address = Zorv::IpGenAddr::fromText( text );
      Fuzz::require( address.has_value() == ( family != 0 ), "the C library agrees" );
      if ( address ) {
         Fuzz::require( static_cast< int >( address->family() ) == family &&
                           address->bytes() == bytes,
                        "the addresses agree" );
         Fuzz::require( Zorv::IpGenAddr::fromText( address->stringValue() ) == address,
                        "the address reads back" );
      }
   }
   const auto prefix = Zorv::IpGenPrefix::fromText( text );
   Zorv::IpGenPrefix second;
   bool raised = false;
   try {
      second.stringValueIs( text );
   } catch ( const Vek::RangeException& ) {
      raised = true;
   }
   Fuzz::require( raised == !prefix, "the verdicts agree" );
   if ( prefix ) {
      Fuzz::require( second == *prefix, "the prefixes agree" );
      Fuzz::require( Zorv::IpGenPrefix::fromText( prefix->stringValue() ) == prefix,
                     "the prefix reads back" );
   }
   return 0;
}
