#include "agents/programd/nftables/Batch.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <arpa/inet.h>
#include <endian.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

namespace Agents::Nftables {

using namespace Dataplane::Nftables;
using Zorv::AddressFamily;

namespace {

// The numbers that nft knows the types of keys by; the kernel just keeps them.
constexpr U32 integerType = 4;
constexpr U32 ipv4Type = 7;
constexpr U32 ipv6Type = 8;
constexpr U32 protocolType = 12;
constexpr U32 serviceType = 13;
constexpr U32 interfaceType = 41;

constexpr std::size_t interfaceSize = 16;
using InterfaceKey = std::array< char, interfaceSize >;

InterfaceKey interfaceKey( const Vek::String& name ) {
   InterfaceKey key{};
   std::copy_n( name.begin(), std::min( name.size(), interfaceSize - 1 ), key.begin() );
   return key;
}

std::size_t addressSize( AddressFamily family ) { return family == AddressFamily::ipv6 ? 16 : 4; }

// A number as it is in packets.
std::array< U8, 4 > numberBytes( U32 value, U8 size ) {
   std::array< U8, 4 > bytes{};
   for ( U8 i = 0; i < size; ++i ) {
      bytes[i] = static_cast< U8 >( value >> 8 * ( size - 1 - i ) );
   }
   return bytes;
}

} // namespace

/// An attribute that holds others, until the end of its block.
class Batch::Nest {
public:
   Nest( Batch& batch, U16 type ) : batch_( batch ), at_( batch.bytes_.size() ) {
      batch.put( static_cast< U16 >( type | NLA_F_NESTED ), nullptr, 0 );
   }
   Nest( const Nest& ) = delete;
   Nest& operator=( const Nest& ) = delete;
   ~Nest() {
      const U16 length = static_cast< U16 >( batch_.bytes_.size() - at_ );
      std::memcpy( &batch_.bytes_[at_], &length, sizeof length );
   }

private:
   Batch& batch_;
   const std::size_t at_;
};

Batch::Batch() {
   begin( NFNL_MSG_BATCH_BEGIN, 0 );
   end();
}

// The header of the next message; `end` completes it.
void Batch::begin( U16 type, U16 flags ) {
   const bool marks = type == NFNL_MSG_BATCH_BEGIN || type == NFNL_MSG_BATCH_END;
   header_ = bytes_.size();
   nlmsghdr header{};
   header.nlmsg_type = marks ? type : static_cast< U16 >( NFNL_SUBSYS_NFTABLES << 8 | type );
   header.nlmsg_flags = static_cast< U16 >( NLM_F_REQUEST | flags );
   header.nlmsg_seq = sequence_;
   nfgenmsg family{};
   family.nfgen_family =
      marks ? U8{ AF_UNSPEC }
            : static_cast< U8 >( family_ == AddressFamily::ipv6 ? NFPROTO_IPV6 : NFPROTO_IPV4 );
   family.res_id = marks ? htons( NFNL_SUBSYS_NFTABLES ) : U16{ 0 };
   bytes_.resize( header_ + sizeof header + sizeof family );
   std::memcpy( &bytes_[header_], &header, sizeof header );
   std::memcpy( &bytes_[header_ + sizeof header], &family, sizeof family );
}

void Batch::end() {
   const U32 length = static_cast< U32 >( bytes_.size() - header_ );
   std::memcpy( &bytes_[header_], &length, sizeof length );
   ++sequence_;
}

std::span< const char > Batch::finish() {
   begin( NFNL_MSG_BATCH_END, 0 );
   end();
   return bytes_;
}

void Batch::put( U16 type, const void* data, std::size_t size ) {
   const std::size_t at = bytes_.size();
   const nlattr header{ static_cast< U16 >( NLA_HDRLEN + size ), type };
   bytes_.resize( at + NLA_HDRLEN + NLA_ALIGN( size ) );
   std::memcpy( &bytes_[at], &header, sizeof header );
   if ( size > 0 ) {
      std::memcpy( &bytes_[at + NLA_HDRLEN], data, size );
   }
}

void Batch::text( U16 type, std::string_view text ) {
   const Vek::String terminated( text );
   put( type, terminated.c_str(), terminated.size() + 1 );
}

void Batch::big16( U16 type, U16 value ) {
   value = htobe16( value );
   put( type, &value, sizeof value );
}

void Batch::big32( U16 type, U32 value ) {
   value = htobe32( value );
   put( type, &value, sizeof value );
}

void Batch::big64( U16 type, U64 value ) {
   value = htobe64( value );
   put( type, &value, sizeof value );
}

void Batch::addTable() {
   begin( NFT_MSG_NEWTABLE, NLM_F_CREATE );
   text( NFTA_TABLE_NAME, tableName );
   big32( NFTA_TABLE_FLAGS, 0 );
   end();
}

void Batch::delTable() {
   begin( NFT_MSG_DELTABLE, 0 );
   text( NFTA_TABLE_NAME, tableName );
   end();
}

void Batch::addFault() {
   begin( NFT_MSG_DELTABLE, NLM_F_ACK );
   text( NFTA_TABLE_NAME, "flowspec-not-there" );
   end();
}

// Begins a message about something of the table.
void Batch::named( U16 message, U16 flags, U16 tableAttribute, U16 nameAttribute,
                   const Vek::String& name ) {
   begin( message, flags );
   text( tableAttribute, tableName );
   text( nameAttribute, name );
}

void Batch::object( U16 message, U16 flags, const Vek::String& name, U32 type ) {
   named( message, flags, NFTA_OBJ_TABLE, NFTA_OBJ_NAME, name );
   big32( NFTA_OBJ_TYPE, type );
}

void Batch::addCounter( const Vek::String& name, U64 packets, U64 bytes ) {
   object( NFT_MSG_NEWOBJ, NLM_F_CREATE, name, NFT_OBJECT_COUNTER );
   {
      const Nest data( *this, NFTA_OBJ_DATA );
      big64( NFTA_COUNTER_BYTES, bytes );
      big64( NFTA_COUNTER_PACKETS, packets );
   }
   end();
}

void Batch::addLimit( const Vek::String& name, const Limit& limit ) {
   object( NFT_MSG_NEWOBJ, NLM_F_CREATE, name, NFT_OBJECT_LIMIT );
   {
      const Nest data( *this, NFTA_OBJ_DATA );
      big64( NFTA_LIMIT_RATE, limit.perUnit );
      big64( NFTA_LIMIT_UNIT, limit.unit );
      big32( NFTA_LIMIT_BURST, limit.burst );
      big32( NFTA_LIMIT_TYPE, limit.bytes ? NFT_LIMIT_PKT_BYTES : NFT_LIMIT_PKTS );
      big32( NFTA_LIMIT_FLAGS, NFT_LIMIT_F_INV );
   }
   end();
}

void Batch::delCounter( const Vek::String& name ) {
   object( NFT_MSG_DELOBJ, 0, name, NFT_OBJECT_COUNTER );
   end();
}

void Batch::delLimit( const Vek::String& name ) {
   object( NFT_MSG_DELOBJ, 0, name, NFT_OBJECT_LIMIT );
   end();
}

void Batch::addChain( const Vek::String& name ) {
   named( NFT_MSG_NEWCHAIN, NLM_F_CREATE, NFTA_CHAIN_TABLE, NFTA_CHAIN_NAME, name );
   if ( name == baseChain ) {
      {
         const Nest hook( *this, NFTA_CHAIN_HOOK );
         big32( NFTA_HOOK_HOOKNUM, NF_INET_PRE_ROUTING );
         big32( NFTA_HOOK_PRIORITY, static_cast< U32 >( hookPriority ) );
      }
      big32( NFTA_CHAIN_POLICY, NF_ACCEPT );
      text( NFTA_CHAIN_TYPE, "filter" );
   }
   end();
}

void Batch::delChain( const Vek::String& name ) {
   named( NFT_MSG_DELCHAIN, 0, NFTA_CHAIN_TABLE, NFTA_CHAIN_NAME, name );
   end();
}

void Batch::flushChain( const Vek::String& name ) {
   named( NFT_MSG_DELRULE, 0, NFTA_RULE_TABLE, NFTA_RULE_CHAIN, name );
   end();
}

void Batch::addMap( const Vek::String& name, U32 flags, U32 keyType, U32 keySize, bool verdicts ) {
   named( NFT_MSG_NEWSET, NLM_F_CREATE, NFTA_SET_TABLE, NFTA_SET_NAME, name );
   big32( NFTA_SET_FLAGS, flags | ( verdicts ? U32{ NFT_SET_MAP } : 0U ) );
   big32( NFTA_SET_KEY_TYPE, keyType );
   big32( NFTA_SET_KEY_LEN, keySize );
   if ( verdicts ) {
      big32( NFTA_SET_DATA_TYPE, NFT_DATA_VERDICT );
   }
   big32( NFTA_SET_ID, ++sets_ );
   // For nft, the order of the bytes of a key, 1 for the host's: the attribute 0 of 4 bytes.
   const U32 order = keyType == interfaceType ? 1 : 2;
   std::array< U8, 6 > forNft{ 0, 4 };
   std::memcpy( &forNft[2], &order, sizeof order );
   put( NFTA_SET_USERDATA, forNft.data(), forNft.size() );
}

void Batch::addInterfaceSet( const Vek::String& name ) {
   addMap( name, 0, interfaceType, interfaceSize, false );
   end();
}

void Batch::addInterfaceMap() {
   addMap( Vek::String( interfaceMap ), 0, interfaceType, interfaceSize, true );
   end();
}

void Batch::addDestinationMap( const Vek::String& name ) {
   const bool v6 = family_ == AddressFamily::ipv6;
   addMap( name, NFT_SET_INTERVAL, v6 ? ipv6Type : ipv4Type,
           static_cast< U32 >( addressSize( family_ ) ), true );
   end();
}

void Batch::delSet( const Vek::String& name ) {
   named( NFT_MSG_DELSET, 0, NFTA_SET_TABLE, NFTA_SET_NAME, name );
   end();
}

void Batch::verdict( U16 attribute, int code, const Vek::String& chain ) {
   const Nest data( *this, attribute );
   const Nest value( *this, NFTA_DATA_VERDICT );
   big32( NFTA_VERDICT_CODE, static_cast< U32 >( code ) );
   if ( !chain.empty() ) {
      text( NFTA_VERDICT_CHAIN, chain );
   }
}

// Begins a message about elements of a set.
void Batch::elements( bool add, const Vek::String& set ) {
   named( add ? NFT_MSG_NEWSETELEM : NFT_MSG_DELSETELEM, add ? U16{ NLM_F_CREATE } : U16{ 0 },
          NFTA_SET_ELEM_LIST_TABLE, NFTA_SET_ELEM_LIST_SET, set );
}

void Batch::interface( bool add, const Vek::String& set, const Vek::String& interface,
                       const Vek::String& chain ) {
   elements( add, set );
   {
      const Nest list( *this, NFTA_SET_ELEM_LIST_ELEMENTS );
      const Nest element( *this, NFTA_LIST_ELEM );
      {
         const Nest key( *this, NFTA_SET_ELEM_KEY );
         put( NFTA_DATA_VALUE, interfaceKey( interface ).data(), interfaceSize );
      }
      if ( !chain.empty() ) {
         verdict( NFTA_SET_ELEM_DATA, NFT_GOTO, chain );
      }
   }
   end();
}

void Batch::intervals( bool add, const Vek::String& map, std::span< const Interval > intervals ) {
   // A list is an attribute, of 65535 bytes at the most.
   constexpr std::size_t atOnce = 128;
   const std::size_t size = addressSize( family_ );
   for ( std::size_t at = 0; at < intervals.size(); at += atOnce ) {
      elements( add, map );
      {
         const Nest list( *this, NFTA_SET_ELEM_LIST_ELEMENTS );
         const std::size_t count = std::min( atOnce, intervals.size() - at );
         for ( const Interval& interval : intervals.subspan( at, count ) ) {
            {
               const Nest element( *this, NFTA_LIST_ELEM );
               {
                  const Nest key( *this, NFTA_SET_ELEM_KEY );
                  put( NFTA_DATA_VALUE, interval.first.bytes().data(), size );
               }
               verdict( NFTA_SET_ELEM_DATA, NFT_GOTO, interval.chain );
            }
            // Where it ends; the last address of all has nothing after it.
            Zorv::IpGenAddr::Bytes after = interval.last.bytes();
            std::size_t digit = size;
            while ( digit > 0 && ++after[digit - 1] == 0 ) {
               --digit;
            }
            if ( digit > 0 ) {
               const Nest element( *this, NFTA_LIST_ELEM );
               big32( NFTA_SET_ELEM_FLAGS, NFT_SET_ELEM_INTERVAL_END );
               const Nest key( *this, NFTA_SET_ELEM_KEY );
               put( NFTA_DATA_VALUE, after.data(), size );
            }
         }
      }
      end();
   }
}

// A set of the numbers of a test that goes with its line; its number in this transaction.
U32 Batch::addNumberSet( const Test& test ) {
   const bool intervals = std::ranges::any_of(
      test.ranges, []( const Range& range ) { return range.low != range.high; } );
   const U32 type = test.field.source == Field::Source::l4proto ? protocolType
                    : test.field.source == Field::Source::transport && test.field.offset < 4 &&
                          test.field.size == 2
                       ? serviceType
                       : integerType;
   addMap( "__set%d",
           U32{ NFT_SET_ANONYMOUS | NFT_SET_CONSTANT } |
              ( intervals ? U32{ NFT_SET_INTERVAL } : 0U ),
           type, test.field.size, false );
   end();
   const U32 id = sets_;
   constexpr std::size_t atOnce = 512;
   for ( std::size_t at = 0; at < test.ranges.size(); at += atOnce ) {
      elements( true, "__set%d" );
      big32( NFTA_SET_ELEM_LIST_SET_ID, id );
      {
         const Nest list( *this, NFTA_SET_ELEM_LIST_ELEMENTS );
         const auto addElement = [&]( U32 value, bool ends ) {
            const Nest element( *this, NFTA_LIST_ELEM );
            if ( ends ) {
               big32( NFTA_SET_ELEM_FLAGS, NFT_SET_ELEM_INTERVAL_END );
            }
            const Nest key( *this, NFTA_SET_ELEM_KEY );
            put( NFTA_DATA_VALUE, numberBytes( value, test.field.size ).data(), test.field.size );
         };
         const std::size_t end = std::min( at + atOnce, test.ranges.size() );
         for ( std::size_t i = at; i < end; ++i ) {
            addElement( test.ranges[i].low, false );
            if ( intervals && test.ranges[i].high < test.field.allBits() ) {
               addElement( test.ranges[i].high + 1, true );
            }
         }
      }
      end();
   }
   return id;
}

/// Writes the expressions of one line.
class Expressions {
public:
   /// `sets` are the numbers of the sets of its tests, in their order.
   Expressions( Batch& batch, std::span< const U32 > sets ) : batch_( batch ), sets_( sets ) {}

