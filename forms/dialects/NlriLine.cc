#include "forms/dialects/NlriLine.h"

#include "forms/NlriText.h"
#include "forms/dialects/Communities.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Forms {

namespace {

using Forms::appendHex;
using Forms::readHex;
using Zorv::AddressFamily;

constexpr std::string_view extendedWord = "communities";
constexpr std::string_view ipv6Word = "ipv6-communities";

// Octets of a text, and where they are.
class Octets {
public:
   // Takes all up to the next word.
   explicit Octets( Cursor& text ) : cursor_( text ), begin_( text.offset() ) {
      // All words have "communities" in them, and digits have no "o".
      const std::string_view rest = text.rest();
      text_ = rest.substr( 0, rest.find( extendedWord ) );
      if ( text_.size() < rest.size() && text_.ends_with( "ipv6-" ) ) {
         text_.remove_suffix( std::strlen( "ipv6-" ) );
      }
      text_ = text_.substr( 0, text_.find_last_not_of( "\r\n" ) + 1 );
      if ( const auto at = readHex( text_, octets_ ) ) {
         text.offsetIs( begin_ + *at );
         text.failExpecting( "two hexadecimal digits" );
      }
      text.offsetIs( begin_ + text_.size() );
   }

   const std::vector< U8 >& octets() const { return octets_; }

   // Where an octet begins in the text, or the text after the last one.
   std::size_t offsetOf( std::size_t octet ) const {
      std::size_t at = 0;
      for ( std::size_t digits = 0; at < text_.size(); ++at ) {
         const bool digit = std::strchr( " \t:", text_[at] ) == nullptr;
         if ( digit && digits++ == 2 * octet ) {
            break;
         }
      }
      return begin_ + at;
   }

   template < typename Community >
   void communities( std::vector< Community >& out ) const {
      constexpr std::size_t size = sizeof( Community );
      if ( octets_.empty() || octets_.size() % size != 0 ) {
         cursor_.failAt( begin_, "expected communities of ", size, " octets, found ",
                         octets_.size(), " octets" );
      }
      for ( std::size_t i = 0; i < octets_.size(); i += size ) {
         std::copy_n( octets_.data() + i, size, out.emplace_back().data() );
      }
   }

private:
   Cursor& cursor_;
   const std::size_t begin_;
   std::string_view text_;
   std::vector< U8 > octets_;
};

void readNlri( Cursor& text, const Context& context, bool vpn, Rule& rule,
               std::vector< Fault >& remarks ) {
   if ( context.family != AddressFamily::ipv4 && context.family != AddressFamily::ipv6 ) {
      text.fail( "an NLRI does not tell its address family: it must be given" );
   }
   const Octets octets( text );
   Wire::Nlri nlri;
   if ( const auto rejection =
           Wire::decodeNlri( octets.octets(), { context.family, vpn }, nlri ) ) {
      text.failAt( octets.offsetOf( rejection->offset ), name( rejection->code ), ": ",
                   rejection->message() );
   }
   U32 told = 0; // codes, as bits: each is told once, as a place costs the time to count to it
   for ( const Wire::Remark& remark : nlri.remarks ) {
      const U32 bit = U32{ 1 } << static_cast< U8 >( remark.code );
      if ( std::exchange( told, told | bit ) & bit ) {
         continue;
      }
      const std::size_t at = octets.offsetOf( remark.offset );
      if ( remark.code == Wire::RemarkCode::trailingOctets ) {
         text.failAt( at, "the NLRI ends before this octet" );
      }
      remarks.push_back( text.faultAt( at, Vek::String( name( remark.code ) ) ) );
   }
   rule.key = std::move( nlri.key );
   if ( vpn ) {
      rule.rd = nlri.rd;
   }
}

void read( Cursor& text, const Context& context, bool vpn, Rule& rule,
           std::vector< Fault >& remarks ) {
   readNlri( text, context, vpn, rule, remarks );
   Wire::EncodedAction communities;
   const std::size_t at = text.offset();
   if ( text.takeWord( extendedWord ) ) {
      text.skipBlanks();
      Octets( text ).communities( communities.extended );
   }
   if ( text.takeWord( ipv6Word ) ) {
      text.skipBlanks();
      Octets( text ).communities( communities.ipv6 );
   }
   takeCommunities( text, at, communities, {}, context, rule, remarks );
}

template < typename Community >
void appendCommunities( std::string_view word, const std::vector< Community >& communities,
                        Vek::String& out ) {
   if ( communities.empty() ) {
      return;
   }
   ( out += ' ' ) += word;
   for ( const Community& community : communities ) {
      appendHex( out += ' ', community );
   }
}

void append( const Rule& rule, const Context& context, bool vpn, Vek::String& out ) {
   if ( vpn != rule.rd.has_value() ) {
      throw Inexpressible{ vpn ? "the rule has no route distinguisher"
                               : "an NLRI of SAFI 133 has no route distinguisher" };
   }
   std::vector< U8 > octets;
   if ( const auto refusal = Wire::encodeNlri( rule.key, { rule.key.addressFamily(), vpn },
                                               rule.rd.value_or( Zorv::RouteDistinguisher() ),
                                               Wire::ValueLengths::asStored, octets ) ) {
      throw Inexpressible{ refusal->message() };
   }
   appendHex( out, octets );
   const Wire::EncodedAction communities = communitiesOf( rule, context );
   appendCommunities( extendedWord, communities.extended, out );
   appendCommunities( ipv6Word, communities.ipv6, out );
}

} // namespace

void readNlriLine( Cursor& text, const Context& context, Rule& rule,
                   std::vector< Fault >& remarks ) {
   read( text, context, false, rule, remarks );
}

void appendNlriLine( const Rule& rule, const Context& context, Vek::String& out ) {
   append( rule, context, false, out );
}

void readNlriVpnLine( Cursor& text, const Context& context, Rule& rule,
                      std::vector< Fault >& remarks ) {
   read( text, context, true, rule, remarks );
}

void appendNlriVpnLine( const Rule& rule, const Context& context, Vek::String& out ) {
   append( rule, context, true, out );
}

} // namespace Forms
