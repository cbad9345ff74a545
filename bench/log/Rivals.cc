#include "bench/log/Rivals.h"

#include <record.pb.h>
#include <record_generated.h>

#include <algorithm>
#include <array>
#include <bit>

namespace Bench {

namespace {

using Flowspec::FlowspecKey;
using Numbers = std::array< U64, 11 >;

Zorv::IpGenPrefix prefixOf( U32 family, const U8* bytes, U32 length ) {
   if ( family == 1 ) {
      return { Zorv::IpGenAddr::ipv4( Osk::loadBig32( bytes ) ), length };
   }
   if ( family == 2 ) {
      Zorv::IpGenAddr::Bytes address;
      std::copy_n( bytes, address.size(), address.begin() );
      return { Zorv::IpGenAddr::ipv6( address ), length };
   }
   return {};
}

} // namespace

struct FlatCodec::Builder {
   flatbuffers::FlatBufferBuilder builder{ 1024 };
   std::vector< BenchFlat::Word > words;
};

FlatCodec::FlatCodec() : builder_( std::make_unique< Builder >() ) {}
FlatCodec::~FlatCodec() = default;

std::span< const U8 > FlatCodec::encode( const Record& record ) {
   const auto prefix = []( const Zorv::IpGenPrefix& from ) {
      const auto& bytes = from.address().bytes();
      return BenchFlat::Prefix( static_cast< U8 >( from.family() ),
                                flatbuffers::span< const U8, 16 >( bytes.data(), 16 ),
                                from.length() );
   };
   auto& builder = builder_->builder;
   builder.Clear();
   builder_->words.clear();
   for ( const U64 word : record.key.matchOpVal().packed() ) {
      builder_->words.emplace_back( static_cast< U16 >( word >> 32 ), static_cast< U32 >( word ) );
   }
   const auto words = builder.CreateVectorOfStructs( builder_->words );
   const auto& ids = record.key.interfaceSet();
   const auto sets = builder.CreateVector( ids.data(), ids.size() );
   const auto dest = prefix( record.key.destPrefix() );
   const auto src = prefix( record.key.srcPrefix() );
   const auto numbers = std::bit_cast< Numbers >( record.value.coloredCounters() );
   const BenchFlat::Counters counters(
      flatbuffers::span< const U64, 11 >( numbers.data(), numbers.size() ) );
   builder.Finish( BenchFlat::CreateRecord(
      builder, record.key.vrfId(), static_cast< U8 >( record.key.addressFamily() ), &dest, &src,
      words, sets, &counters, record.value.version().value() ) );
   return { builder.GetBufferPointer(), builder.GetSize() };
}

bool FlatCodec::decode( std::span< const U8 > bytes, Record& record ) {
   flatbuffers::Verifier verifier( bytes.data(), bytes.size() );
   if ( !BenchFlat::VerifyRecordBuffer( verifier ) ) {
      return false;
   }
   const BenchFlat::Record& from = *BenchFlat::GetRecord( bytes.data() );
   FlowspecKey key;
   key.vrfIdIs( from.vrf_id() );
   key.addressFamilyIs( static_cast< Zorv::AddressFamily >( from.address_family() ) );
   const auto prefix = []( const BenchFlat::Prefix& p ) {
      return prefixOf( p.family(), p.bytes()->Data(), p.length() );
   };
   key.destPrefixIs( prefix( *from.dest_prefix() ) );
   key.srcPrefixIs( prefix( *from.src_prefix() ) );
   for ( const BenchFlat::Word* const word : *from.words() ) {
      key.matchOpValIs( word->index(), Flowspec::MatchOpVal( word->word() ) );
   }
   for ( const U16 id : *from.interface_sets() ) {
      key.interfaceSetPush( id );
   }
   record.key = std::move( key );
   Numbers numbers;
   std::copy_n( from.counters()->numbers()->begin(), numbers.size(), numbers.begin() );
   record.value = Flowspec::CounterVersion( std::bit_cast< QosLib::ColoredCounters >( numbers ),
                                            Osk::UniqueId( from.version() ) );
   return true;
}

struct ProtoCodec::Message {
   BenchProto::Record record;
};

ProtoCodec::ProtoCodec() : message_( std::make_unique< Message >() ) {}
ProtoCodec::~ProtoCodec() = default;

void ProtoCodec::encode( const Record& record, std::string& out ) {
   const auto fill = []( const Zorv::IpGenPrefix& from, BenchProto::Prefix& to ) {
      to.set_family( static_cast< U8 >( from.family() ) );
      to.set_address( from.address().bytes().data(), from.address().bytes().size() );
      to.set_length( from.length() );
   };
   BenchProto::Record& message = message_->record;
   message.Clear();
   message.set_vrf_id( record.key.vrfId() );
   message.set_address_family( static_cast< U8 >( record.key.addressFamily() ) );
   fill( record.key.destPrefix(), *message.mutable_dest_prefix() );
   fill( record.key.srcPrefix(), *message.mutable_src_prefix() );
   for ( const U64 member : record.key.matchOpVal().packed() ) {
      BenchProto::Word& word = *message.add_words();
      word.set_index( static_cast< U32 >( member >> 32 ) );
      word.set_word( static_cast< U32 >( member ) );
   }
   for ( const U16 id : record.key.interfaceSet() ) {
      message.add_interface_sets( id );
   }
   for ( const U64 number : std::bit_cast< Numbers >( record.value.coloredCounters() ) ) {
      message.add_counters( number );
   }
   message.set_version( record.value.version().value() );
   message.AppendToString( &out );
}

bool ProtoCodec::decode( std::span< const U8 > bytes, Record& record ) {
   BenchProto::Record& message = message_->record;
   if ( !message.ParseFromArray( bytes.data(), static_cast< int >( bytes.size() ) ) ||
        message.counters_size() != 11 ) {
      return false;
   }
   FlowspecKey key;
   key.vrfIdIs( message.vrf_id() );
   key.addressFamilyIs( static_cast< Zorv::AddressFamily >( message.address_family() ) );
   const auto prefix = []( const BenchProto::Prefix& p ) {
      return p.address().size() == 16
                ? prefixOf( p.family(), reinterpret_cast< const U8* >( p.address().data() ),
                            p.length() )
                : Zorv::IpGenPrefix();
   };
   key.destPrefixIs( prefix( message.dest_prefix() ) );
   key.srcPrefixIs( prefix( message.src_prefix() ) );
   for ( const BenchProto::Word& word : message.words() ) {
      key.matchOpValIs( word.index(), Flowspec::MatchOpVal( word.word() ) );
   }
   for ( const U32 id : message.interface_sets() ) {
      key.interfaceSetPush( static_cast< U16 >( id ) );
   }
   record.key = std::move( key );
   Numbers numbers;
   std::copy_n( message.counters().begin(), numbers.size(), numbers.begin() );
   record.value = Flowspec::CounterVersion( std::bit_cast< QosLib::ColoredCounters >( numbers ),
                                            Osk::UniqueId( message.version() ) );
   return true;
}

} // namespace Bench