   void operator()( const Test& test ) {
      const Field& field = test.field;
      load( field );
      if ( field.mask != field.allBits() ) {
         const auto mask = numberBytes( field.mask, field.size );
         bitwise( mask.data(), nullptr, field.size );
      }
      if ( test.ranges.size() > 1 ) {
         expression( "lookup", [&] {
            batch_.text( NFTA_LOOKUP_SET, "__set%d" );
            batch_.big32( NFTA_LOOKUP_SREG, NFT_REG_1 );
            batch_.big32( NFTA_LOOKUP_SET_ID, sets_.front() );
            if ( test.negated ) {
               batch_.big32( NFTA_LOOKUP_FLAGS, NFT_LOOKUP_F_INV );
            }
         } );
         sets_ = sets_.subspan( 1 );
         return;
      }
      const Range range = test.ranges.front();
      if ( range.low == range.high ) {
         compare( test.negated ? NFT_CMP_NEQ : NFT_CMP_EQ, range.low, field.size );
      } else {
         compare( NFT_CMP_GTE, range.low, field.size );
         compare( NFT_CMP_LTE, range.high, field.size );
      }
   }

   void operator()( const SourceTest& test ) {
      const bool v6 = test.prefix.family() == AddressFamily::ipv6;
      const U32 size = v6 ? 16 : 4;
      loadPayload( NFT_PAYLOAD_NETWORK_HEADER, v6 ? 8 : 12, size );
      if ( test.prefix.length() < 8 * size ) {
         std::array< U8, 16 > mask{};
         for ( std::size_t bit = 0; bit < test.prefix.length(); ++bit ) {
            mask[bit / 8] = static_cast< U8 >( mask[bit / 8] | 0x80U >> bit % 8 );
         }
         bitwise( mask.data(), nullptr, size );
      }
      compare( NFT_CMP_EQ, test.prefix.address().bytes().data(), size );
   }

