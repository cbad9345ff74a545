#include "Flowspec/key/FlowspecKey.h"

namespace Flowspec {

namespace {

constexpr U16 endOfWords = MatchOpValIndex::max();
constexpr std::size_t wordSize = 6;

// Why a key that was received could not be walked or printed; empty when it can.
std::string_view flaw( const FlowspecKey& key ) {
   const std::span< const U64 > words = key.matchOpVal().packed();
   const bool dense = words.empty() || words.back() >> 32 == words.size() - 1;
   for ( U32 index = 0; index < words.size(); ++index ) {
      const MatchOpVal word =
         dense ? MatchOpVal( static_cast< U32 >( words[index] ) ) : key.matchOpVal( index );
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

void readWords( Vek::LogReader& in, FlowspecKey& key ) {
   key.matchOpValDelAll();
   const U8* const begin = in.next();
   std::size_t words = 0;
   while ( words < in.left() / wordSize &&
           Osk::loadBig16( begin + words * wordSize ) != endOfWords ) {
      ++words;
   }
   const U8* word = in.take( words * wordSize );
   for ( U32 next = 0; word != in.next(); word += wordSize ) {
      const MatchOpValIndex index( Osk::loadBig16( word ) );
      if ( index.value() < next && in.checked() ) {
         in.fail( "the words are not in the order of their indices" );
      }
      next = index.value() + 1U;
      key.matchOpValIs( index, MatchOpVal( Osk::loadBig32( word + 2 ) ) );
   }
   if ( in.u16() != endOfWords ) {
      in.fail( "the words do not end" );
   }
}

} // namespace

std::size_t logSize( const FlowspecKey& key ) {
   return 60 + wordSize * std::size_t{ key.matchOpVals() } + 2 +
          2 * std::size_t{ key.interfaceSets() };
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
   key.vrfIdIs( in.u32() );
   key.addressFamilyIs( static_cast< Zorv::AddressFamily >( static_cast< U8 >( in.u32() ) ) );
   Zorv::IpGenPrefix prefix;
   logRead( in, prefix );
   key.destPrefixIs( prefix );
   logRead( in, prefix );
   key.srcPrefixIs( prefix );
   readWords( in, key );
   key.interfaceSetPopAll();
   const U32 sets = in.count( 2 );
   const U8* id = in.take( 2 * std::size_t{ sets } );
   for ( U32 i = 0; i < sets; ++i, id += 2 ) {
      key.interfaceSetPush( Osk::loadBig16( id ) );
   }
   if ( in.checked() ) {
      if ( const std::string_view reason = flaw( key ); !reason.empty() ) {
         in.fail( reason );
      }
   }
}

} // namespace Flowspec
