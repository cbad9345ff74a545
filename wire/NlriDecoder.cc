#include "wire/NlriDecoder.h"

#include "wire/TermRules.h"
#include "wire/UsualNlri.h"

#include <algorithm>

namespace Wire {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;
using Result = std::optional< Rejection >;

constexpr U32 rdSize = 8;

// Reads one NLRI. What is usual goes through the local variables of a few inlined functions; what
// is not is kept out of their way.
class Decoder {
public:
   Decoder( std::span< const U8 > octets, NlriFormat format, Nlri& nlri )
      : first_( octets.data() ), bufferEnd_( first_ + octets.size() ), end_( bufferEnd_ ),
        nlri_( nlri ), rules_( termRules( format.family ) ),
        types_( assignedTypes( format.family ) ), format_( format ) {}

   Result decode( bool single );

private:
   // Each returns where what it read ends, or null after a rejection.
   const U8* readLength( bool single );
   const U8* readDistinguisher( const U8* at );
   const U8* readComponents( const U8* at );
   const U8* readPrefix( const U8* at, U8 type );
   const U8* readTerms( const U8* at, U8 type );

   bool isAssigned( U8 type ) const { return type < 32 && types_ >> type & 1; }
   std::size_t leftAt( const U8* at ) const { return static_cast< std::size_t >( end_ - at ); }
   U16 offsetOf( const U8* octet ) const { return static_cast< U16 >( octet - first_ ); }

   [[gnu::noinline, gnu::cold]] const U8* reject( RejectionCode code, const U8* where,
                                                  const char* pattern, U32 a = 0, U32 b = 0,
                                                  U32 c = 0 ) {
      rejection_ = { code, offsetOf( where ), pattern, { a, b, c } };
      return nullptr;
   }
   [[gnu::noinline, gnu::cold]] void remark( RemarkCode code, const U8* where, U8 type = 0 ) {
      nlri_.remarks.push( { code, type, offsetOf( where ) } );
   }
   [[gnu::noinline, gnu::cold]] void cannotHold( const U8* where, const char* pattern, U8 type ) {
      if ( !unrepresentable_ ) {
         unrepresentable_ = {
            RejectionCode::unrepresentable, offsetOf( where ), pattern, { type } };
      }
   }
   void clearPrefixes();
   [[gnu::noinline, gnu::cold]] const U8* badType( const U8* at, U8 previous );
   [[gnu::noinline, gnu::cold]] bool takesUnusual( U8 type, const U8* at, U64 value, U8& op );
   Zorv::IpGenPrefix prefixAt( const U8* at, unsigned length ) const;
   void setPrefix( U8 type, const Zorv::IpGenPrefix& prefix );

