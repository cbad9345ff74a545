#include "wire/NlriDecoder.h"

#include "wire/TermRules.h"

#include <algorithm>

namespace Wire {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;
using Result = std::optional< Rejection >;

constexpr U32 rdSize = 8;

class Decoder {
public:
   Decoder( std::span< const U8 > octets, NlriFormat format, Nlri& nlri )
      : first_( octets.data() ), at_( first_ ), end_( first_ + octets.size() ), nlri_( nlri ),
        rules_( termRules( format.family ) ), format_( format ) {}

   Result readFrame( bool single );
   Result readDistinguisher();
   Result readComponents();

private:
   std::size_t left() const { return static_cast< std::size_t >( end_ - at_ ); }
   U16 offsetOf( const U8* octet ) const { return static_cast< U16 >( octet - first_ ); }

   // Kept out of the way of what is usual.
   [[gnu::noinline, gnu::cold]] Rejection reject( RejectionCode code, const U8* where,
                                                  const char* pattern, U32 a = 0, U32 b = 0,
                                                  U32 c = 0 ) const {
      return { code, offsetOf( where ), pattern, { a, b, c } };
   }
   [[gnu::noinline, gnu::cold]] void remark( RemarkCode code, const U8* where, U8 type = 0 ) {
      nlri_.remarks.push( { code, type, offsetOf( where ) } );
   }
   void cannotHold( const U8* where, const char* pattern, U8 type ) {
      if ( !unrepresentable_ ) {
         unrepresentable_ = reject( RejectionCode::unrepresentable, where, pattern, type );
      }
   }

   Result badType( U8 type, U8 previous ) const;
   Result readPrefix( U8 type );
   Result readTerms( U8 type );
   void remarkValue( U8 type, const U8* op, U8 length, U64 value );
   U64 takeValue( unsigned size );

