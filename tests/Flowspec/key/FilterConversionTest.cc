#include "Flowspec/key/FilterConversion.h"

#include "Classification/StructuredFilter.h"
#include "tests/support/KeyWords.h"

#include <gmock/gmock.h>

namespace {

using namespace Classification;
using Flowspec::FlowspecKey;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::words;

Zorv::IpGenPrefix prefix( std::string_view text ) {
   return Zorv::IpGenPrefix::fromText( text ).value();
}

/// The words of the key that a filter is converted to.
std::vector< std::string > wordsOf( const FlowspecKey::FilterPtr& filter ) {
   FlowspecKey key;
   key.copyInStructuredFilter( filter );
   return words( key );
}

/// The words for one packet length, which show how a range is written.
template < typename... Bounds >
std::vector< std::string > lengthWords( Bounds... bounds ) {
   const auto filter = structuredFilterFactory();
   filter->length.emplace( bounds... );
   return wordsOf( filter );
}

/// A filter with all criteria, two protocols and all kinds of duplicates.
Vek::Ptr< StructuredFilter > fullFilter() {
   const auto filter = structuredFilterFactory();
   filter->destPrefix = { prefix( "10.1.0.0/16" ), prefix( "10.0.0.0/8" ) };
   filter->srcPrefix = { prefix( "192.0.2.0/24" ), prefix( "198.51.100.0/24" ) };
   for ( const U32 protocol : { 17U, 6U } ) {
      ProtoField& proto = filter->proto[ProtocolRange( protocol )];
      for ( int i = 0; i < 2; ++i ) {
         PortField& port = proto.port[Osk::UniqueId()];
         port.dport = { PortRange( 443 ), PortRange( 80 ) };
         port.sport = { PortRange( 1024, 65535 ) };
      }
      proto.icmpType[IcmpTypeRange( 3 )].icmpCode = { IcmpCodeRange( 4 ), IcmpCodeRange( 0, 1 ) };
      proto.icmpType[IcmpTypeRange( 8 )].icmpCode = { IcmpCodeRange( 4 ) };
      proto.tcpFlagAndMask = { TcpFlagAndMask( 0x02, 0x12 ), TcpFlagAndMask( 0x01, 0x01 ) };
   }
   filter->length = { PacketLengthRange( 0, 300 ) };
   filter->dscp = { DscpRange( 46 ), DscpRange( 10, 14 ) };
   filter->fragment = fragmentFactory( FragmentType::anyFragment );
   return filter;
}

TEST( FilterConversion, EmptyFilterYieldsEmptyPrefixesAndNoWords ) {
   FlowspecKey key;
   key.copyInStructuredFilter( structuredFilterFactory() );
   EXPECT_EQ( key, FlowspecKey() );
}

TEST( FilterConversion, PrefixesAndWordsAreReplacedAndTheRestStays ) {
   FlowspecKey key;
   key.copyInStructuredFilter( fullFilter() );
   key.vrfIdIs( 7 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   key.interfaceSetPush( 3 );
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )];
   filter->srcPrefix = { prefix( "192.0.2.0/24" ) };
   key.copyInStructuredFilter( filter );
   EXPECT_EQ( key.vrfId(), 7U );
   EXPECT_EQ( key.addressFamily(), Zorv::AddressFamily::ipv6 );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 3 ) );
   EXPECT_TRUE( key.destPrefix().empty() );
   EXPECT_EQ( key.srcPrefix(), prefix( "192.0.2.0/24" ) );
   EXPECT_THAT( words( key ), ElementsAre( "0: ipProto 81 6" ) );
}