   const U8* const first_;
   const U8* const bufferEnd_; // octets may be read up to here, though they are none of the NLRI
   const U8* end_;
   Nlri& nlri_;
   const TermRuleTable& rules_;
   const U32 types_; // the assigned ones as bits
   const NlriFormat format_;
   Result rejection_;
   Result unrepresentable_;
   U8 prefixes_ = 0; // the types of those that were set: they are bits
   // The words of the key. Each takes two octets at least, so 4095 octets hold no more. Only what
   // was written is read.
   U32* nextWord_ = words_;
   U32 words_[maxNlriLength / 2];
};

const U8* Decoder::readLength( bool single ) {
   if ( first_ == end_ ) {
      return reject( RejectionCode::lengthTruncated, end_, "the length field is missing" );
   }
   const U8* at = first_;
   U32 length = *at++;
   if ( length >= 0xF0 ) [[unlikely]] {
      if ( at == end_ ) {
         return reject( RejectionCode::lengthTruncated, end_,
                        "the second octet of the length field is missing" );
      }
      length = ( length & 0x0F ) << 8 | *at++;
      if ( length < 0xF0 ) {
         remark( RemarkCode::lengthForm, first_ );
      }
   }
   if ( length > leftAt( at ) ) {
      return reject( RejectionCode::lengthMismatch, first_,
                     "the length field says # octets, # follow", length,
                     static_cast< U32 >( leftAt( at ) ) );
   }
   if ( single && length < leftAt( at ) ) {
      remark( RemarkCode::trailingOctets, at + length );
   }
   end_ = at + length;
   nlri_.octets = { first_, end_ };
   return at;
}

const U8* Decoder::readDistinguisher( const U8* at ) {
   if ( leftAt( at ) < rdSize ) {
      return reject( RejectionCode::rdTruncated, end_,
                     "the route distinguisher needs # octets, # are left", rdSize,
                     static_cast< U32 >( leftAt( at ) ) );
   }
   nlri_.rd = Zorv::RouteDistinguisher( Osk::loadBig64( at ) );
   if ( nlri_.rd.type() > 2 ) {
      remark( RemarkCode::rdType, at );
   }
   return at + rdSize;
}

const U8* Decoder::badType( const U8* at, U8 previous ) {
   const U8 type = *at;
   if ( !isAssigned( type ) ) {
      return reject( RejectionCode::unknownType, at,
                     format_.family == AddressFamily::ipv4
                        ? "component type # is not assigned for IPv4"
                        : "component type # is not assigned for IPv6",
                     type );
   }
   if ( type == previous ) {
      return reject( RejectionCode::duplicateType, at, "component type # occurs twice", type );
   }
   return reject( RejectionCode::typeOrder, at, "component type # after #: the types must ascend",
                  type, previous );
}

inline void Decoder::setPrefix( U8 type, const Zorv::IpGenPrefix& prefix ) {
   prefixes_ |= type;
   if ( type == static_cast< U8 >( destPrefix ) ) {
      nlri_.key.destPrefixIs( prefix );
   } else {
      nlri_.key.srcPrefixIs( prefix );
   }
}

// The prefix of which all octets are there. What comes after them is no part of it, and is not read
// where the octets that were given end.
inline Zorv::IpGenPrefix Decoder::prefixAt( const U8* at, unsigned length ) const {
   if ( bufferEnd_ - at >= 16 ) [[likely]] {
      return Zorv::IpGenPrefix::ofFamily( format_.family, at, length );
   }
   U8 bytes[16]{};
   std::copy_n( at, ( length + 7 ) / 8, bytes );
   return Zorv::IpGenPrefix::ofFamily( format_.family, bytes, length );
}

inline const U8* Decoder::readPrefix( const U8* at, U8 type ) {
   const bool ipv6 = format_.family == AddressFamily::ipv6;
   const U8* const first = at;
   if ( at == end_ ) {
      return reject( RejectionCode::truncated, end_,
                     "component type #: the prefix length is missing", type );
   }
   const unsigned length = *at++;
   unsigned offset = 0;
   if ( ipv6 ) {
      if ( at == end_ ) {
         return reject( RejectionCode::truncated, end_,
                        "component type #: the prefix offset is missing", type );
      }
      offset = *at++;
      if ( length > 128 || ( offset >= length && offset != 0 ) ) {
         return reject( RejectionCode::prefixRange, first,
                        "component type #: prefix length # with offset #: the length must be at "
                        "most 128 and above the offset, or both 0",
                        type, length, offset );
      }
   } else if ( length > 32 ) {
      return reject( RejectionCode::prefixRange, first,
                     "component type #: prefix length # is above 32", type, length );
   }
   const unsigned bits = length - offset;
   const unsigned size = ( bits + 7 ) / 8;
   if ( leftAt( at ) < size ) {
      return reject( RejectionCode::truncated, end_,
                     "component type #: the prefix needs # octets, # are left", type, size,
                     static_cast< U32 >( leftAt( at ) ) );
   }
   // Padding is what the last octet has beside the prefix.
   if ( bits % 8 != 0 && ( at[size - 1] & 0xFF >> bits % 8 ) ) {
      remark( RemarkCode::prefixPadding, at + size - 1, type );
   }
   if ( offset != 0 ) {
      cannotHold( first + 1, "component type #: no rule key holds a prefix with an offset", type );
      return at + size;
   }
   setPrefix( type, prefixAt( at, length ) );
   return at + size;
}

// What is not usual about a term that was read whole; false after a rejection, or when no key holds
// its value. `op` gets the length that the key is to have.
bool Decoder::takesUnusual( U8 type, const U8* at, U64 value, U8& op ) {
   const TermRules& rules = rules_[type];
   const unsigned length = ( op & OpBits::len ) >> 4;
   if ( !( rules.allowedLengths >> length & 1 ) ) {
      reject( RejectionCode::valueLength, at, "component type # must not have values of # octets",
              type, 1U << length );
      return false;
   }
   if ( !( rules.expectedLengths >> length & 1 ) ) {
      remark( RemarkCode::valueLengthShould, at, type );
   }
   if ( value & ~U64{ rules.fieldBits } ) {
      const bool flags =
         isBitmask( static_cast< MatchCompType >( type ) ) || componentTypes[type].ignoresOtherBits;
      remark( flags ? RemarkCode::reservedValueBits : RemarkCode::valueRange, at + 1, type );
   }
   if ( value > ~U32{ 0 } ) {
      cannotHold( at + 1, "component type #: no rule key holds a value above 4294967295", type );
      return false;
   }
   if ( length == 3 ) {
      const U8 shortest = *rules.shortest( static_cast< U32 >( value ) );
      op = static_cast< U8 >( ( op & ~OpBits::len ) | shortest << 4 );
   }
   return true;
}

inline U64 loadValue( const U8* at, unsigned length ) {
   switch ( length ) {
   case 0:
      return *at;
   case 1:
      return Osk::loadBig16( at );
   case 2:
      return Osk::loadBig32( at );
   default:
      return Osk::loadBig64( at );
   }
}

inline const U8* Decoder::readTerms( const U8* at, U8 type ) {
   const TermRules rules = rules_[type];
   const U8* const end = end_;
   U32* next = nextWord_;
   const auto put = [&]( U8 op, U64 value ) {
      *next++ = MatchOpVal( static_cast< MatchCompType >( type ), op, static_cast< U16 >( value ) )
                   .storage();
   };
   U8 ignored = rules.reservedOpBits | OpBits::andPrevious; // until the first term is read
   for ( ;; ) {
      if ( at == end ) [[unlikely]] {
         return ignored & OpBits::andPrevious
                   ? reject( RejectionCode::truncated, end_,
                             "component type #: the operator is missing", type )
                   : reject( RejectionCode::noEndOfList, end_,
                             "component type #: the last term does not have the end-of-list bit",
                             type );
      }
      const U8* const first = at++;
      U8 op = *first;
      if ( op & ignored ) [[unlikely]] {
         if ( op & ignored & OpBits::andPrevious ) {
            remark( RemarkCode::firstAnd, first, type );
         }
         if ( op & rules.reservedOpBits ) {
            remark( RemarkCode::reservedOpBits, first, type );
         }
         op = static_cast< U8 >( op & ~ignored );
      }
      ignored = rules.reservedOpBits;
      const unsigned length = ( op & OpBits::len ) >> 4;
      const std::ptrdiff_t size = std::ptrdiff_t{ 1 } << length;
      if ( end - at < size ) [[unlikely]] {
         return reject( RejectionCode::truncated, end_,
                        "component type #: the value needs # octets, # are left", type,
                        static_cast< U32 >( size ), static_cast< U32 >( leftAt( at ) ) );
      }
      const U64 value = loadValue( at, length );
      at += size;
      const bool usual =
         ( rules.expectedLengths >> length & 1 ) && !( value & ~U64{ rules.fieldBits } );
      if ( usual || takesUnusual( type, first, value, op ) ) [[likely]] {
         if ( ( op & OpBits::len ) == 0x20 ) {
            put( op, value >> 16 );
         }
         put( op, value );
      } else if ( rejection_ ) {
         return nullptr;
      }
      if ( op & OpBits::endOfList ) {
         nextWord_ = next;
         return at;
      }
   }
}

const U8* Decoder::readComponents( const U8* at ) {
   if ( at == end_ ) {
      return reject( RejectionCode::empty, at, "the rule has no component" );
   }
   U8 previous = 0;
   do {
      const U8 type = *at;
      if ( type <= previous || !isAssigned( type ) ) [[unlikely]] {
         return badType( at, previous );
      }
      previous = type;
      at = type <= static_cast< U8 >( srcPrefix ) ? readPrefix( at + 1, type )
                                                  : readTerms( at + 1, type );
      if ( !at ) [[unlikely]] {
         return nullptr;
      }
   } while ( at != end_ );
   return at;
}

// Takes the prefixes of an earlier rule out of the key.
inline void Decoder::clearPrefixes() {
   if ( !( prefixes_ & static_cast< U8 >( destPrefix ) ) && !nlri_.key.destPrefix().empty() ) {
      nlri_.key.destPrefixIs( {} );
   }
   if ( !( prefixes_ & static_cast< U8 >( srcPrefix ) ) && !nlri_.key.srcPrefix().empty() ) {
      nlri_.key.srcPrefixIs( {} );
   }
}

inline Result Decoder::decode( bool single ) {
   nlri_.rd = {};
   nlri_.octets = {};
   nlri_.remarks.clear();
   nlri_.key.addressFamilyIs( format_.family );
   const U8* at = readLength( single );
   if ( at && format_.vpn ) {
      at = readDistinguisher( at );
   }
   if ( at && readComponents( at ) && !unrepresentable_ ) [[likely]] {
      clearPrefixes();
      nlri_.key.matchOpValsAre( { words_, nextWord_ } );
      return std::nullopt;
   }
   prefixes_ = 0;
   clearPrefixes();
   nlri_.key.matchOpValDelAll();
   nlri_.key.addressFamilyIs( AddressFamily::none );
   return rejection_ ? rejection_ : unrepresentable_;
}

// Kept out of the way of what is usual: a decoder takes room on the stack for a whole rule.
[[gnu::noinline]] Result decode( std::span< const U8 > octets, NlriFormat format, Nlri& nlri,
                                 bool single ) {
   return Decoder( octets, format, nlri ).decode( single );
}

} // namespace

Result decodeNlri( std::span< const U8 > octets, NlriFormat format, Nlri& nlri ) {
   const bool isAlone = !octets.empty() && octets[0] == octets.size() - 1;
   if ( isAlone && readUsualNlri( octets, format, nlri ) ) {
      return std::nullopt;
   }
   return decode( octets, format, nlri, true );
}

Result NlriList::next( Nlri& nlri ) {
   if ( readUsualNlri( rest_, format_, nlri ) ) {
      rest_ = rest_.subspan( nlri.octets.size() );
      return std::nullopt;
   }
   Result result = decode( rest_, format_, nlri, false );
   framed_ = !nlri.octets.empty();
   rest_ = rest_.subspan( nlri.octets.size() );
   return result;
}

} // namespace Wire
