#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <iterator>
#include <random>

namespace TestSupport {

/// Random rule keys and rule texts, the same ones for a seed with every compiler: no two draws
/// stand in one expression whose order of evaluation is open.
class KeyGenerator {
public:
   explicit KeyGenerator( U64 seed ) : random_( seed ) {}

   /// All 64 bits.
   U64 any() { return random_(); }
   /// 0 to `count - 1`.
   U64 below( U64 count ) { return random_() % count; }
   bool oneIn( U64 count ) { return below( count ) == 0; }

   /// An element of an array or a string.
   template < typename Elements >
   auto oneOf( const Elements& elements ) {
      return elements[below( std::size( elements ) )];
   }

   /// A number of at most `bits` bits; each number of bits is as likely as another.
   U32 number( unsigned bits ) {
      const U64 mask = ( U64{ 1 } << below( bits + 1 ) ) - 1;
      return static_cast< U32 >( any() & mask );
   }

   /// A prefix of a family, of any length.
   Zorv::IpGenPrefix prefix( Zorv::AddressFamily family ) {
      if ( family == Zorv::AddressFamily::ipv4 ) {
         return { Zorv::IpGenAddr::ipv4( static_cast< U32 >( any() ) ),
                  static_cast< unsigned >( below( 33 ) ) };
      }
      Zorv::IpGenAddr::Bytes bytes;
      for ( U8& byte : bytes ) {
         byte = oneIn( 2 ) ? U8{ 0 } : static_cast< U8 >( any() );
      }
      return { Zorv::IpGenAddr::ipv6( bytes ), static_cast< unsigned >( below( 129 ) ) };
   }

   /// A key that every text form that carries its attributes gives back: dense words of the types
   /// 3 to 13, operators without unused bits, end-of-list where a component ends, AND only after
   /// a component's first term, values that fit their lengths; IPv4 or IPv6; identifiers of
   /// interface sets up to 16383. With `shortest`, no value has a longer length than it needs.
   Flowspec::FlowspecKey canonicalKey( bool shortest = false ) {
      Flowspec::FlowspecKey key;
      key.vrfIdIs( oneIn( 4 ) ? Vrf::VrfIdMap::invalid() : number( 32 ) );
      const auto family = oneIn( 3 ) ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4;
      key.addressFamilyIs( family );
      if ( !oneIn( 3 ) ) {
         key.destPrefixIs( prefix( family ) );
      }
      if ( oneIn( 3 ) ) {
         key.srcPrefixIs( prefix( family ) );
      }
      U32 index = 0;
      Flowspec::MatchCompType previous = Flowspec::invalid;
      for ( U64 i = below( oneIn( 50 ) ? 60 : 6 ); i > 0; --i ) {
         const auto type = static_cast< Flowspec::MatchCompType >( 3 + below( 11 ) );
         if ( type != previous ) {
            index = addComponent( key, index, type, shortest );
            previous = type;
         }
      }
      for ( U64 i = oneIn( 3 ) ? 1 + below( oneIn( 20 ) ? 30 : 4 ) : 0; i > 0; --i ) {
         key.interfaceSetPush( static_cast< U16 >( number( 14 ) ) );
      }
      return key;
   }

   /// A key with anything in it: any words at any of the indices below `indices`, any family, any
   /// identifiers.
   Flowspec::FlowspecKey arbitraryKey( U32 indices = 20 ) {
      Flowspec::FlowspecKey key;
      key.vrfIdIs( static_cast< U32 >( any() ) );
      key.addressFamilyIs( static_cast< Zorv::AddressFamily >( any() ) );
      key.destPrefixIs( oneIn( 4 ) ? Zorv::IpGenPrefix() : anyPrefix() );
      key.srcPrefixIs( oneIn( 4 ) ? Zorv::IpGenPrefix() : anyPrefix() );
      for ( U64 i = below( indices ); i > 0; --i ) {
         const U32 index = static_cast< U32 >( below( indices ) );
         key.matchOpValIs( index, Flowspec::MatchOpVal( static_cast< U32 >( any() ) ) );
      }
      for ( U64 i = below( 8 ); i > 0; --i ) {
         key.interfaceSetPush( static_cast< U16 >( any() ) );
      }
      return key;
   }

