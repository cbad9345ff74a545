#include "fuzz/Check.h"
#include "tests/wire/PlainNlri.h"
#include "wire/Canonical.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <algorithm>

// An input is a byte that chooses family and SAFI, and an NLRI with what may follow it.

namespace {

using namespace Wire;
using Flowspec::FlowspecKey;

void checkAgainstPlain( const std::vector< U8 >& octets, NlriFormat format, const Nlri& nlri,
                        const std::optional< Rejection >& rejection ) {
   const auto plain = TestSupport::plainDecode( octets, format, true );
   Fuzz::require( plain.code == ( rejection ? name( rejection->code ) : "" ),
                  "both decoders judge alike" );
   Fuzz::require( std::ranges::equal( nlri.remarks, plain.remarks, {},
                                      []( const Remark& remark ) { return name( remark.code ); } ),
                  "both decoders remark the same" );
   Fuzz::require( rejection || plainKey( plain, format ) == nlri.key, "both have the same key" );
}

void checkAgain( const Nlri& nlri, NlriFormat format ) {
   for ( const ValueLengths lengths : { ValueLengths::asStored, ValueLengths::shortest } ) {
      std::vector< U8 > written;
      const auto refusal = encodeNlri( nlri.key, format, nlri.rd, lengths, written );
      // Flow labels of one octet become longer than a length field can tell.
      if ( refusal && lengths == ValueLengths::shortest ) {
         Fuzz::require( refusal->code == RefusalCode::tooLong, "nothing else is in the way" );
         continue;
      }
      Fuzz::require( !refusal, "what was read can be written" );
      Nlri again;
      Fuzz::require( !decodeNlri( written, format, again ) && again.rd == nlri.rd,
                     "what was written can be read" );
      Fuzz::require( lengths == ValueLengths::shortest || again.key == nlri.key,
                     "reading is stable" );
      Fuzz::require( equivalent( again.key, nlri.key ), "it means the same" );
      Fuzz::require( lengths == ValueLengths::shortest || !nlri.remarks.empty() ||
                        std::ranges::equal( written, nlri.octets ),
                     "without remarks the octets come back" );
   }
}

void checkCanonical( const FlowspecKey& key ) {
   const CanonicalRule rule( key );
   FlowspecKey canonical;
   if ( !rule.toKey( canonical ) ) {
      Fuzz::require( CanonicalRule( canonical ) == rule, "the canonical key has the same form" );
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   const NlriFormat format{ data[0] & 1 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4,
                            ( data[0] & 2 ) != 0 };
   const std::vector< U8 > octets( data + 1, data + size );
   Nlri nlri;
   const auto rejection = decodeNlri( octets, format, nlri );
   checkAgainstPlain( octets, format, nlri, rejection );
   if ( rejection ) {
      Fuzz::require( rejection->offset <= octets.size(), "the offset is inside the octets" );
      Fuzz::require( !rejection->message().empty(), "a rejection has a message" );
      Fuzz::require( nlri.key == FlowspecKey(), "a rejection leaves no rule" );
      return 0;
   }
   checkAgain( nlri, format );
   checkCanonical( nlri.key );
   return 0;
}
