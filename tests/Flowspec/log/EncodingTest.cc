#include "Flowspec/FlowspecDalb.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/Hex.h"
#include "tests/support/KeyGenerator.h"
#include "tests/support/RandomTree.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::bytesOf;
using TestSupport::hexOf;
using TestSupport::KeyGenerator;
using TestSupport::logBytes;
using TestSupport::logValue;
using Trust = Vek::LogReader::Trust;

// A value is written as these bytes and read back from them, trusted or not.
template < typename T >
void expectEncoding( const T& value, const std::string& hex ) {
   const std::vector< U8 > bytes = bytesOf( hex );
   EXPECT_EQ( hexOf( logBytes( value ) ), hexOf( bytes ) );
   EXPECT_EQ( logValue< T >( bytes ), value );
   EXPECT_EQ( logValue< T >( bytes, Trust::trusted ), value );
   for ( std::size_t size = 0; size < bytes.size(); ++size ) {
      EXPECT_THROW( logValue< T >( std::span( bytes ).first( size ) ), Vek::StreamException )
         << "of " << size << " bytes";
   }
}

// Reading these bytes is refused with this message.
template < typename T >
void expectRefused( const std::string& hex, const std::string& message ) {
   try {
      logValue< T >( bytesOf( hex ) );
      ADD_FAILURE() << hex << " was read";
   } catch ( const Vek::StreamException& exception ) {
      EXPECT_EQ( exception.what(), message );
   }
}

const Zorv::IpGenAddr v4 = *Zorv::IpGenAddr::fromText( "192.0.2.1" );
const Zorv::IpGenAddr v6 = *Zorv::IpGenAddr::fromText( "2001:db8::1" );
const std::string v4Hex = "00000001 C0000201 00000000 00000000 00000000";
const std::string v6Hex = "00000002 20010DB8 00000000 00000000 00000001";
const std::string noAddress = "00000000 00000000 00000000 00000000 00000000";
const std::string noPrefix = noAddress + "00000000";

TEST( Encoding, PlainValues ) {
   expectEncoding( true, "01" );
   expectEncoding( false, "00" );
   EXPECT_EQ( logValue< bool >( bytesOf( "7F" ) ), true );
   expectEncoding( U8{ 0xAB }, "AB" );
   expectEncoding( U16{ 0xABCD }, "ABCD" );
   expectEncoding( U32{ 0x01020304 }, "01020304" );
   expectEncoding( U64{ 0x0102030405060708 }, "0102030405060708" );
   expectEncoding( 1.5F, "3FC00000" );
   expectEncoding( -2.0, "C000000000000000" );
   expectEncoding( Vek::String(), "00000000" );
   expectEncoding( Vek::String( "abc" ), "00000003 616263" );
   expectEncoding( Osk::UniqueId( 0xFEDC ), "000000000000FEDC" );
}

TEST( Encoding, NetworkValues ) {
   expectEncoding( Zorv::AddressFamily::ipv6, "00000002" );
   expectEncoding( Zorv::IntfId( 17 ), "0000000000000011" );
   expectEncoding( Zorv::IpTos( 184 ), "B8" );
   expectEncoding( *Zorv::RouteDistinguisher::fromText( "100:5" ), "0000006400000005" );
   expectEncoding( v4, v4Hex );
   expectEncoding( v6, v6Hex );
   expectEncoding( Zorv::IpGenAddr(), noAddress );
   expectEncoding( *Zorv::IpGenPrefix::fromText( "10.1.0.0/16" ),
                   "00000001 0A010000 00000000 00000000 00000000 00000010" );
   expectEncoding( *Zorv::IpGenPrefix::fromText( "2001:db8::/32" ),
                   "00000002 20010DB8 00000000 00000000 00000000 00000020" );
   expectEncoding( Zorv::IpGenPrefix(), noPrefix );
}

TEST( Encoding, HostBitsOfAPrefixAreCleared ) {
   EXPECT_EQ( logValue< Zorv::IpGenPrefix >(
                 bytesOf( "00000001 0A0102FF 00000000 00000000 000000FF 00000018" ) ),
              *Zorv::IpGenPrefix::fromText( "10.1.2.0/24" ) );
}

TEST( Encoding, AddressesThatCannotBeAreRefused ) {
   expectRefused< Zorv::IpGenAddr >( "00000003 00000000 00000000 00000000 00000000",
                                     "byte 4: no address has the family 3" );
   expectRefused< Zorv::IpGenPrefix >( v4Hex + "00000021", "byte 24: no prefix has the length 33" );
   expectRefused< Zorv::IpGenPrefix >( v6Hex + "00000081",
                                       "byte 24: no prefix has the length 129" );
   expectRefused< Zorv::IpGenPrefix >( noAddress + "00000001",
                                       "byte 24: no prefix has the length 1" );
}