   /// A key with few possibilities for each attribute, so that two of them often agree in all but
   /// one, and the words of one are often the beginning of another's. Indices may have gaps.
   Flowspec::FlowspecKey similarKey() {
      static constexpr U32 words[] = { 0, 0x03810006, 0xFFFFFFFF };
      static constexpr U16 sets[] = { 0, 1, 0xFFFF };
      static const Zorv::IpGenPrefix prefixes[] = {
         {},
         { Zorv::IpGenAddr::ipv4( 0 ), 0 },
         { Zorv::IpGenAddr::ipv4( 0x0A000000 ), 8 },
         { Zorv::IpGenAddr::ipv6( {} ), 0 },
      };
      Flowspec::FlowspecKey key;
      key.vrfIdIs( oneIn( 10 ) ? 0xFFFFFFFF : 1 );
      key.addressFamilyIs( oneIn( 10 ) ? Zorv::AddressFamily{ 200 } : Zorv::AddressFamily::ipv4 );
      key.destPrefixIs( oneIn( 4 ) ? oneOf( prefixes ) : prefixes[2] );
      key.srcPrefixIs( oneIn( 4 ) ? oneOf( prefixes ) : prefixes[0] );
      const U64 count = below( 4 );
      for ( U32 i = 0; i < count; ++i ) {
         const U32 index = oneIn( 10 ) ? i + 1 : i;
         key.matchOpValIs( index, Flowspec::MatchOpVal( oneIn( 4 ) ? oneOf( words ) : words[1] ) );
      }
      for ( U64 i = below( 4 ); i > 0; --i ) {
         key.interfaceSetPush( oneIn( 3 ) ? oneOf( sets ) : sets[1] );
      }
      return key;
   }

   /// A key as rules of real networks have them: most match a destination, a protocol and one to
   /// three ports, some a port range, some TCP flags or fragments; one in ten is IPv6.
   Flowspec::FlowspecKey realisticKey() {
      using namespace Flowspec;
      FlowspecKey key;
      key.vrfIdIs( static_cast< U32 >( below( 4 ) ) );
      const bool ipv6 = oneIn( 10 );
      key.addressFamilyIs( ipv6 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4 );
      const auto host = Zorv::IpGenAddr::ipv4( static_cast< U32 >( any() ) );
      const auto length = static_cast< unsigned >( 24 + below( 9 ) );
      key.destPrefixIs( ipv6 ? prefix( Zorv::AddressFamily::ipv6 )
                             : Zorv::IpGenPrefix( host, length ) );
      static constexpr U8 protocols[] = { 6, 17 };
      U32 index = key.setOpVal( 0, ipProto, 0x81, oneOf( protocols ) );
      switch ( below( 10 ) ) {
      case 0:
      case 1: {
         const U32 low = number( 15 );
         index = key.setOpVal( index, destPort, 0x13, low );
         key.setOpVal( index, destPort, 0xD5, low + number( 15 ) );
         break;
      }
      case 2:
         index = key.setOpVal( index, tcpFlags, 0x81, number( 8 ) );
         key.setOpVal( index, fragment, 0x82, number( 4 ) );
         break;
      default:
         for ( U64 ports = 1 + below( 3 ); ports > 0; --ports ) {
            index = key.setOpVal( index, destPort, ports == 1 ? 0x91 : 0x11, number( 16 ) );
         }
      }
      return key;
   }

