#include "tests/match/SlowMatch.h"

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

namespace TestSupport {

namespace {

using Flowspec::FlowspecKey;
using Flowspec::MatchOpVal;
using Values = std::vector< U32 >;

/// A packet as bytes that may be missing.
class RawPacket {
public:
   explicit RawPacket( std::span< const U8 > bytes ) : bytes_( bytes ) {
      version_ = bytes.empty() ? 0 : bytes[0] >> 4;
      if ( bytes.size() < ( version_ == 4 ? 20U : 40U ) ) {
         version_ = 0;
      } else if ( version_ == 6 ) {
         walk( 6, 40 );
      } else if ( version_ == 4 ) {
         protocol_ = bytes[9];
         fragmentWord_ = static_cast< U32 >( bytes[6] << 8 | bytes[7] );
         if ( ( bytes[0] & 15 ) >= 5 && ( fragmentWord_.value() & 0x1FFF ) == 0 ) {
            transport_ = ( bytes[0] & 15U ) * 4U;
         }
      }
   }

   bool isFamily( Zorv::AddressFamily family ) const {
      return ( family == Zorv::AddressFamily::ipv4 && version_ == 4 ) ||
             ( family == Zorv::AddressFamily::ipv6 && version_ == 6 );
   }

   /// Whether the address at a place of the fixed header begins with the bits of a prefix.
   bool inside( const Zorv::IpGenPrefix& prefix, std::size_t at ) const {
      for ( unsigned bit = 0; bit < prefix.length(); ++bit ) {
         const unsigned difference = prefix.address().bytes()[bit / 8] ^ bytes_[at + bit / 8];
         if ( difference & ( 0x80U >> bit % 8 ) ) {
            return false;
         }
      }
      return true;
   }
   bool destinationInside( const Zorv::IpGenPrefix& prefix ) const {
      return inside( prefix, version_ == 4 ? 16 : 24 );
   }
   bool sourceInside( const Zorv::IpGenPrefix& prefix ) const {
      return inside( prefix, version_ == 4 ? 12 : 8 );
   }

   /// What a component of a type is about: nothing when the packet has no such field.
   Values field( unsigned type ) const {
      const bool v4 = version_ == 4;
      switch ( type ) {
      case 3:
         return protocol_ ? Values{ *protocol_ } : Values{};
      case 4: {
         Values both = field( 5 );
         const Values source = field( 6 );
         both.insert( both.end(), source.begin(), source.end() );
         return both;
      }
      case 5:
         return hasPorts() ? transportField( 2, 2 ) : Values{};
      case 6:
         return hasPorts() ? transportField( 0, 2 ) : Values{};
      case 7:
         return hasIcmp() ? transportField( 0, 1 ) : Values{};
      case 8:
         return hasIcmp() ? transportField( 1, 1 ) : Values{};
      case 9: {
         Values flags = protocol_ == 6 ? transportField( 12, 2 ) : Values{};
         for ( U32& value : flags ) {
            value %= 4096;
         }
         return flags;
      }
      case 10:
         return { static_cast< U32 >( end() ) };
      case 11:
         return { v4 ? bytes_[1] / 4U : ( bytes_[0] % 16U * 16U + bytes_[1] / 16U ) / 4U };
      case 12:
         return fragmentBits();
      case 13:
         return v4 ? Values{}
                   : Values{ ( bytes_[1] % 16U ) << 16 | U32{ bytes_[2] } << 8 | bytes_[3] };
      default:
         return {};
      }
   }

private:
   bool hasPorts() const { return protocol_ == 6 || protocol_ == 17; }
   bool hasIcmp() const { return protocol_ == ( version_ == 4 ? 1 : 58 ); }

   /// Where the packet says that it ends.
   std::size_t end() const {
      return version_ == 4 ? bytes_[2] * 256U + bytes_[3] : bytes_[4] * 256U + bytes_[5] + 40U;
   }

   std::optional< U32 > byte( std::size_t at ) const {
      return at < end() && at < bytes_.size() ? std::optional< U32 >( bytes_[at] ) : std::nullopt;
   }

   Values transportField( std::size_t at, std::size_t size ) const {
      if ( !transport_ || !byte( *transport_ + at + size - 1 ) ) {
         return {};
      }
      U32 value = 0;
      for ( std::size_t i = 0; i < size; ++i ) {
         value = value * 256 + *byte( *transport_ + at + i );
      }
      return { value };
   }

   /// RFC 8200: the next-header field at `field` says what begins at `at`.
   void walk( std::size_t field, std::size_t at ) {
      const std::optional< U32 > type = field < 40 ? bytes_[field] : byte( field );
      const bool whole = !fragmentWord_ || *fragmentWord_ / 8 == 0;
      static const std::set< U32 > extensions{ 0, 43, 44, 51, 60 };
      if ( !extensions.contains( type.value() ) ) {
         protocol_ = type;
         fragmentWord_ = fragmentWord_.value_or( 0 );
         transport_ = whole ? std::optional( at ) : std::nullopt;
      } else if ( whole && byte( at + 1 ) && ( type != 44U || byte( at + 3 ) ) ) {
         const U32 length = *byte( at + 1 );
         if ( type == 44U ) {
            fragmentWord_ = *byte( at + 2 ) * 256 + *byte( at + 3 );
            walk( at, at + 8 );
         } else {
            walk( at, type == 51U ? at + ( length + 2 ) * 4 : at + ( length + 1 ) * 8 );
         }
      }
   }