TEST( Encoding, SiblingValues ) {
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( 1 );
   counters.byteHitsIs( 2 );
   counters.greenIs( { 3, 4, 5 } );
   counters.yellowIs( { 6, 7, 8 } );
   counters.redIs( { 9, 10, 11 } );
   std::string hex;
   for ( U8 number = 1; number <= 11; ++number ) {
      hex += "00000000000000" + hexOf( std::span( &number, 1 ) );
   }
   expectEncoding( counters, hex );
   EXPECT_EQ( logBytes( counters ).size(), 88U );
   expectEncoding( SrTePolicy::PolicyKey( 100, v6 ), "00000064" + v6Hex );
   expectEncoding( SrTePolicy::PolicyKey(), "00000000" + noAddress );
   expectEncoding( PolicyMap::PoliceRate( 5 ), "0000000000000005" );
   expectEncoding( PolicyMap::PoliceBurstSize( 6 ), "0000000000000006" );
   expectEncoding( PolicyMap::Dscp( 46 ), "2E" );
}

TEST( Encoding, ResolvedNexthops ) {
   expectEncoding( L3::ResolvedNexthopInfo(), "00000000 00000000" );
   expectEncoding(
      L3::ResolvedNexthopInfo( { v6, v4 }, { { v4, Zorv::IntfId( 3 ), L3::MplsLabel(), true },
                                             { v6, Zorv::IntfId( 4 ), L3::MplsLabel( 16 ) } } ),
      "00000002" + v4Hex + v6Hex + "00000002" + v4Hex + "0000000000000003 00100000 01" + v6Hex +
         "0000000000000004 00000010 00" );
   expectRefused< L3::ResolvedNexthopInfo >( "00000000 00000001" + v4Hex +
                                                "0000000000000003 00100001 01",
                                             "byte 40: no MPLS label has the number 1048577" );
   expectRefused< L3::ResolvedNexthopInfo >(
      "FFFFFFFF", "byte 0: a count of 4294967295 does not fit into what follows" );
}

TEST( Encoding, Enumerations ) {
   expectEncoding( MatchCompType::destPort, "00000005" );
   expectEncoding( HwRuleProgrammingStatus::resourceExhausted, "00000006" );
   expectEncoding( TrafficRedirectType::srTePolicy, "00000002" );
   EXPECT_EQ( logValue< HwRuleProgrammingStatus >( bytesOf( "00000104" ) ),
              HwRuleProgrammingStatus::unsupportedTcamProfile );
   EXPECT_EQ( logValue< HwRuleProgrammingStatus >( bytesOf( "00000009" ) ),
              static_cast< HwRuleProgrammingStatus >( 9 ) );
}

TEST( Encoding, SetsOfFlags ) {
   expectEncoding( TrafficAction( 3 ), "00000003" );
   expectEncoding( ActionFieldSet( 0x84 ), "00000084" );
   expectEncoding( IpVersion( 2 ), "00000002" );
   EXPECT_EQ( logValue< TrafficAction >( bytesOf( "00000005" ) ), TrafficAction( 1 ) );
   EXPECT_EQ( logValue< TrafficAction >( bytesOf( "000000FE" ) ), TrafficAction( 2 ) );
   expectRefused< TrafficAction >( "00000101",
                                   "byte 4: no Flowspec::TrafficAction has the bits 257" );
}

TEST( EncodingDeathTest, StrayBitsOfATrustedSetOfFlags ) {
   EXPECT_ASSERTION( logValue< ActionFieldSet >( bytesOf( "00000100" ), Trust::trusted ),
                     "( b & ~blockMask ) == U32( 0 )" );
}

TEST( Encoding, RangesAndMasks ) {
   expectEncoding( NumericalRange( 80, 443 ), "00000050 000001BB" );
   expectEncoding( TcpBitMask( true, 0x2, 0x12 ), "01 0002 0012" );
   expectEncoding( IpBitMask( false, 0x1, 0x3 ), "00 0001 0003" );
   EXPECT_THROW( logValue< NumericalRange >( bytesOf( "00000051 00000050" ) ),
                 Vek::RangeException );
}

TEST( Encoding, Terms ) {
   expectEncoding( MatchOpVal( 0x03810006 ), "03810006" );
   expectEncoding( MatchOpValIndex( 2046 ), "07FE" );
   expectEncoding( MatchOpValIndex(), "07FF" );
   EXPECT_THROW( logValue< MatchOpValIndex >( bytesOf( "0800" ) ), Vek::RangeException );
   expectEncoding( MatchOpValResult( MatchCompType::port, 0x91, 443, 3 ),
                   "00000004 91 000001BB 0003" );
}

