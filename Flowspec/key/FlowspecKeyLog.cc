#include "Flowspec/key/FlowspecKey.h"

namespace Flowspec {

namespace {

constexpr U16 endOfWords = MatchOpValIndex::max();

// Why a key that was received could not be walked or printed; empty when it can.
std::string_view flaw( const FlowspecKey& key ) {
   const std::span< const U64 > words = key.matchOpVal().packed();
   const bool dense = words.empty() || words.back() >> 32 == words.size() - 1;
   for ( U32 index = 0; index < words.size(); ++index ) {
      const MatchOpVal word = dense ? MatchOpVal( static_cast< U32 >( words[index] ) )
                                    : key.matchOpVal( index );
      if ( static_cast< U8 >( word.matchType() ) >= numComponentTypes ) {
         return "no component has the type of a word";
      }
      if ( word.byteLength() == 8 ) {
         return "a word has a value of 8 bytes";
      }
      if ( word.byteLength() == 4 && ++index == words.size() ) {
         return "the second word of a 4-byte value is missing";
      }
   }
   return {};
}

} // namespace

std::size_t logSize( const FlowspecKey& key ) {
   return 60 + 6 * std::size_t{ key.matchOpVals() } + 2 + 2 * std::size_t{ key.interfaceSets() };
}

void logWrite( Vek::LogWriter& out, const FlowspecKey& key ) {
   const std::span< const U64 > words = key.matchOpVal().packed();
   if ( !words.empty() && words.back() >> 32 == endOfWords ) {
      throw Vek::DefaultKeyException( FlowspecKey::typeName, "matchOpVal" );
   }
   out.u32( key.vrfId() );
   out.u32( static_cast< U8 >( key.addressFamily() ) );
   logWrite( out, key.destPrefix() );
   logWrite( out, key.srcPrefix() );
   for ( const U64 word : words ) {
      out.u16( static_cast< U16 >( word >> 32 ) );
      out.u32( static_cast< U32 >( word ) );
   }
   out.u16( endOfWords );
   out.u32( key.interfaceSets() );
   for ( const U16 id : key.interfaceSet() ) {
      out.u16( id );
   }
}

void logRead( Vek::LogReader& in, FlowspecKey& key ) {
   FlowspecKey read;
   read.vrfIdIs( in.u32() );
   read.addressFamilyIs( static_cast< Zorv::AddressFamily >( static_cast< U8 >( in.u32() ) ) );
   Zorv::IpGenPrefix prefix;
   logRead( in, prefix );
   read.destPrefixIs( prefix );
   logRead( in, prefix );
   read.srcPrefixIs( prefix );
   for ( U32 next = 0;; ) {
      const MatchOpValIndex index( in.u16() );
      if ( index.value() == endOfWords ) {
         break;
      }
      if ( index.value() < next && in.checked() ) {
         in.fail( "the words are not in the order of their indices" );
      }
      next = index.value() + 1U;
      read.matchOpValIs( index, MatchOpVal( in.u32() ) );
   }
   for ( U32 left = in.count( 2 ); left > 0; --left ) {
      read.interfaceSetPush( in.u16() );
   }
   if ( in.checked() ) {
      if ( const std::string_view reason = flaw( read ); !reason.empty() ) {
         in.fail( reason );
      }
   }
   key = std::move( read );
}

} // namespace Flowspec
