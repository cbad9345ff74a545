#include "wire/NlriEncoder.h"

#include "Vek/text/Text.h"
#include "wire/TermRules.h"

#include <bit>

namespace Wire {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;
using Result = std::optional< Refusal >;

constexpr std::string_view refusalNames[] = {
   "no-family",       "other-family", "prefix-family",     "hole",       "index-too-high",
   "bad-type",        "flow-label",   "value-of-8-octets", "half-value", "split-component",
   "value-too-large", "no-component", "too-long",
};
static_assert( std::size( refusalNames ) ==
               static_cast< std::size_t >( RefusalCode::tooLong ) + 1 );

// The length field, a distinguisher, two prefixes of IPv6, a type octet for each other type, and 5
// octets for each of the words that a key can have: flow labels of one word may be made longer.
constexpr std::size_t maxSize = 2 + 8 + 2 * 19 + numComponentTypes + 5 * 2048;

// The words of one component, from `begin` up to `end`.
struct Run {
   U16 begin;
   U16 end;
};

class Encoder {
public:
   Encoder( const FlowspecKey& key, ValueLengths lengths )
      : key_( key ), words_( key.matchOpVal().packed() ),
        rules_( termRules( key.addressFamily() ) ), lengths_( lengths ) {}

   Result checkHead( NlriFormat format ) const;
   Result findRuns();
   void writePrefix( U8 type, const Zorv::IpGenPrefix& prefix );
   Result writeTerms();
   void writeDistinguisher( Zorv::RouteDistinguisher rd ) {
      Osk::storeBig64( at_, rd.value() );
      at_ += sizeof( U64 );
   }

   std::size_t size() const { return static_cast< std::size_t >( at_ - body() ); }
   // The octets with their length field in front; `size` is at most `maxNlriLength`.
   std::span< const U8 > framed();

private:
   U8 typeAt( std::size_t index ) const { return static_cast< U8 >( words_[index] >> 24 ); }
   Result checkWord( std::size_t index, U8 type ) const;
   Result writeRun( U8 type, Run run );

   const U8* body() const { return buffer_ + 2; }

   const FlowspecKey& key_;
   const std::span< const U64 > words_;
   const TermRuleTable& rules_;
   const ValueLengths lengths_;
   U32 types_ = 0; // a bit for each type that has a run
   Run runs_[numComponentTypes];
   U8* at_ = buffer_ + 2;
   U8 buffer_[maxSize]; // not initialised: only what was written is read
};

Result Encoder::checkHead( NlriFormat format ) const {
   const AddressFamily family = key_.addressFamily();
   if ( family != AddressFamily::ipv4 && family != AddressFamily::ipv6 ) {
      return Refusal{ RefusalCode::noFamily };
   }
   if ( family != format.family ) {
      return Refusal{ RefusalCode::otherFamily };
   }
   const auto isOther = [family]( const Zorv::IpGenPrefix& prefix ) {
      return !prefix.empty() && prefix.family() != family;
   };
   if ( isOther( key_.destPrefix() ) ) {
      return Refusal{ RefusalCode::prefixFamily, 0, static_cast< U8 >( destPrefix ) };
   }
   if ( isOther( key_.srcPrefix() ) ) {
      return Refusal{ RefusalCode::prefixFamily, 0, static_cast< U8 >( srcPrefix ) };
   }
   if ( words_.empty() && key_.destPrefix().empty() && key_.srcPrefix().empty() ) {
      return Refusal{ RefusalCode::noComponent };
   }
   return std::nullopt;
}

Result Encoder::checkWord( std::size_t index, U8 type ) const {
   const U16 at = static_cast< U16 >( index );
   if ( words_[index] >> 32 != index ) {
      return Refusal{ RefusalCode::hole, at };
   }
   if ( type < static_cast< U8 >( ipProto ) || type >= numComponentTypes ) {
      return Refusal{ RefusalCode::badType, at, type };
   }
   if ( rules_[type].allowedLengths == 0 ) {
      return Refusal{ RefusalCode::flowLabel, at, type };
   }
   if ( index >= MatchOpValIndex::max() ) {
      return Refusal{ RefusalCode::indexTooHigh, at, type };
   }
   return std::nullopt;
}

Result Encoder::findRuns() {
   unsigned previous = ~0U;
   for ( std::size_t i = 0; i < words_.size(); ++i ) {
      const U8 type = typeAt( i );
      if ( type != previous || words_[i] >> 32 != i || i >= MatchOpValIndex::max() ) {
         if ( const Result result = checkWord( i, type ) ) {
            return result;
         }
         if ( types_ >> type & 1 ) {
            return Refusal{ RefusalCode::splitComponent, static_cast< U16 >( i ), type };
         }
         types_ |= 1U << type;
         runs_[type].begin = static_cast< U16 >( i );
         previous = type;
      }
      runs_[type].end = static_cast< U16 >( i + 1 );
   }
   return std::nullopt;
}

void Encoder::writePrefix( U8 type, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      return;
   }
   *at_++ = type;
   *at_++ = prefix.length();
   if ( prefix.family() == AddressFamily::ipv6 ) {
      *at_++ = 0;
   }
   // All of the address, of which the next component overwrites what is not the prefix's.
   std::memcpy( at_, prefix.address().bytes().data(), 16 );
   at_ += ( prefix.length() + 7U ) / 8;
}

