#include "wire/UsualNlri.h"

#include "wire/TermRules.h"

#include <algorithm>

namespace Wire {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;

constexpr U32 maxWords = 0xEF / 2; // each takes two octets at least

// No length that should be sent is one of 8 octets, so that no term takes more than two words.
constexpr bool haveUsualLengths( const TermRuleTable& table ) {
   return std::ranges::all_of( table,
                               []( const TermRules& rules ) { return rules.expectedLengths < 8; } );
}
static_assert( haveUsualLengths( termRulesOf( AddressFamily::ipv4 ) ) &&
               haveUsualLengths( termRulesOf( AddressFamily::ipv6 ) ) );

// Reads what comes after the length field into a key; each part returns null, or false, for what is
// not usual.
template < AddressFamily family >
class Reader {
public:
   // Octets up to `readable` may be looked at, though they are none of the NLRI.
   Reader( const U8* end, const U8* readable, FlowspecKey& key )
      : end_( end ), readable_( readable ), key_( key ) {}

   bool read( const U8* at ) {
      unsigned types = 0; // of prefixes, which are bits
      unsigned previous = 0;
      do {
         const unsigned type = *at++;
         if ( type <= previous || type >= numComponentTypes ) {
            return false;
         }
         previous = type;
         if ( type <= static_cast< unsigned >( srcPrefix ) ) {
            types |= type;
            at = readPrefix( at, type );
         } else {
            at = readTerms( at, static_cast< U8 >( type ) );
         }
         if ( !at ) {
            return false;
         }
      } while ( at != end_ );
      // Those of an earlier rule.
      if ( !( types & static_cast< unsigned >( destPrefix ) ) && !key_.destPrefix().empty() ) {
         key_.destPrefixIs( {} );
      }
      if ( !( types & static_cast< unsigned >( srcPrefix ) ) && !key_.srcPrefix().empty() ) {
         key_.srcPrefixIs( {} );
      }
      key_.addressFamilyIs( family );
      key_.matchOpValsAre( { words_, nextWord_ } );
      return true;
   }

private:
   const U8* readPrefix( const U8* at, unsigned type ) {
      constexpr bool ipv6 = family == AddressFamily::ipv6;
      constexpr unsigned addressSize = ipv6 ? 16 : 4;
      constexpr unsigned headSize = ipv6 ? 2 : 1;
      if ( readable_ - at < headSize + addressSize ) {
         return nullptr;
      }
      const unsigned length = at[0];
      const unsigned size = ( length + 7 ) / 8;
      if ( length > 8 * addressSize || ( ipv6 && at[1] != 0 ) || end_ - at < headSize + size ) {
         return nullptr;
      }
      at += headSize;
      if ( length % 8 != 0 && ( at[size - 1] & 0xFF >> length % 8 ) ) {
         return nullptr; // padding
      }
      U8 bytes[16]{};
      std::copy_n( at, addressSize, bytes );
      const auto prefix = Zorv::IpGenPrefix::ofFamily( family, bytes, length );
      if ( type == static_cast< unsigned >( destPrefix ) ) {
         key_.destPrefixIs( prefix );
      } else {
         key_.srcPrefixIs( prefix );
      }
      return at + size;
   }

   const U8* readTerms( const U8* at, U8 type ) {
      const TermRules rules = termRules( family )[type];
      const U8* const last = end_ - 1;
      U32* next = nextWord_;
      U8 unusual = rules.reservedOpBits | OpBits::andPrevious; // of the first term
      U8 op;
      do {
         if ( at >= last ) {
            return nullptr;
         }
         op = at[0];
         const unsigned length = ( op & OpBits::len ) >> 4;
         if ( op & unusual || !( rules.expectedLengths >> length & 1 ) ) {
            return nullptr;
         }
         unusual = rules.reservedOpBits;
         const auto put = [&]( U32 value ) {
            const auto half = static_cast< U16 >( value );
            *next++ = MatchOpVal( static_cast< MatchCompType >( type ), op, half ).storage();
         };
         U32 value = at[1];
         at += 2;
         if ( length == 1 ) {
            if ( at > last ) {
               return nullptr;
            }
            value = value << 8 | *at++;
         } else if ( length == 2 ) {
            if ( last - at < 2 ) {
               return nullptr;
            }
            value = Osk::loadBig32( at - 1 );
            put( value >> 16 );
            at += 3;
         }
         if ( value & ~rules.fieldBits ) {
            return nullptr;
         }
         put( value );
      } while ( !( op & OpBits::endOfList ) );
      nextWord_ = next;
      return at;
   }

   const U8* const end_;
   const U8* const readable_;
   FlowspecKey& key_;
   U32* nextWord_ = words_;
   U32 words_[maxWords]; // only those that were written are read
};

template < AddressFamily family >
bool readUsual( std::span< const U8 > field, Nlri& nlri ) {
   const U8* const first = field.data();
   const U8* const end = first + 1 + *first;
   if ( !Reader< family >( end, first + field.size(), nlri.key ).read( first + 1 ) ) {
      return false;
   }
   nlri.rd = {};
   nlri.octets = { first, end };
   nlri.remarks.clear();
   return true;
}

} // namespace

bool readUsualNlri( std::span< const U8 > field, NlriFormat format, Nlri& nlri ) {
   const bool hasUsualLength =
      !field.empty() && field[0] != 0 && field[0] < 0xF0 && field[0] < field.size();
   if ( !hasUsualLength || format.vpn ) {
      return false;
   }
   return format.family == AddressFamily::ipv6 ? readUsual< AddressFamily::ipv6 >( field, nlri )
                                               : readUsual< AddressFamily::ipv4 >( field, nlri );
}

} // namespace Wire
