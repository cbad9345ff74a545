#include "Flowspec/key/FlowspecKey.h"
#include "Vek/types/TypeInfo.h"

#include <algorithm>

namespace Flowspec {

static_assert( Vek::listsRows< FlowspecKey, 29 > );

namespace {

constexpr U16 endOfWords = MatchOpValIndex::max();
constexpr std::size_t wordSize = 6;

// Why a key with words that was received could not be walked or printed; empty when it can.
std::string_view flaw( const FlowspecKey& key ) {
   const std::span< const U64 > words = key.matchOpVal().packed();
   const bool dense = words.back() >> 32 == words.size() - 1;
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

// A word with its index is the packed member as a number of 6 bytes. Something always follows
// it, so it can be read and written as one of 8 bytes.
U64 memberAt( const U8* at ) { return Osk::loadBig64( at ) >> 16; }
void writeMember( U8* at, U64 member ) { Osk::storeBig64( at, member << 16 ); }

// Whether a key with such words at dense indices could have a flaw. `bits` has the bits of all
// words, and of all with so much added to their types that the unknown ones have a bit above 3 set.
static_assert( numComponentTypes <= 16 );
constexpr U32 toSixteen = U32{ 16 - numComponentTypes } << 24;
bool isSuspect( U32 bits ) {
   constexpr U32 typeBits = 0xF0U << 24;
   constexpr U32 fourBytesOrMore = 0x20U << 16;
   return bits & ( typeBits | fourBytesOrMore );
}

// Returns whether the words need no further look.
bool readWords( Vek::LogReader& in, TermWords& words ) {
   const U8* const begin = in.next();
   const auto indexAt = [=]( std::size_t i ) { return Osk::loadBig16( begin + i * wordSize ); };
   const std::size_t most = in.left() < 2 ? 0 : ( in.left() - 2 ) / wordSize;
   const auto mostDense = static_cast< U32 >( std::min< std::size_t >( most, endOfWords ) );
   U32 dense = 0;
   while ( dense < mostDense && indexAt( dense ) == dense ) {
      ++dense;
   }
   std::size_t count = dense;
   while ( count < most && indexAt( count ) != endOfWords ) {
      ++count;
   }
   const U8* at = in.take( count * wordSize );
   U64* const members = words.assign( dense );
   U32 bits = 0;
   for ( U32 i = 0; i < dense; ++i, at += wordSize ) {
      members[i] = memberAt( at );
      const auto word = static_cast< U32 >( members[i] );
      bits |= word | ( word + toSixteen );
   }
   U32 next = dense;
   for ( ; at != in.next(); at += wordSize ) {
      const U64 member = memberAt( at );
      const MatchOpValIndex index( static_cast< U32 >( member >> 32 ) );
      if ( index.value() < next && in.checked() ) {
         in.fail( "the words are not in the order of their indices" );
      }
      next = index.value() + 1U;
      words.set( index, MatchOpVal( static_cast< U32 >( member ) ) );
   }
   if ( in.u16() != endOfWords ) {
      in.fail( "the words do not end" );
   }
   return count == dense && !isSuspect( bits );
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
   U8* at = out.take( wordSize * words.size() );
   for ( const U64 word : words ) {
      writeMember( at, word );
      at += wordSize;
   }
   out.u16( endOfWords );
   out.u32( key.interfaceSets() );
   for ( const U16 id : key.interfaceSet() ) {
      out.u16( id );
   }
}

void logRead( Vek::LogReader& in, FlowspecKey& key ) {
   FlowspecKey::Head& head = key.head_;
   head.vrfId = in.u32();
   head.addressFamily = static_cast< Zorv::AddressFamily >( static_cast< U8 >( in.u32() ) );
   logRead( in, head.destPrefix );
   head.destPrefixHash = FlowspecKey::prefixHash( head.destPrefix );
   logRead( in, head.srcPrefix );
   head.srcPrefixHash = FlowspecKey::prefixHash( head.srcPrefix );
   const bool plain = readWords( in, key.words_ );
   key.interfaceSetPopAll();
   const U32 sets = in.count( 2 );
   const U8* id = in.take( 2 * std::size_t{ sets } );
   for ( U32 i = 0; i < sets; ++i, id += 2 ) {
      key.interfaceSetPush( Osk::loadBig16( id ) );
   }
   if ( in.checked() && !plain ) {
      if ( const std::string_view reason = flaw( key ); !reason.empty() ) {
         in.fail( reason );
      }
   }
}

} // namespace Flowspec