   const U8* const first_;
   const U8* at_;
   const U8* end_;
   Nlri& nlri_;
   const TermRuleTable& rules_;
   const NlriFormat format_;
   U32 index_ = 0;
   Result unrepresentable_;
};

Result Decoder::readFrame( bool single ) {
   if ( left() == 0 ) {
      return reject( RejectionCode::lengthTruncated, at_, "the length field is missing" );
   }
   U32 length = *at_++;
   if ( length >= 0xF0 ) {
      if ( left() == 0 ) {
         return reject( RejectionCode::lengthTruncated, at_,
                        "the second octet of the length field is missing" );
      }
      length = ( length & 0x0F ) << 8 | *at_++;
      if ( length < 0xF0 ) {
         remark( RemarkCode::lengthForm, first_ );
      }
   }
   if ( length > left() ) {
      return reject( RejectionCode::lengthMismatch, first_,
                     "the length field says # octets, # follow", length,
                     static_cast< U32 >( left() ) );
   }
   if ( single && length < left() ) {
      remark( RemarkCode::trailingOctets, at_ + length );
   }
   end_ = at_ + length;
   nlri_.octets = { first_, end_ };
   return std::nullopt;
}

Result Decoder::readDistinguisher() {
   if ( left() < rdSize ) {
      return reject( RejectionCode::rdTruncated, end_,
                     "the route distinguisher needs # octets, # are left", rdSize,
                     static_cast< U32 >( left() ) );
   }
   nlri_.rd = Zorv::RouteDistinguisher( Osk::loadBig64( at_ ) );
   if ( nlri_.rd.type() > 2 ) {
      remark( RemarkCode::rdType, at_ );
   }
   at_ += rdSize;
   return std::nullopt;
}

Result Decoder::badType( U8 type, U8 previous ) const {
   const bool known = type != 0 && type < numComponentTypes &&
                      ( type <= static_cast< U8 >( srcPrefix ) || rules_[type].allowedLengths );
   if ( !known ) {
      return reject( RejectionCode::unknownType, at_,
                     format_.family == AddressFamily::ipv4
                        ? "component type # is not assigned for IPv4"
                        : "component type # is not assigned for IPv6",
                     type );
   }
   if ( type == previous ) {
      return reject( RejectionCode::duplicateType, at_, "component type # occurs twice", type );
   }
   if ( type < previous ) {
      return reject( RejectionCode::typeOrder, at_,
                     "component type # after #: the types must ascend", type, previous );
   }
   return std::nullopt;
}

Result Decoder::readComponents() {
   if ( left() == 0 ) {
      return reject( RejectionCode::empty, at_, "the rule has no component" );
   }
   const U8 lastType = static_cast< U8 >(
      format_.family == AddressFamily::ipv6 ? flowLabel : MatchCompType::fragment );
   U8 previous = 0;
   while ( left() != 0 ) {
      const U8 type = *at_;
      if ( type <= previous || type > lastType ) [[unlikely]] {
         return badType( type, previous );
      }
      ++at_;
      previous = type;
      Result result =
         type <= static_cast< U8 >( srcPrefix ) ? readPrefix( type ) : readTerms( type );
      if ( result ) [[unlikely]] {
         return result;
      }
   }
   return unrepresentable_;
}

Result Decoder::readPrefix( U8 type ) {
   const bool ipv6 = format_.family == AddressFamily::ipv6;
   const U8* const at = at_;
   if ( left() == 0 ) {
      return reject( RejectionCode::truncated, end_,
                     "component type #: the prefix length is missing", type );
   }
   const unsigned length = *at_++;
   unsigned offset = 0;
   if ( ipv6 ) {
      if ( left() == 0 ) {
         return reject( RejectionCode::truncated, end_,
                        "component type #: the prefix offset is missing", type );
      }
      offset = *at_++;
      if ( length > 128 || ( offset >= length && offset != 0 ) ) {
         return reject( RejectionCode::prefixRange, at,
                        "component type #: prefix length # with offset #: the length must be at "
                        "most 128 and above the offset, or both 0",
                        type, length, offset );
      }
   } else if ( length > 32 ) {
      return reject( RejectionCode::prefixRange, at,
                     "component type #: prefix length # is above 32", type, length );
   }
   const unsigned bits = length - offset;
   const unsigned size = ( bits + 7 ) / 8;
   if ( left() < size ) {
      return reject( RejectionCode::truncated, end_,
                     "component type #: the prefix needs # octets, # are left", type, size,
                     static_cast< U32 >( left() ) );
   }
   // Padding is what the last octet has beside the prefix.
   if ( bits % 8 != 0 && ( at_[size - 1] & 0xFF >> bits % 8 ) ) {
      remark( RemarkCode::prefixPadding, at_ + size - 1, type );
   }
   if ( offset != 0 ) {
      cannotHold( at + 1, "component type #: no rule key holds a prefix with an offset", type );
   } else {
      U8 bytes[16] = {};
      std::copy_n( at_, size, bytes );
      const Zorv::IpGenPrefix prefix( Zorv::IpGenAddr::ofFamily( format_.family, bytes, length ),
                                      length );
      if ( type == static_cast< U8 >( destPrefix ) ) {
         nlri_.key.destPrefixIs( prefix );
      } else {
         nlri_.key.srcPrefixIs( prefix );
      }
   }
   at_ += size;
   return std::nullopt;
}

U64 Decoder::takeValue( unsigned size ) {
   const U8* const value = at_;
   at_ += size;
   switch ( size ) {
   case 1:
      return *value;
   case 2:
      return Osk::loadBig16( value );
   case 4:
      return Osk::loadBig32( value );
   default:
      return Osk::loadBig64( value );
   }
}

void Decoder::remarkValue( U8 type, const U8* op, U8 length, U64 value ) {
   const TermRules& rules = rules_[type];
   if ( !( rules.expectedLengths >> length & 1 ) ) {
      remark( RemarkCode::valueLengthShould, op, type );
   }
   if ( value & ~U64{ rules.fieldBits } ) {
      const bool flags =
         isBitmask( static_cast< MatchCompType >( type ) ) || type == static_cast< U8 >( dscp );
      remark( flags ? RemarkCode::reservedValueBits : RemarkCode::valueRange, op + 1, type );
   }
}

Result Decoder::readTerms( U8 type ) {
   const TermRules& rules = rules_[type];
   U8 ignored = rules.reservedOpBits | OpBits::andPrevious; // until the first term is read
   for ( bool more = true; more; ) {
      if ( left() == 0 ) {
         return ignored & OpBits::andPrevious
                   ? reject( RejectionCode::truncated, end_,
                             "component type #: the operator is missing", type )
                   : reject( RejectionCode::noEndOfList, end_,
                             "component type #: the last term does not have the end-of-list bit",
                             type );
      }
      const U8* const at = at_++;
      U8 op = *at;
      if ( op & ignored ) [[unlikely]] {
         if ( op & ignored & OpBits::andPrevious ) {
            remark( RemarkCode::firstAnd, at, type );
         }
         if ( op & rules.reservedOpBits ) {
            remark( RemarkCode::reservedOpBits, at, type );
         }
         op = static_cast< U8 >( op & ~ignored );
      }
      ignored = rules.reservedOpBits;
      more = !( op & OpBits::endOfList );
      U8 length = ( op & OpBits::len ) >> 4;
      const unsigned size = 1U << length;
      if ( left() < size ) [[unlikely]] {
         return reject( RejectionCode::truncated, end_,
                        "component type #: the value needs # octets, # are left", type, size,
                        static_cast< U32 >( left() ) );
      }
      const U64 value = takeValue( size );
      if ( !( rules.expectedLengths >> length & 1 ) || value & ~U64{ rules.fieldBits } )
         [[unlikely]] {
         if ( !( rules.allowedLengths >> length & 1 ) ) {
            return reject( RejectionCode::valueLength, at,
                           "component type # must not have values of # octets", type, size );
         }
         remarkValue( type, at, length, value );
         if ( value > ~U32{ 0 } ) {
            cannotHold( at + 1, "component type #: no rule key holds a value above 4294967295",
                        type );
            continue;
         }
         if ( length == 3 ) {
            length = *rules.shortest( static_cast< U32 >( value ) );
            op = static_cast< U8 >( ( op & ~OpBits::len ) | length << 4 );
         }
      }
      // 4095 octets hold no more than the 2047 words of a key.
      index_ = *nlri_.key.trySetOpVal( index_, static_cast< MatchCompType >( type ), op,
                                       static_cast< U32 >( value ) );
   }
   return std::nullopt;
}

void clearRule( FlowspecKey& key ) {
   key.addressFamilyIs( AddressFamily::none );
   key.destPrefixIs( {} );
   key.srcPrefixIs( {} );
   key.matchOpValDelAll();
}

Result decode( std::span< const U8 > octets, NlriFormat format, bool single, Nlri& nlri ) {
   nlri.rd = {};
   nlri.octets = {};
   nlri.remarks.clear();
   clearRule( nlri.key );
   Decoder decoder( octets, format, nlri );
   Result result = decoder.readFrame( single );
   if ( !result && format.vpn ) {
      result = decoder.readDistinguisher();
   }
   if ( !result ) {
      nlri.key.addressFamilyIs( format.family );
      result = decoder.readComponents();
   }
   if ( result ) [[unlikely]] {
      clearRule( nlri.key );
   }
   return result;
}

} // namespace

Result decodeNlri( std::span< const U8 > octets, NlriFormat format, Nlri& nlri ) {
   return decode( octets, format, true, nlri );
}

Result NlriList::next( Nlri& nlri ) {
   Result result = decode( rest_, format_, false, nlri );
   framed_ = !nlri.octets.empty();
   rest_ = rest_.subspan( nlri.octets.size() );
   return result;
}

} // namespace Wire