   /// A text of the command-line form's grammar, with freedoms that no writer takes: operators in
   /// any order and number, numbers in all bases and sizes, labels with something after them.
   Vek::String ruleText( bool includesValueLength ) {
      static constexpr std::string_view labels[] = { "IP",  "P",   "DP",   "SP",   "IT", "IC",
                                                     "TCP", "LEN", "DSCP", "FRAG", "FL", "IPX" };
      Vek::String text = prefixText() + ';';
      text += prefixText();
      for ( U64 components = below( 4 ); components > 0; --components ) {
         const std::string_view label = oneOf( labels );
         text += Vek::concat( ';', label, ':' );
         const bool bitfield = label == "TCP" || label == "FRAG";
         for ( U64 terms = below( 4 ); terms > 0; --terms ) {
            const std::string_view operators = bitfield ? "=!&|" : "=<>&|";
            for ( U64 count = below( 4 ); count > 0; --count ) {
               text += oneOf( operators );
            }
            if ( includesValueLength ) {
               text += static_cast< char >( '0' + below( oneIn( 50 ) ? 10 : 3 ) );
               text += 'L';
            }
            text += numberText();
            text += oneIn( 3 ) ? "" : "|";
         }
      }
      return oneIn( 3 ) ? text : text + ';';
   }

   /// `text` with up to three changes: characters replaced, put in, taken out or swapped, most of
   /// them of those that the text forms use, or the end cut off.
   Vek::String mutated( Vek::String text ) {
      static constexpr std::string_view alphabet = ";:*&|=<>!,./@ -+\n0123456789xXabcfLIPFSETDR";
      for ( U64 changes = below( 4 ); changes > 0; --changes ) {
         const std::size_t at = below( text.size() + 1 );
         const char c = oneIn( 8 ) ? static_cast< char >( any() ) : oneOf( alphabet );
         switch ( below( oneIn( 10 ) ? 5 : 4 ) ) {
         case 0:
            text.insert( at, 1, c );
            break;
         case 1:
            text.erase( at, 1 );
            break;
         case 2:
            text.replace( at, 1, 1, c );
            break;
         case 3:
            text.insert( at, text, below( text.size() + 1 ), 5 );
            break;
         default:
            text.resize( at );
         }
      }
      return text;
   }

private:
   Zorv::IpGenPrefix anyPrefix() {
      return prefix( oneIn( 2 ) ? Zorv::AddressFamily::ipv4 : Zorv::AddressFamily::ipv6 );
   }

   U32 addComponent( Flowspec::FlowspecKey& key, U32 index, Flowspec::MatchCompType type,
                     bool shortest ) {
      static constexpr unsigned bitsOf[] = { 8, 16, 32 };
      const U8 comparison = Flowspec::isBitfieldType( type ) ? 0x03 : 0x07;
      const U64 terms = 1 + below( 3 );
      for ( U64 i = 0; i < terms; ++i ) {
         U64 length = below( 3 );
         const U32 value = number( bitsOf[length] );
         if ( shortest ) {
            length = value <= 0xFF ? 0 : value <= 0xFFFF ? 1 : 2;
         }
         U64 op = ( any() & comparison ) | length << 4;
         if ( i > 0 && oneIn( 2 ) ) {
            op |= 0x40;
         }
         if ( i + 1 == terms ) {
            op |= 0x80;
         }
         index = key.setOpVal( index, type, static_cast< U8 >( op ), value );
      }
      return index;
   }

   Vek::String prefixText() { return oneIn( 2 ) ? "*" : anyPrefix().stringValue(); }

   Vek::String numberText() {
      const U64 value = oneIn( 10 ) ? any() : number( 32 );
      Vek::String text;
      Vek::TextWriter out( text );
      if ( oneIn( 4 ) ) {
         ( out << "0x" ).hex( value );
      } else {
         out << ( oneIn( 8 ) ? "0" : "" ) << value;
         out << ( oneIn( 50 ) ? "0000000000" : "" );
      }
      out.flush();
      return text;
   }

   std::mt19937_64 random_;
};

} // namespace TestSupport
