#include "agents/programd/nftables/BatchParts.h"

#include <algorithm>

#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>

namespace Agents::Nftables {

using namespace Dataplane::Nftables;
using Zorv::AddressFamily;

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

   void operator()( const SetMark& set ) {
      constexpr U32 others = ~markMask;
      loadMeta( NFT_META_MARK );
      bitwise( &others, &set.mark, sizeof others );
      expression( "meta", [&] {
         batch_.big32( NFTA_META_KEY, NFT_META_MARK );
         batch_.big32( NFTA_META_SREG, NFT_REG_1 );
      } );
   }

   void operator()( const Duplicate& duplicate ) {
      expression( "immediate", [&] {
         batch_.big32( NFTA_IMMEDIATE_DREG, NFT_REG_1 );
         value( NFTA_IMMEDIATE_DATA, duplicate.nextHop.bytes().data(),
                addressSize( batch_.family_ ) );
      } );
      expression( "dup", [&] { batch_.big32( NFTA_DUP_SREG_ADDR, NFT_REG_1 ); } );
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