TEST( FilterConversion, FirstPrefixInTheOrderOfTheSetIsTaken ) {
   const auto filter = structuredFilterFactory();
   filter->destPrefix = { prefix( "2001:db8::/32" ), prefix( "10.1.0.0/16" ),
                          prefix( "10.0.0.0/8" ) };
   filter->srcPrefix = { prefix( "2001:db8:2::/48" ), prefix( "2001:db8:1::/48" ) };
   FlowspecKey key;
   key.copyInStructuredFilter( filter );
   EXPECT_EQ( key.destPrefix(), prefix( "10.0.0.0/8" ) );
   EXPECT_EQ( key.srcPrefix(), prefix( "2001:db8:1::/48" ) );
   EXPECT_THAT( words( key ), IsEmpty() );
}

TEST( FilterConversion, ProtocolsAreAlternatives ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 17 )];
   filter->proto[ProtocolRange( 6 )];
   EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: ipProto 1 6", "1: ipProto 81 17" ) );
   filter->proto[ProtocolRange( 0, 255 )];
   EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: ipProto 3 0", "1: ipProto 45 255",
                                                "2: ipProto 1 6", "3: ipProto 81 17" ) );
}

TEST( FilterConversion, RangeIsTwoTermsAndValueIsOne ) {
   EXPECT_THAT( lengthWords( 1024U, 2047U ),
                ElementsAre( "0: packetLength 13 1024", "1: packetLength d5 2047" ) );
   EXPECT_THAT( lengthWords( 80U, 80U ), ElementsAre( "0: packetLength 81 80" ) );
   EXPECT_THAT( lengthWords( 0U ), ElementsAre( "0: packetLength 81 0" ) );
   EXPECT_THAT( lengthWords( 0U, 1U ),
                ElementsAre( "0: packetLength 3 0", "1: packetLength c5 1" ) );
}

TEST( FilterConversion, ValuesAbove255TakeTwoBytes ) {
   EXPECT_THAT( lengthWords( 255U ), ElementsAre( "0: packetLength 81 255" ) );
   EXPECT_THAT( lengthWords( 256U ), ElementsAre( "0: packetLength 91 256" ) );
   EXPECT_THAT( lengthWords( 254U, 255U ),
                ElementsAre( "0: packetLength 3 254", "1: packetLength c5 255" ) );
   EXPECT_THAT( lengthWords( 255U, 256U ),
                ElementsAre( "0: packetLength 3 255", "1: packetLength d5 256" ) );
   EXPECT_THAT( lengthWords( 256U, 65535U ),
                ElementsAre( "0: packetLength 13 256", "1: packetLength d5 65535" ) );
}

TEST( FilterConversion, OnlyTheLastRangeEndsTheList ) {
   const auto filter = structuredFilterFactory();
   filter->length = { PacketLengthRange( 1500 ), PacketLengthRange( 64, 128 ),
                      PacketLengthRange( 64 ), PacketLengthRange( 9000, 9216 ) };
   EXPECT_THAT( wordsOf( filter ),
                ElementsAre( "0: packetLength 1 64", "1: packetLength 3 64",
                             "2: packetLength 45 128", "3: packetLength 11 1500",
                             "4: packetLength 13 9000", "5: packetLength d5 9216" ) );
   // Also of two that begin alike.
   filter->length = { PacketLengthRange( 64 ), PacketLengthRange( 64, 128 ) };
   EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: packetLength 1 64", "1: packetLength 3 64",
                                                "2: packetLength c5 128" ) );
}

TEST( FilterConversion, PortsOfAllProtocolsAndFieldsAreEmittedOnce ) {
   const auto filter = structuredFilterFactory();
   for ( const U32 protocol : { 6U, 17U } ) {
      ProtoField& proto = filter->proto[ProtocolRange( protocol )];
      proto.port[Osk::UniqueId()].dport = { PortRange( 1024, 2047 ) };
      proto.port[Osk::UniqueId()].dport = { PortRange( 80 ), PortRange( 1024, 2047 ) };
      proto.port[Osk::UniqueId()].sport = { PortRange( 1024, 2047 ), PortRange( 53 ) };
   }
   EXPECT_THAT( wordsOf( filter ),
                ElementsAre( "0: ipProto 1 6", "1: ipProto 81 17", "2: destPort 1 80",
                             "3: destPort 13 1024", "4: destPort d5 2047", "5: srcPort 1 53",
                             "6: srcPort 13 1024", "7: srcPort d5 2047" ) );
}