   void operator()( const NoFragmentHeader& ) {
      loadFragment( 0, 1, NFT_EXTHDR_F_PRESENT );
      const U8 no = 0;
      compare( NFT_CMP_EQ, &no, 1 );
   }

   void operator()( const InterfaceTest& test ) {
      loadMeta( NFT_META_IIFNAME );
      expression( "lookup", [&] {
         batch_.text( NFTA_LOOKUP_SET, test.set );
         batch_.big32( NFTA_LOOKUP_SREG, NFT_REG_1 );
      } );
   }

   void operator()( const Count& count ) { refer( NFT_OBJECT_COUNTER, count.counter ); }
   void operator()( const OverLimit& over ) { refer( NFT_OBJECT_LIMIT, over.limit ); }

   void operator()( const Log& log ) {
      expression( "log", [&] {
         batch_.big16( NFTA_LOG_GROUP, log.group );
         batch_.text( NFTA_LOG_PREFIX, log.prefix );
      } );
   }

   void operator()( const SetDscp& set ) {
      const bool v6 = batch_.family_ == AddressFamily::ipv6;
      const auto mask = numberBytes( v6 ? 0xF03F : 0xFF03, 2 );
      const auto value = numberBytes( U32{ set.dscp } << ( v6 ? 6 : 2 ), 2 );
      loadPayload( NFT_PAYLOAD_NETWORK_HEADER, 0, 2 );
      bitwise( mask.data(), value.data(), 2 );
      expression( "payload", [&] {
         batch_.big32( NFTA_PAYLOAD_SREG, NFT_REG_1 );
         batch_.big32( NFTA_PAYLOAD_BASE, NFT_PAYLOAD_NETWORK_HEADER );
         batch_.big32( NFTA_PAYLOAD_OFFSET, 0 );
         batch_.big32( NFTA_PAYLOAD_LEN, 2 );
         if ( !v6 ) {
            batch_.big32( NFTA_PAYLOAD_CSUM_TYPE, NFT_PAYLOAD_CSUM_INET );
            batch_.big32( NFTA_PAYLOAD_CSUM_OFFSET, 10 );
         }
      } );
   }

