#include "Flowspec/key/FlowspecKey.h"

#include "Osk/Assert.h"
#include "Osk/Bytes.h"
#include "Osk/HashMix.h"

#include <algorithm>
#include <utility>

namespace Flowspec {

static_assert( sizeof( FlowspecKey ) <= 160 );

FlowspecKey::FlowspecKey( const Vek::String& ) {
   OSK_ASSERT( false, "\"No String constructor for FlowspecKey - has collection\" == nullptr" );
}

FlowspecKey::FlowspecKey( FlowspecKey&& other ) noexcept
   : head_( std::exchange( other.head_, Head() ) ), words_( std::move( other.words_ ) ),
     interfaceSets_( std::move( other.interfaceSets_ ) ) {}

FlowspecKey& FlowspecKey::operator=( FlowspecKey&& other ) noexcept {
   if ( this != &other ) {
      head_ = std::exchange( other.head_, Head() );
      words_ = std::move( other.words_ );
      interfaceSets_ = std::move( other.interfaceSets_ );
   }
   return *this;
}

MatchOpVal FlowspecKey::matchOpVal( MatchOpValIndex index ) const {
   return matchOpValGet( index ).value_or( MatchOpVal() );
}

std::optional< MatchOpVal > FlowspecKey::matchOpValGet( MatchOpValIndex index ) const {
   const U64* const member = words_.find( index );
   return member ? std::optional( MatchOpVal( static_cast< U32 >( *member ) ) ) : std::nullopt;
}

U32 FlowspecKey::setOpVal( MatchOpValIndex index, MatchCompType type, U8 op, U32 value ) {
   OSK_ASSERT( ( op & OpBits::len ) != OpBits::len, "byteLength < 8" );
   const auto next = trySetOpVal( index, type, op, value );
   if ( !next ) {
      MatchOpValIndex::throwOutOfRange();
   }
   return *next;
}

MatchOpValResult FlowspecKey::getOptVal( MatchOpValIndex index ) const {
   if ( index.value() >= words_.size() ) {
      return MatchOpValResult();
   }
   const U32 next = index.value() + 1U;
   const U64* const member = words_.find( index );
   if ( !member ) {
      return MatchOpValResult( invalid, 0, 0, MatchOpValIndex( next ) );
   }
   const MatchOpVal word( static_cast< U32 >( *member ) );
   if ( word.byteLength() < 4 ) [[likely]] {
      return MatchOpValResult( word.matchType(), word.op(), word.val(), MatchOpValIndex( next ) );
   }
   OSK_ASSERT( word.byteLength() < 8, "byteLength < 8" );
   const MatchOpValIndex second( next );
   OSK_ASSERT( second.value() < matchOpVals(), "index < matchOpVals()" );
   const U32 val32 = U32{ word.val() } << 16 | matchOpVal( second ).val();
   return MatchOpValResult( word.matchType(), word.op(), val32, MatchOpValIndex( next + 1 ) );
}

bool FlowspecKey::compare( const FlowspecKey& other, bool skipIntfSet ) const {
   // Most keys have all that they hold in place, and are compared at once.
   if ( Osk::sameBytes< sizeof( FlowspecKey ) >( this, &other ) ) {
      return true;
   }
   if ( !skipIntfSet && words_.isInPlace() && other.words_.isInPlace() &&
        interfaceSets_.isInPlace() && other.interfaceSets_.isInPlace() ) {
      return false;
   }
   return Osk::sameBytes( &head_, &other.head_, sizeof head_ ) && words_ == other.words_ &&
          ( skipIntfSet || interfaceSets_ == other.interfaceSets_ );
}

int FlowspecKey::cmpPrefix( const Zorv::IpGenPrefix& a, const Zorv::IpGenPrefix& b ) {
   if ( a == b ) {
      return 0;
   }
   if ( a.empty() || b.empty() ) {
      return a.empty() ? 1 : -1;
   }
   return a < b ? -1 : 1;
}

namespace {

int threeWay( auto a, auto b ) { return a < b ? -1 : a > b; }

// The attributes before the words.
int compareHeads( const FlowspecKey& a, const FlowspecKey& b ) {
   if ( a.vrfId() != b.vrfId() ) {
      return threeWay( a.vrfId(), b.vrfId() );
   }
   if ( a.addressFamily() != b.addressFamily() ) {
      return threeWay( a.addressFamily(), b.addressFamily() );
   }
   if ( const int order = FlowspecKey::cmpPrefix( a.destPrefix(), b.destPrefix() ) ) {
      return order;
   }
   return FlowspecKey::cmpPrefix( a.srcPrefix(), b.srcPrefix() );
}

// The words that both keys have, pairwise.
int compareCommonWords( const FlowspecKey& a, const FlowspecKey& b ) {
   const auto wordsA = a.matchOpVal().packed();
   const auto wordsB = b.matchOpVal().packed();
   const std::size_t common = std::min( wordsA.size(), wordsB.size() );
   for ( std::size_t i = 0; i < common; ++i ) {
      if ( wordsA[i] != wordsB[i] ) {
         return threeWay( wordsA[i], wordsB[i] );
      }
   }
   return 0;
}

// Lexicographic, but a list that extends another comes before it.
int compareInterfaceSets( const FlowspecKey& a, const FlowspecKey& b ) {
   const auto& setsA = a.interfaceSet();
   const auto& setsB = b.interfaceSet();
   const U32 common = std::min( setsA.size(), setsB.size() );
   for ( U32 i = 0; i < common; ++i ) {
      if ( setsA.data()[i] != setsB.data()[i] ) {
         return threeWay( setsA.data()[i], setsB.data()[i] );
      }
   }
   return threeWay( setsB.size(), setsA.size() );
}

} // namespace

bool FlowspecKey::operator<( const FlowspecKey& other ) const {
   if ( const int order = compareHeads( *this, other ) ) {
      return order < 0;
   }
   if ( const int order = compareCommonWords( *this, other ) ) {
      return order < 0;
   }
   if ( matchOpVals() > other.matchOpVals() ) {
      return true;
   }
   return compareInterfaceSets( *this, other ) < 0;
}

int FlowspecKeyOrder::compare( const FlowspecKey& a, const FlowspecKey& b ) {
   if ( const int order = compareHeads( a, b ) ) {
      return order;
   }
   if ( const int order = compareCommonWords( a, b ) ) {
      return order;
   }
   if ( a.matchOpVals() != b.matchOpVals() ) {
      return threeWay( b.matchOpVals(), a.matchOpVals() );
   }
   return compareInterfaceSets( a, b );
}

U32 FlowspecKey::prefixHash( const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      return 0;
   }
   const Zorv::IpGenAddr& address = prefix.address();
   U32 x = prefix.family() == Zorv::AddressFamily::ipv4 ? address.ipv4Value() : address.hash();
   x ^= prefix.length();
   x = x * 32767 - 1;
   x = ( x ^ ( x >> 12 ) ) * 5;
   x = ( x ^ ( x >> 4 ) ) * 2057;
   return x ^ ( x >> 16 );
}

U32 FlowspecKey::hash() const {
   Osk::HashMix mix;
   mix.mixSmall( U64{ head_.vrfId } | static_cast< U64 >( head_.addressFamily ) << 32,
                 U64{ head_.destPrefixHash } | U64{ head_.srcPrefixHash } << 32 );
   const auto words = words_.packed();
   const U64* word = words.data();
   const U64* const end = word + words.size();
   if ( words.size() % 2 == 1 ) {
      mix.mixSmall( *word++, 0 );
   }
   for ( ; word != end; word += 2 ) {
      mix.mixSmall( word[0], word[1] );
   }
   if ( !interfaceSets_.empty() ) [[unlikely]] {
      for ( const U16 id : interfaceSets_ ) {
         mix.mix( id );
      }
   }
   return mix.value();
}

} // namespace Flowspec
