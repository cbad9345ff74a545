#include "forms/dialects/Terms.h"

#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"
#include "wire/TermRules.h"

namespace Forms {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;

// Replaces the words of a key by those that its NLRI is read as: the types ascend, lengths are the
// shortest, and bits that have no say are 0.
std::optional< Wire::Refusal > settle( FlowspecKey& key ) {
   const Wire::NlriFormat format{ key.addressFamily(), false };
   std::vector< U8 > octets;
   if ( const auto refusal =
           Wire::encodeNlri( key, format, {}, Wire::ValueLengths::shortest, octets ) ) {
      return refusal;
   }
   Wire::Nlri nlri;
   nlri.key = std::move( key );
   static_cast< void >( Wire::decodeNlri( octets, format, nlri ) ); // it was encoded just now
   key = std::move( nlri.key );
   return std::nullopt;
}

constexpr U8 testBits = OpBits::lt | OpBits::gt | OpBits::eq;

} // namespace

std::vector< Component > componentsOf( const FlowspecKey& key ) {
   FlowspecKey settled = key;
   if ( const auto refusal = settle( settled ) ) {
      throw Inexpressible{ refusal->message() };
   }
   std::vector< Component > components;
   for ( MatchOpValIndex index = 0;; ) {
      const MatchOpValResult term = settled.getOptVal( index );
      if ( term.isEnd() ) {
         return components;
      }
      if ( components.empty() || components.back().type != term.matchType() ) {
         components.push_back( { term.matchType(), {} } );
      }
      components.back().terms.push_back(
         { term.andPrevious(), static_cast< U8 >( term.op() & testBits ), term.val32() } );
      index = term.nextIndex();
   }
}

KeyBuilder::KeyBuilder( const Cursor& text, AddressFamily family, Rule& rule )
   : text_( text ), key_( rule.key ) {
   key_.addressFamilyIs( family );
}

void KeyBuilder::prefixIs( std::size_t at, MatchCompType type, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.family() != key_.addressFamily() ) {
      text_.failAt( at, "the prefix is not of ",
                    std::string_view( stringValue( key_.addressFamily() ) ) );
   }
   begin( at, type );
   if ( type == destPrefix ) {
      key_.destPrefixIs( prefix );
   } else {
      key_.srcPrefixIs( prefix );
   }
}

void KeyBuilder::begin( std::size_t at, MatchCompType type ) {
   if ( type == flowLabel && key_.addressFamily() == AddressFamily::ipv4 ) {
      text_.failAt( at, "there are no flow labels in IPv4" );
   }
   const U32 bit = U32{ 1 } << static_cast< U8 >( type );
   if ( seen_ & bit ) {
      text_.failAt( at, "the component occurs twice" );
   }
   seen_ |= bit;
   type_ = type;
}

void KeyBuilder::add( std::size_t at, const Term& term ) {
   const auto& rules = Wire::termRules( key_.addressFamily() )[static_cast< U8 >( type_ )];
   const auto code = rules.shortest( term.value );
   if ( !code ) {
      text_.failAt( at, "the value ", term.value, " is too large for its component" );
   }
   const U8 op = static_cast< U8 >( ( term.andPrevious ? OpBits::andPrevious : 0 ) | *code << 4 |
                                    ( term.test & testBits ) );
   const auto next = key_.trySetOpVal( index_, type_, op, term.value );
   if ( !next ) {
      text_.failAt( at, "the rule has more than ", MatchOpValIndex::max(), " words" );
   }
   index_ = *next;
}

void KeyBuilder::finish( std::size_t at ) {
   if ( const auto refusal = settle( key_ ) ) {
      text_.failAt( at, refusal->message() );
   }
}

} // namespace Forms