Result Encoder::writeRun( U8 type, Run run ) {
   const TermRules rules = rules_[type];
   U8* out = at_;
   *out++ = type;
   U8 cleared = rules.reservedOpBits | OpBits::endOfList | OpBits::andPrevious | OpBits::len;
   U8* last = out;
   for ( U32 i = run.begin; i < run.end; ++i ) {
      const MatchOpVal word( static_cast< U32 >( words_[i] ) );
      const U16 at = static_cast< U16 >( i );
      U32 value = word.val();
      U8 length = word.len();
      if ( length >= 2 ) [[unlikely]] {
         if ( length == 3 ) {
            return Refusal{ RefusalCode::valueOf8Octets, at, type };
         }
         const U32 second = i + 1 < run.end ? static_cast< U32 >( words_[i + 1] ) : 0;
         if ( second >> 16 != word.storage() >> 16 ) {
            return Refusal{ RefusalCode::halfValue, at, type };
         }
         value = value << 16 | ( second & 0xFFFF );
         ++i;
      }
      if ( lengths_ == ValueLengths::shortest || !rules.holds( length, value ) ) [[unlikely]] {
         const auto shortest = rules.shortest( value );
         if ( !shortest ) {
            return Refusal{ RefusalCode::valueTooLarge, at, type };
         }
         length = *shortest;
      }
      last = out;
      *out++ = static_cast< U8 >( ( word.op() & ~cleared ) | length << 4 );
      cleared = rules.reservedOpBits | OpBits::endOfList | OpBits::len;
      switch ( length ) {
      case 0:
         *out++ = static_cast< U8 >( value );
         break;
      case 1:
         Osk::storeBig16( out, static_cast< U16 >( value ) );
         out += 2;
         break;
      default:
         Osk::storeBig32( out, value );
         out += 4;
      }
   }
   *last |= OpBits::endOfList;
   at_ = out;
   return std::nullopt;
}

Result Encoder::writeTerms() {
   for ( U32 left = types_; left != 0; left &= left - 1 ) {
      const auto type = static_cast< U8 >( std::countr_zero( left ) );
      if ( const Result result = writeRun( type, runs_[type] ) ) {
         return result;
      }
   }
   return std::nullopt;
}

std::span< const U8 > Encoder::framed() {
   const std::size_t length = size();
   if ( length < 0xF0 ) {
      buffer_[1] = static_cast< U8 >( length );
      return { buffer_ + 1, at_ };
   }
   Osk::storeBig16( buffer_, static_cast< U16 >( 0xF000 | length ) );
   return { buffer_, at_ };
}

} // namespace

std::string_view name( RefusalCode code ) {
   return refusalNames[static_cast< std::size_t >( code )];
}

Vek::String Refusal::message() const {
   const auto ofWord = [this]( const auto&... parts ) {
      return Vek::concat( "the word at index ", index, ": ", parts... );
   };
   switch ( code ) {
   case RefusalCode::noFamily:
      return "the key is neither of IPv4 nor of IPv6";
   case RefusalCode::otherFamily:
      return "the key is of the other family";
   case RefusalCode::prefixFamily:
      return Vek::concat( "the prefix of component type ", type, " is of another family" );
   case RefusalCode::hole:
      return ofWord( "it is missing" );
   case RefusalCode::indexTooHigh:
      return ofWord( "a key has at most 2047 words" );
   case RefusalCode::badType:
      return ofWord( "no term has the component type ", type );
   case RefusalCode::flowLabel:
      return ofWord( "IPv4 has no flow label" );
   case RefusalCode::valueOf8Octets:
      return ofWord( "its value has 8 octets" );
   case RefusalCode::halfValue:
      return ofWord( "the other half of its value is missing" );
   case RefusalCode::splitComponent:
      return ofWord( "the terms of component type ", type, " are at two places" );
   case RefusalCode::valueTooLarge:
      return ofWord( "its value is too large for component type ", type );
   case RefusalCode::noComponent:
      return "the key has no component";
   case RefusalCode::tooLong:
      return Vek::concat( "the rule takes more than ", maxNlriLength, " octets" );
   }
   return {};
}

Result encodeNlri( const FlowspecKey& key, NlriFormat format, Zorv::RouteDistinguisher rd,
                   ValueLengths lengths, std::vector< U8 >& out ) {
   Encoder encoder( key, lengths );
   Result result = encoder.checkHead( format );
   if ( !result ) {
      result = encoder.findRuns();
   }
   if ( result ) {
      return result;
   }
   if ( format.vpn ) {
      encoder.writeDistinguisher( rd );
   }
   encoder.writePrefix( static_cast< U8 >( destPrefix ), key.destPrefix() );
   encoder.writePrefix( static_cast< U8 >( srcPrefix ), key.srcPrefix() );
   result = encoder.writeTerms();
   if ( result ) {
      return result;
   }
   if ( encoder.size() > maxNlriLength ) {
      return Refusal{ RefusalCode::tooLong };
   }
   const auto octets = encoder.framed();
   out.insert( out.end(), octets.begin(), octets.end() );
   return std::nullopt;
}

} // namespace Wire