   Values fragmentBits() const {
      if ( !fragmentWord_ ) {
         return {};
      }
      const bool v4 = version_ == 4;
      const bool dontFragment = v4 && *fragmentWord_ & 0x4000;
      const bool more = *fragmentWord_ & ( v4 ? 0x2000 : 1 );
      const bool atStart = ( v4 ? *fragmentWord_ & 0x1FFF : *fragmentWord_ / 8 ) == 0;
      return { ( dontFragment ? 1U : 0U ) + ( atStart ? 0U : 2U ) + ( atStart && more ? 4U : 0U ) +
               ( !atStart && !more ? 8U : 0U ) };
   }

   std::span< const U8 > bytes_;
   unsigned version_ = 0;
   std::optional< U32 > protocol_;
   std::optional< U32 > fragmentWord_; ///< as it is in the header
   std::optional< std::size_t > transport_;
};

struct Term {
   U32 value;
   U8 op;
};

struct Component {
   unsigned type;
   std::vector< std::vector< Term > > alternatives; ///< all terms of one hold
};

/// Nothing when the words are not those of terms, or not components of a rule.
std::optional< std::vector< Component > > componentsOf( const FlowspecKey& key ) {
   std::vector< Component > components;
   std::set< unsigned > types;
   for ( U32 i = 0; i < key.matchOpVals(); ++i ) {
      const MatchOpVal word = i < 2047 ? key.matchOpVal( i ) : MatchOpVal();
      const unsigned type = static_cast< U8 >( word.matchType() );
      Term term{ word.val(), word.op() };
      if ( type < 3 || type > 13 || word.byteLength() == 8 ) {
         return std::nullopt;
      }
      if ( word.byteLength() == 4 ) {
         if ( ++i >= std::min( key.matchOpVals(), 2047U ) ) {
            return std::nullopt;
         }
         term.value = term.value << 16 | key.matchOpVal( i ).val();
      }
      const bool begins = components.empty() || components.back().type != type;
      if ( begins && !types.insert( type ).second ) {
         return std::nullopt;
      }
      if ( begins ) {
         components.push_back( { type, {} } );
      }
      if ( begins || !( term.op & 0x40 ) ) {
         components.back().alternatives.emplace_back();
      }
      components.back().alternatives.back().push_back( term );
   }
   return components;
}

/// RFC 8955 section 4.2.1.1.
bool numericHolds( const Term& term, U32 data ) {
   switch ( term.op & 7 ) {
   case 0:
      return false;
   case 1:
      return data == term.value;
   case 2:
      return data > term.value;
   case 3:
      return data >= term.value;
   case 4:
      return data < term.value;
   case 5:
      return data <= term.value;
   case 6:
      return data != term.value;
   default:
      return true;
   }
}

/// RFC 8955 section 4.2.1.2.
bool bitmaskHolds( U32 bits, U8 op, U32 data ) {
   switch ( op & 3 ) {
   case 0:
      return ( data & bits ) != 0;
   case 1:
      return ( data & bits ) == bits;
   case 2:
      return ( data & bits ) == 0;
   default:
      return ( data & bits ) != bits;
   }
}

bool holds( unsigned type, const Term& term, U32 data, bool v4 ) {
   switch ( type ) {
   case 9:
      return bitmaskHolds( term.value, term.op, data );
   case 12:
      return bitmaskHolds( term.value & ( v4 ? 15U : 14U ), term.op, data );
   case 11:
      return numericHolds( { term.value % 64, term.op }, data );
   default:
      return numericHolds( term, data );
   }
}

} // namespace

bool slowMatches( const FlowspecKey& key, std::span< const U8 > packet ) {
   const RawPacket raw( packet );
   const auto family = key.addressFamily();
   const bool v4 = family == Zorv::AddressFamily::ipv4;
   const auto fits = [&]( const Zorv::IpGenPrefix& prefix ) {
      return prefix.empty() || prefix.family() == family;
   };
   if ( !raw.isFamily( family ) || !fits( key.destPrefix() ) || !fits( key.srcPrefix() ) ||
        !raw.destinationInside( key.destPrefix() ) || !raw.sourceInside( key.srcPrefix() ) ) {
      return false;
   }
   const auto components = componentsOf( key );
   return components && std::ranges::all_of( *components, [&]( const Component& component ) {
             return std::ranges::any_of( raw.field( component.type ), [&]( U32 data ) {
                return std::ranges::any_of( component.alternatives, [&]( const auto& terms ) {
                   return std::ranges::all_of( terms, [&]( const Term& term ) {
                      return holds( component.type, term, data, v4 );
                   } );
                } );
             } );
          } );
}

} // namespace TestSupport