   void operator()( const Dispatch& dispatch ) {
      if ( dispatch.by == Dispatch::By::interface ) {
         loadMeta( NFT_META_IIFNAME );
      } else if ( batch_.family_ == AddressFamily::ipv6 ) {
         loadPayload( NFT_PAYLOAD_NETWORK_HEADER, 24, 16 );
      } else {
         loadPayload( NFT_PAYLOAD_NETWORK_HEADER, 16, 4 );
      }
      expression( "lookup", [&] {
         batch_.text( NFTA_LOOKUP_SET, dispatch.map );
         batch_.big32( NFTA_LOOKUP_SREG, NFT_REG_1 );
         batch_.big32( NFTA_LOOKUP_DREG, NFT_REG_VERDICT );
      } );
   }

   void operator()( const Verdict& verdict ) {
      expression( "immediate", [&] {
         batch_.big32( NFTA_IMMEDIATE_DREG, NFT_REG_VERDICT );
         batch_.verdict( NFTA_IMMEDIATE_DATA, codeOf( verdict.kind ), verdict.chain );
      } );
   }

private:
   static int codeOf( Verdict::Kind kind ) {
      switch ( kind ) {
      case Verdict::Kind::accept:
         return NF_ACCEPT;
      case Verdict::Kind::drop:
         return NF_DROP;
      case Verdict::Kind::jump:
         return NFT_JUMP;
      case Verdict::Kind::jumpTo:
         break;
      }
      return NFT_GOTO;
   }

