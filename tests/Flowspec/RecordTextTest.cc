#include "Vek/types/RecordText.h"

#include "Flowspec/config/RuleConfig.h"
#include "Flowspec/status/IntfErrorKey.h"
#include "Flowspec/vocab/HwRuleProgrammingStatus.h"
#include "Vek/types/TypeRegistry.h"
#include "Zorv/IntfId.h"
#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

using TestSupport::raisesRange;

template < typename T >
const Vek::TypeInfo& typeOf() {
   return *Vek::TypeRegistry::find( Vek::valueType< T >.name );
}

template < typename T >
void goesAndComes( const T& value, const Vek::String& text ) {
   EXPECT_EQ( Vek::valueText( typeOf< T >(), &value ), text );
   T read{};
   Vek::textToValue( typeOf< T >(), text, &read );
   EXPECT_EQ( read, value ) << text;
}

template < typename T >
void isRefused( T value, const std::string& text, const std::string& message ) {
   const T before = value;
   EXPECT_THAT( [&] { Vek::textToValue( typeOf< T >(), text, &value ); }, raisesRange( message ) )
      << text;
   EXPECT_EQ( value, before ) << text;
}

TEST( RecordText, AttributesInDeclaredOrder ) {
   goesAndComes( NumericalRange( 80, 443 ), "80;443;" );
   goesAndComes( NumericalRange(), "16777216;16777216;" );
   goesAndComes( IpBitMask( false, 1, 3 ), "0;1;3;" );
   goesAndComes( TcpBitMask( true, 2, 0x12 ), "1;2;18;" );
   goesAndComes( MatchOpVal( destPort, 0x91, 443 ), "93389243;" );
   goesAndComes( MatchOpValResult( port, 0x81, 80, 1 ), "port;129;80;1;" );
}

TEST( RecordText, OwnTextsOfTypes ) {
   goesAndComes( ActionFieldSet( 6 ), "trafficPermit|trafficDrop" );
   goesAndComes( ActionFieldSet(), "" );
   goesAndComes( TrafficAction( 3 ), "sampleAndLog|continueMatch" );
   goesAndComes( destPort, "destPort" );
   goesAndComes( TrafficRedirectType::addr, "addr" );
   goesAndComes( TcpBitMask::TcpBit::tcpAck, "tcpAck" );
   goesAndComes( U16{ 65535 }, "65535" );
   goesAndComes( U64{ 18446744073709551615U }, "18446744073709551615" );
   goesAndComes( true, "1" );
   goesAndComes( 1.5, "1.5" );
   goesAndComes( 0.1F, "0.1" );
   goesAndComes( Vek::String( "a;b" ), "a;b" );
   goesAndComes( Zorv::IntfId( 7 ), "intf7" );
   goesAndComes( Zorv::IpGenAddr(), "" );
   goesAndComes( Osk::UniqueId( 0xABC ), "0000000000000abc" );
   goesAndComes( Osk::UniqueId( 0 ), "0000000000000000" );
   goesAndComes( IntfErrorKey( Zorv::IntfId( 7 ), Zorv::AddressFamily::ipv6 ), "intf7,ipv6" );
   goesAndComes( programmedWithFailures, "programmedWithFailures" );
   goesAndComes( Zorv::IpGenAddr::ipv4( 0xC0000201 ), "192.0.2.1" );
}

TEST( RecordText, WhatIsNoRecordChangesNothing ) {
   const NumericalRange range( 1, 2 );
   for ( const std::string text : { "", "80", "80;", "80;443", "80;443;5", "80;443;5;", ";443;",
                                    "80;;", "-1;2;", " 80;443;", "80;4294967296;", "80,443;" } ) {
      NumericalRange value = range;
      EXPECT_THROW( Vek::textToValue( typeOf< NumericalRange >(), text, &value ),
                    Vek::RangeException )
         << text;
      EXPECT_EQ( value, range );
   }
   isRefused( range, "80;443", "Flowspec::NumericalRange: '80;443' is not a value" );
   isRefused( range, "80;443;5;", "Flowspec::NumericalRange: '80;443;5;' is not a value" );
   isRefused( range, "x;443;", "U32: 'x' is not a value" );
   isRefused( IpBitMask(), "2;1;1;", "bool: '2' is not a value" );
   isRefused( IpBitMask(), "1;65536;1;", "U16: '65536' is not a value" );
   isRefused( destPort, "DestPort", "Flowspec::MatchCompType: 'DestPort' is not an enumerator" );
   isRefused( destPort, "port;", "Flowspec::MatchCompType: 'port;' is not a value" );
   isRefused( TrafficAction( 1 ), "drop", "Flowspec::TrafficAction: 'drop' is not a flag" );
   isRefused( Osk::UniqueId( 5 ), "abc", "Osk::UniqueId: 'abc' is not an identifier" );
   isRefused( Osk::UniqueId( 5 ), "0000000000000abg",
              "Osk::UniqueId: '0000000000000abg' is not an identifier" );
   isRefused( Osk::UniqueId( 5 ), "0000000000000abc;",
              "Osk::UniqueId: '0000000000000abc;' is not a value" );
   isRefused( programmed, "9", "Flowspec::HwRuleProgrammingStatus: '9' is not an enumerator" );
   isRefused( 1.5, "1,5", "Vek::Duration: '1,5' is not a value" );
   isRefused( Zorv::IpGenAddr(), "192.0.2", "Zorv::IpGenAddr: '192.0.2' is not an address" );
}

TEST( RecordText, InvariantsHoldAsInTheConstructor ) {
   const NumericalRange range( 1, 2 );
   isRefused( range, "443;80;", "Flowspec::NumericalRange::rangeMin > rangeMax_ not allowed" );
   isRefused( range, "0;16777217;",
              "Flowspec::NumericalRange::rangeMax < Flowspec::NumericalRange::min or > "
              "Flowspec::NumericalRange::invalidValue not allowed" );
   isRefused( MatchOpValResult(), "port;129;80;2048;",
              "Flowspec::MatchOpValIndex::value < Flowspec::MatchOpValIndex::min or > "
              "Flowspec::MatchOpValIndex::max not allowed" );
}

} // namespace
} // namespace Flowspec
