#include "agents/programd/nftables/Batch.h"

#include "agents/programd/nftables/BatchParts.h"

#include <arpa/inet.h>
#include <endian.h>
#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>

namespace Agents::Nftables {

using namespace Dataplane::Nftables;
using Zorv::AddressFamily;

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

void Batch::verdict( U16 attribute, int code, const Vek::String& chain ) {
   const Nest data( *this, attribute );
   const Nest value( *this, NFTA_DATA_VERDICT );
   big32( NFTA_VERDICT_CODE, static_cast< U32 >( code ) );
   if ( !chain.empty() ) {
      text( NFTA_VERDICT_CHAIN, chain );
   }
}

} // namespace Agents::Nftables
