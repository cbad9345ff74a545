#include "tests/wire/PlainNlri.h"

#include <algorithm>

namespace TestSupport {

namespace {

using Zorv::AddressFamily;

// Thrown to stop at the fault.
struct Fault {
   std::string code;
};

class Decoder {
public:
   Decoder( const std::vector< U8 >& octets, Wire::NlriFormat format )
      : octets_( octets ), format_( format ), end_( octets.size() ) {}

   void decode( bool single, PlainNlri& nlri ) {
      if ( left() == 0 ) {
         throw Fault{ "length-truncated" };
      }
      std::size_t length = take();
      std::size_t lengthSize = 1;
      if ( length >= 240 ) {
         if ( left() == 0 ) {
            throw Fault{ "length-truncated" };
         }
         length = ( length - 240 ) * 256 + take();
         lengthSize = 2;
         if ( length < 240 ) {
            nlri.remarks.push_back( "length-form" );
         }
      }
      if ( length > left() ) {
         throw Fault{ "length-mismatch" };
      }
      if ( single && length < left() ) {
         nlri.remarks.push_back( "trailing-octets" );
      }
      end_ = at_ + length;
      nlri.size = lengthSize + length;
      if ( format_.vpn ) {
         if ( length < 8 ) {
            throw Fault{ "rd-truncated" };
         }
         for ( int i = 0; i < 8; ++i ) {
            nlri.rd = nlri.rd * 256 + take();
         }
         if ( nlri.rd / 0x1000000000000 > 2 ) {
            nlri.remarks.push_back( "rd-type" );
         }
      }
      if ( left() == 0 ) {
         throw Fault{ "empty" };
      }
      bool representable = true;
      while ( left() != 0 ) {
         component( nlri, representable );
      }
      if ( !representable ) {
         throw Fault{ "unrepresentable" };
      }
   }

private:
   std::size_t left() const { return end_ - at_; }
   U8 take() { return octets_.at( at_++ ); }

   bool ipv6() const { return format_.family == AddressFamily::ipv6; }

   void component( PlainNlri& nlri, bool& representable ) {
      const unsigned type = take();
      if ( type < 1 || type > ( ipv6() ? 13U : 12U ) ) {
         throw Fault{ "unknown-type" };
      }
      if ( !nlri.components.empty() ) {
         const unsigned before = nlri.components.back().type;
         if ( before == type ) {
            throw Fault{ "duplicate-type" };
         }
         if ( before > type ) {
            throw Fault{ "type-order" };
         }
      }
      nlri.components.push_back( {} );
      nlri.components.back().type = type;
      if ( type <= 2 ) {
         prefix( nlri, representable );
         return;
      }
      for ( ;; ) {
         if ( left() == 0 ) {
            throw Fault{ nlri.components.back().terms.empty() ? "truncated" : "no-end-of-list" };
         }
         const U8 op = term( nlri, type );
         if ( nlri.components.back().terms.back().value > 0xFFFFFFFF ) {
            representable = false;
         }
         if ( op & 0x80 ) {
            break;
         }
      }
   }

   void prefix( PlainNlri& nlri, bool& representable ) {
      PlainNlri::Component& component = nlri.components.back();
      if ( left() == 0 ) {
         throw Fault{ "truncated" };
      }
      component.length = take();
      if ( !ipv6() && component.length > 32 ) {
         throw Fault{ "prefix-range" };
      }
      if ( ipv6() ) {
         if ( left() == 0 ) {
            throw Fault{ "truncated" };
         }
         component.offset = take();
         const bool bothZero = component.length == 0 && component.offset == 0;
         const bool inside = component.offset < component.length && component.length < 129;
         if ( !bothZero && !inside ) {
            throw Fault{ "prefix-range" };
         }
         if ( component.offset != 0 ) {
            representable = false;
         }
      }
      const unsigned bits = component.length - component.offset;
      bool padded = false;
      for ( unsigned first = 0; first < bits; first += 8 ) {
         if ( left() == 0 ) {
            throw Fault{ "truncated" };
         }
         U8 octet = take();
         for ( unsigned bit = first; bit < first + 8; ++bit ) {
            const U8 mask = static_cast< U8 >( 0x80 >> ( bit % 8 ) );
            if ( bit >= bits && ( octet & mask ) ) {
               octet = static_cast< U8 >( octet - mask );
               padded = true;
            }
         }
         component.pattern.push_back( octet );
      }
      if ( padded ) {
         nlri.remarks.push_back( "prefix-padding" );
      }
   }

