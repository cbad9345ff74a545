#include "Flowspec/key/FlowspecKey.h"

#include "Osk/Endian.h"

namespace Flowspec {

namespace {

__extension__ using U128 = unsigned __int128;

// The beginning of a string of bits, 128 of them. Attributes are appended in the order in which
// keys are compared, each as a code of which none begins another and that orders as the attribute
// does; so the strings order as the keys do, and so do their beginnings. What is frequent in rules
// has a short code, so that as many attributes as possible find room.
class OrderedBits {
public:
   bool full() const { return used_ == size; }

   // Appends the `count` low bits of `value`, 48 at the most; the others are 0.
   void put( U64 value, int count ) {
      if ( used_ + count <= size ) [[likely]] {
         bits_ = bits_ << count | value;
         used_ += count;
      } else {
         bits_ = bits_ << ( size - used_ ) | value >> ( used_ + count - size );
         used_ = size;
      }
   }

   // 0 after what was appended, which is not nothing.
   Vek::KeyPrefix value() const {
      const U128 bits = bits_ << ( size - used_ );
      return { static_cast< U64 >( bits >> 64 ), static_cast< U64 >( bits ) };
   }

private:
   static constexpr int size = 128;

   U128 bits_ = 0;
   int used_ = 0;
};

void putVrf( OrderedBits& bits, Vrf::VrfIdMap::VrfId id ) {
   if ( id < 1U << 7 ) {
      bits.put( id, 8 );
   } else if ( id < 1U << 14 ) {
      bits.put( U64{ 0b10 } << 14 | id, 16 );
   } else if ( id < Vrf::VrfIdMap::invalid() ) {
      bits.put( U64{ 0b110 } << 24 | id, 27 );
   } else if ( id == Vrf::VrfIdMap::invalid() ) {
      bits.put( 0b1110, 4 );
   } else {
      bits.put( U64{ 0b1111 } << 32 | id, 36 );
   }
}

void putFamily( OrderedBits& bits, Zorv::AddressFamily family ) {
   const U8 number = static_cast< U8 >( family );
   if ( number < 3 ) {
      bits.put( number, 2 );
   } else {
      bits.put( U64{ 3 } << 8 | number, 10 );
   }
}

OrderedBits withIpv6Prefix( OrderedBits bits, const Zorv::IpGenPrefix& prefix ) {
   bits.put( 1, 2 );
   const auto& bytes = prefix.address().bytes();
   for ( std::size_t i = 0; i < bytes.size() && !bits.full(); i += 2 ) {
      const U64 group = U64{ bytes[i] } << 8 | bytes[i + 1];
      group == 0 ? bits.put( 0, 1 ) : bits.put( U64{ 1 } << 16 | group, 17 );
   }
   bits.put( prefix.length(), 8 );
   return bits;
}

inline void putPrefix( OrderedBits& bits, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      bits.put( 1, 1 );
   } else if ( prefix.family() == Zorv::AddressFamily::ipv4 ) [[likely]] {
      const U64 address = Osk::loadBig32( prefix.address().bytes().data() );
      bits.put( address << 6 | prefix.length(), 2 + 32 + 6 );
   } else {
      bits = withIpv6Prefix( bits, prefix );
   }
}

// A word whose index is its place, as in all keys without gaps, takes no room for the index.
void putWord( OrderedBits& bits, U64 member, std::size_t place ) {
   if ( member >> 32 != place ) {
      bits.put( 0b10, 2 );
      bits.put( member, 48 );
      return;
   }
   const MatchOpVal word( static_cast< U32 >( member ) );
   const U64 type = static_cast< U8 >( word.matchType() );
   if ( type > 14 ) {
      bits.put( 0b01111, 5 );
      bits.put( word.storage(), 32 );
      return;
   }
   const U64 typeAndOp = type << 8 | word.op();
   if ( ( word.op() & OpBits::len ) != 0 ) {
      bits.put( typeAndOp << 16 | word.val(), 13 + 16 );
   } else if ( word.val() <= 0xFF ) {
      bits.put( typeAndOp << 9 | word.val(), 13 + 9 );
   } else {
      bits.put( typeAndOp << 17 | U64{ 1 } << 16 | word.val(), 13 + 17 );
   }
}

} // namespace

Vek::KeyPrefix FlowspecKeyOrder::keyPrefix( const FlowspecKey& key ) {
   OrderedBits bits;
   putVrf( bits, key.vrfId() );
   putFamily( bits, key.addressFamily() );
   putPrefix( bits, key.destPrefix() );
   putPrefix( bits, key.srcPrefix() );
   const auto words = key.matchOpVal().packed();
   for ( std::size_t i = 0; i < words.size(); ++i ) {
      if ( bits.full() ) {
         return bits.value();
      }
      putWord( bits, words[i], i );
   }
   bits.put( 0b11, 2 );
   for ( const U16 id : key.interfaceSet() ) {
      bits.put( id, 17 );
   }
   bits.put( 1, 1 );
   return bits.value();
}

} // namespace Flowspec