   template < typename Body >
   void expression( std::string_view name, Body body ) {
      const Batch::Nest element( batch_, NFTA_LIST_ELEM );
      batch_.text( NFTA_EXPR_NAME, name );
      const Batch::Nest data( batch_, NFTA_EXPR_DATA );
      body();
   }

   void load( const Field& field ) {
      switch ( field.source ) {
      case Field::Source::l4proto:
         return loadMeta( NFT_META_L4PROTO );
      case Field::Source::network:
         return loadPayload( NFT_PAYLOAD_NETWORK_HEADER, field.offset, field.size );
      case Field::Source::transport:
         return loadPayload( NFT_PAYLOAD_TRANSPORT_HEADER, field.offset, field.size );
      case Field::Source::fragmentHeader:
         return loadFragment( field.offset, field.size, 0 );
      }
   }

   void loadMeta( U32 key ) {
      expression( "meta", [&] {
         batch_.big32( NFTA_META_KEY, key );
         batch_.big32( NFTA_META_DREG, NFT_REG_1 );
      } );
   }

   void loadPayload( U32 base, U32 offset, U32 size ) {
      expression( "payload", [&] {
         batch_.big32( NFTA_PAYLOAD_DREG, NFT_REG_1 );
         batch_.big32( NFTA_PAYLOAD_BASE, base );
         batch_.big32( NFTA_PAYLOAD_OFFSET, offset );
         batch_.big32( NFTA_PAYLOAD_LEN, size );
      } );
   }