   U8 term( PlainNlri& nlri, unsigned type ) {
      const bool flags = type == 9 || type == 12;
      std::vector< PlainNlri::Term >& terms = nlri.components.back().terms;
      U8 op = take();
      if ( terms.empty() && ( op & 0x40 ) ) {
         nlri.remarks.push_back( "first-and" );
         op = static_cast< U8 >( op - 0x40 );
      }
      const U8 reserved = flags ? 0x0C : 0x08;
      if ( op & reserved ) {
         nlri.remarks.push_back( "reserved-op-bits" );
         op = static_cast< U8 >( op & ~reserved );
      }
      const unsigned size = 1U << ( ( op & 0x30 ) >> 4 );
      if ( left() < size ) {
         throw Fault{ "truncated" };
      }
      U64 value = 0;
      for ( unsigned i = 0; i < size; ++i ) {
         value = value * 256 + take();
      }
      if ( ( type == 9 && size > 2 ) || ( ( type == 11 || type == 12 ) && size > 1 ) ) {
         throw Fault{ "value-length" };
      }
      const bool oneOctet = type == 3 || type == 7 || type == 8;
      const bool upToTwo = type == 4 || type == 5 || type == 6 || type == 10;
      if ( ( oneOctet && size > 1 ) || ( upToTwo && size > 2 ) || ( type == 13 && size != 4 ) ) {
         nlri.remarks.push_back( "value-length-should" );
      }
      if ( ( oneOctet && value > 255 ) || ( upToTwo && value > 65535 ) ||
           ( type == 13 && value > 0xFFFFF ) ) {
         nlri.remarks.push_back( "value-range" );
      }
      const U64 unused = type == 9    ? 0xF000
                         : type == 11 ? 0xC0
                         : type == 12 ? ( ipv6() ? 0xF1 : 0xF0 )
                                      : 0;
      if ( value & unused ) {
         nlri.remarks.push_back( "reserved-value-bits" );
      }
      terms.push_back( { op, size, value } );
      return op;
   }

   const std::vector< U8 >& octets_;
   const Wire::NlriFormat format_;
   std::size_t at_ = 0;
   std::size_t end_;
};

} // namespace

PlainNlri plainDecode( const std::vector< U8 >& octets, Wire::NlriFormat format, bool single ) {
   PlainNlri nlri;
   try {
      Decoder( octets, format ).decode( single, nlri );
   } catch ( const Fault& fault ) {
      nlri.code = fault.code;
   }
   return nlri;
}

Flowspec::FlowspecKey plainKey( const PlainNlri& nlri, Wire::NlriFormat format ) {
   Flowspec::FlowspecKey key;
   key.addressFamilyIs( format.family );
   for ( const PlainNlri::Component& component : nlri.components ) {
      if ( component.type <= 2 ) {
         U8 bytes[16] = {};
         std::ranges::copy( component.pattern, bytes );
         const Zorv::IpGenPrefix prefix(
            Zorv::IpGenAddr::ofFamily( format.family, bytes, component.length ), component.length );
         if ( component.type == 1 ) {
            key.destPrefixIs( prefix );
         } else {
            key.srcPrefixIs( prefix );
         }
         continue;
      }
      for ( const PlainNlri::Term& term : component.terms ) {
         unsigned op = term.op;
         if ( term.size == 8 ) {
            const unsigned code = component.type == 13 || term.value > 0xFFFF ? 2
                                  : term.value > 0xFF                         ? 1
                                                                              : 0;
            op = ( op & ~0x30U ) | code << 4;
         }
         key.setOpVal( key.matchOpVals(), static_cast< Flowspec::MatchCompType >( component.type ),
                       static_cast< U8 >( op ), static_cast< U32 >( term.value ) );
      }
   }
   return key;
}

} // namespace TestSupport
