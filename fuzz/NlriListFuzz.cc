#include "fuzz/Check.h"
#include "wire/NlriDecoder.h"
#include "wire/Precedence.h"

// An input is a byte that chooses family and SAFI, and a field of NLRI.

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   using namespace Wire;
   if ( size == 0 ) {
      return 0;
   }
   const NlriFormat format{ data[0] & 1 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4,
                            ( data[0] & 2 ) != 0 };
   NlriList list( { data + 1, size - 1 }, format );
   std::span< const U8 > before;
   Flowspec::FlowspecKey keyBefore;
   while ( !list.atEnd() ) {
      const auto rest = list.rest();
      Nlri nlri;
      const auto rejection = list.next( nlri );
      Fuzz::require( list.isFramed() == ( list.rest().size() < rest.size() ),
                     "the walk goes on or the framing is broken" );
      Fuzz::require( rejection || list.isFramed(), "what was read has an end" );
      Fuzz::require( nlri.octets.size() == rest.size() - list.rest().size(),
                     "the octets are those that were taken" );
      if ( rejection ) {
         continue;
      }
      Nlri alone;
      Fuzz::require( !decodeNlri( nlri.octets, format, alone ) && alone.key == nlri.key,
                     "a rule is the same alone" );
      const auto components = nlri.components( format );
      const bool first = precedes( before, components, format.family );
      const bool second = precedes( components, before, format.family );
      Fuzz::require( !( first && second ), "one goes before the other" );
      // Octets with remarks are not what their key is written as.
      if ( nlri.remarks.empty() ) {
         Fuzz::require( !first || before.empty() || precedes( keyBefore, nlri.key ),
                        "keys are ordered as their octets" );
         before = components;
         keyBefore = nlri.key;
      }
   }
   return 0;
}