   void loadFragment( U32 offset, U32 size, U32 flags ) {
      constexpr U8 fragmentHeader = 44;
      expression( "exthdr", [&] {
         batch_.big32( NFTA_EXTHDR_DREG, NFT_REG_1 );
         batch_.put( NFTA_EXTHDR_TYPE, &fragmentHeader, 1 );
         batch_.big32( NFTA_EXTHDR_OFFSET, offset );
         batch_.big32( NFTA_EXTHDR_LEN, size );
         batch_.big32( NFTA_EXTHDR_FLAGS, flags );
      } );
   }

   void value( U16 attribute, const void* bytes, std::size_t size ) {
      const Batch::Nest data( batch_, attribute );
      batch_.put( NFTA_DATA_VALUE, bytes, size );
   }

   // Masks what was loaded, and sets bits beside.
   void bitwise( const void* mask, const void* set, U32 size ) {
      static constexpr std::array< U8, 16 > nothing{};
      expression( "bitwise", [&] {
         batch_.big32( NFTA_BITWISE_SREG, NFT_REG_1 );
         batch_.big32( NFTA_BITWISE_DREG, NFT_REG_1 );
         batch_.big32( NFTA_BITWISE_LEN, size );
         value( NFTA_BITWISE_MASK, mask, size );
         value( NFTA_BITWISE_XOR, set ? set : nothing.data(), size );
      } );
   }

   void compare( U32 operation, const void* bytes, std::size_t size ) {
      expression( "cmp", [&] {
         batch_.big32( NFTA_CMP_SREG, NFT_REG_1 );
         batch_.big32( NFTA_CMP_OP, operation );
         value( NFTA_CMP_DATA, bytes, size );
      } );
   }
   void compare( U32 operation, U32 number, U8 size ) {
      const auto bytes = numberBytes( number, size );
      compare( operation, bytes.data(), size );
   }

   void refer( U32 type, const Vek::String& name ) {
      expression( "objref", [&] {
         batch_.big32( NFTA_OBJREF_IMM_TYPE, type );
         batch_.text( NFTA_OBJREF_IMM_NAME, name );
      } );
   }

   Batch& batch_;
   std::span< const U32 > sets_;
};

void Batch::addLine( const Vek::String& chain, const Line& line ) {
   std::vector< U32 > sets;
   for ( const Expression& expression : line ) {
      const auto* const test = std::get_if< Test >( &expression );
      if ( test && test->ranges.size() > 1 ) {
         sets.push_back( addNumberSet( *test ) );
      }
   }
   named( NFT_MSG_NEWRULE, NLM_F_CREATE | NLM_F_APPEND, NFTA_RULE_TABLE, NFTA_RULE_CHAIN, chain );
   {
      const Nest list( *this, NFTA_RULE_EXPRESSIONS );
      Expressions expressions( *this, sets );
      for ( const Expression& expression : line ) {
         std::visit( expressions, expression );
      }
   }
   end();
}

} // namespace Agents::Nftables