TEST( Encoding, MatchComponents ) {
   expectEncoding( MatchComponent(), "00000000" + noPrefix + "00000000 00000000 00000000" );
   MatchComponent component( MatchCompType::destPrefix );
   component.prefixIs( *Zorv::IpGenPrefix::fromText( "10.1.0.0/16" ) );
   component.numericalRangeIs( NumericalRange( 9, 10 ) );
   component.numericalRangeIs( NumericalRange( 1, 2 ) );
   component.ipBitMaskIs( IpBitMask( true, 1, 1 ) );
   component.tcpBitMaskIs( TcpBitMask( false, 2, 18 ) );
   expectEncoding( component, "00000001 00000001 0A010000 00000000 00000000 00000000 00000010"
                              "00000002 00000001 00000002 00000009 0000000A 00000001 01 0001 0001"
                              "00000001 00 0002 0012" );
}

TEST( Encoding, ConfigurationValues ) {
   TrafficRedirect redirect;
   expectEncoding( redirect, "00FFFFFF 00000000" + noAddress + "00000000" + noAddress + "00" );
   redirect.vrfIdIs( 5 );
   redirect.typeIs( TrafficRedirectType::addr );
   redirect.addrIs( v4 );
   redirect.srTePolicyKeyIs( SrTePolicy::PolicyKey( 7, v6 ) );
   redirect.copyIs( true );
   expectEncoding( redirect, "00000005 00000001" + v4Hex + "00000007" + v6Hex + "01" );
   expectEncoding( InterfaceEnableConfig( Zorv::IntfId( 3 ), IpVersion( 3 ), "red" ),
                   "0000000000000003 00000003 00000003 726564" );
   expectEncoding( FlowspecIntfSetId(), "00 0000" );
   expectEncoding( FlowspecIntfSetId( 258 ), "01 0102" );
   expectEncoding( FlowspecIntfSetId( 0 ), "01 0000" );
   FlowspecIntfInterfaceSetConfig sets( Zorv::IntfId( 9 ) );
   expectEncoding( sets, "0000000000000009 00000000" );
   sets.interfaceSetIs( FlowspecIntfSetId( 5 ) );
   sets.interfaceSetIs( FlowspecIntfSetId( 4 ) );
   sets.interfaceSetIs( FlowspecIntfSetId() );
   expectEncoding( sets, "0000000000000009 00000003 00 0000 01 0004 01 0005" );
}

TEST( Encoding, StatusValues ) {
   expectEncoding( IntfErrorKey( Zorv::IntfId( 3 ), Zorv::AddressFamily::ipv4 ),
                   "0000000000000003 00000001" );
   const CounterVersion counts( QosLib::ColoredCounters(), Osk::UniqueId( 255 ) );
   expectEncoding( counts, std::string( 176, '0' ) + "00000000000000FF" );
   UnsupportedQual value( Zorv::AddressFamily::ipv6 );
   value.unsupportedActionsIs( ActionFieldSet( 0x20 ) );
   expectEncoding( value, "00000002 00000000 00000020" );
   value.qualIs( MatchCompType::flowLabel, "no" );
   value.qualIs( MatchCompType::port, "" );
   expectEncoding( value, "00000002 00000004 00000000 0000000D 00000002 6E6F 00000000 00000020" );
}

// The list of qualifiers ends at a number of 0, not at one that only looks like it.
TEST( Encoding, NumbersOfQualifiers ) {
   UnsupportedQual value( Zorv::AddressFamily::ipv4 );
   value.qualIs( destPrefix, "a" );
   EXPECT_EQ( logValue< UnsupportedQual >( bytesOf( "00000001 00000101 00000001 61 00000000"
                                                    "00000000" ) ),
              value )
      << "the low byte is the type";
   expectRefused< UnsupportedQual >( "00000001 00000100 00000000",
                                     "byte 8: no component has the type 256" );
   expectRefused< UnsupportedQual >( "00000001 00000001 00000001 61 FFFFFF00 00000000 00000000",
                                     "byte 17: no component has the type 4294967040" );
   EXPECT_THROW(
      logValue< UnsupportedQual >( bytesOf( "00000001 00000100 00000000" ), Trust::trusted ),
      Vek::StreamException );
}

TEST( Encoding, AQualifierOfTypeZeroCannotBeWritten ) {
   UnsupportedQual value( Zorv::AddressFamily::ipv4 );
   value.qualIs( MatchCompType::invalid, "what" );
   try {
      logBytes( value );
      ADD_FAILURE() << "it was written";
   } catch ( const Vek::DefaultKeyException& exception ) {
      EXPECT_STREQ( exception.what(), "Flowspec::UnsupportedQual qual holds the default key" );
   }
}

} // namespace
} // namespace Flowspec