TEST( FilterConversion, IcmpTypesAreKeptAndTheirCodesEmittedOnce ) {
   const auto filter = structuredFilterFactory();
   for ( const U32 protocol : { 1U, 58U } ) {
      ProtoField& proto = filter->proto[ProtocolRange( protocol )];
      proto.icmpType[IcmpTypeRange( 8 )].icmpCode = { IcmpCodeRange( 0 ) };
      proto.icmpType[IcmpTypeRange( 3 )].icmpCode = { IcmpCodeRange( 1, 4 ), IcmpCodeRange( 0 ) };
   }
   // Every copy of the last range ends the list.
   EXPECT_THAT( wordsOf( filter ),
                ElementsAre( "0: ipProto 1 1", "1: ipProto 81 58", "2: icmpType 1 3",
                             "3: icmpType 1 3", "4: icmpType 81 8", "5: icmpType 81 8",
                             "6: icmpCode 1 0", "7: icmpCode 3 1", "8: icmpCode c5 4" ) );
   filter->proto[ProtocolRange( 1 )].icmpType.clear();
   filter->proto[ProtocolRange( 1 )].icmpType[IcmpTypeRange( 8, 255 )];
   filter->proto[ProtocolRange( 58 )].icmpType.clear();
   filter->proto[ProtocolRange( 58 )].icmpType[IcmpTypeRange( 8, 255 )];
   EXPECT_THAT( wordsOf( filter ),
                ElementsAre( "0: ipProto 1 1", "1: ipProto 81 58", "2: icmpType 3 8",
                             "3: icmpType c5 255", "4: icmpType 3 8", "5: icmpType c5 255" ) );
}

TEST( FilterConversion, DscpValuesTakeOneByte ) {
   const auto filter = structuredFilterFactory();
   filter->dscp = { DscpRange( 46 ), DscpRange( 0, 63 ) };
   EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: dscp 3 0", "1: dscp 45 63", "2: dscp 81 46" ) );
}

TEST( FilterConversion, OnlyTheFragmentTypeOfAnyFragmentIsCarried ) {
   const auto filter = structuredFilterFactory();
   filter->dscp = { DscpRange( 46 ) };
   EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: dscp 81 46" ) );
   filter->fragment = fragmentFactory( FragmentType::anyFragment );
   EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: dscp 81 46", "1: fragment 80 2" ) );
   for ( const FragmentType type : { FragmentType::firstFragment, FragmentType::nonFirstFragment,
                                     FragmentType::notFragment, FragmentType{ 255 } } ) {
      filter->fragment = fragmentFactory( type );
      EXPECT_THAT( wordsOf( filter ), ElementsAre( "0: dscp 81 46" ) );
   }
}

TEST( FilterConversion, ComponentsAreInTheOrderOfTheirTypes ) {
   FlowspecKey key;
   key.copyInStructuredFilter( fullFilter() );
   EXPECT_EQ( key.destPrefix(), prefix( "10.0.0.0/8" ) );
   EXPECT_EQ( key.srcPrefix(), prefix( "192.0.2.0/24" ) );
   EXPECT_EQ( key.toStrepCli( true ),
              "10.0.0.0/8;192.0.2.0/24;IP:=0L6|=0L17;DP:=0L80|=1L443;SP:>=1L1024&<=1L65535;"
              "IT:=0L3|=0L3|=0L8|=0L8;IC:>=0L0&<=0L1|=0L4;"
              "TCP:=0L1|=0L1|=0L2&!0L16|=0L2&!0L16;LEN:>=0L0&<=1L300;"
              "DSCP:>=0L10&<=0L14|=0L46;FRAG:0L2;" );
}

} // namespace
