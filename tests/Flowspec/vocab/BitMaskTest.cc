#include "Flowspec/vocab/BitMask.h"

#include "tests/support/ExpectFailure.h"

#include <sstream>
#include <tuple>
#include <unordered_set>
#include <vector>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;

enum class Requirement { none, set, clear };

Requirement requirement( U16 val, U16 mask, unsigned bit ) {
   const bool tested = mask / ( 1U << bit ) % 2;
   const bool one = val / ( 1U << bit ) % 2;
   return !tested ? Requirement::none : one ? Requirement::set : Requirement::clear;
}

// What makes sense of DF, is-fragment, first-fragment and last-fragment, case by case.
bool makesSense( U16 val, U16 mask ) {
   if ( mask == 0 ) {
      return false;
   }
   const bool first = requirement( val, mask, 2 ) == Requirement::set;
   const bool last = requirement( val, mask, 3 ) == Requirement::set;
   switch ( requirement( val, mask, 1 ) ) {
   case Requirement::clear:
      return !first && !last;
   default:
      return !( first && last );
   }
}

std::string slowCliText( const std::vector< std::string >& names, U16 val, U16 mask ) {
   std::ostringstream out;
   for ( unsigned bit = 0; bit < names.size(); ++bit ) {
      const Requirement required = requirement( val, mask, bit );
      if ( required != Requirement::none ) {
         out << ( out.str().empty() ? "" : "," ) << names[bit] << ':'
             << ( required == Requirement::set ? 1 : 0 );
      }
   }
   return out.str();
}

TEST( BitMask, DefaultTestsNothingAndMatchesAll ) {
   for ( const BitMask& mask : { BitMask( IpBitMask() ), BitMask( TcpBitMask() ) } ) {
      EXPECT_TRUE( mask.matchAll() );
      EXPECT_EQ( mask.val(), 0 );
      EXPECT_EQ( mask.mask(), 0 );
   }
}

TEST( BitMask, ConstantsAreThoseOfTheSupportedBits ) {
   EXPECT_EQ( IpBitMask::supportedIpBits(), 4 );
   EXPECT_EQ( IpBitMask::lastBit(), 3 );
   EXPECT_EQ( IpBitMask::maskForAllBits(), 0xF );
   EXPECT_EQ( TcpBitMask::supportedTcpBits(), 9 );
   EXPECT_EQ( TcpBitMask::lastBit(), 8 );
   EXPECT_EQ( TcpBitMask::maskForAllBits(), 0x1FF );
}

TEST( IpBitMask, IsValidWhenTheFragmentBitsAgree ) {
   for ( U16 mask = 0; mask < 16; ++mask ) {
      for ( U16 val = 0; val < 16; ++val ) {
         for ( const bool matchAll : { false, true } ) {
            EXPECT_EQ( IpBitMask( matchAll, val, mask ).isValid(), makesSense( val, mask ) )
               << val << '/' << mask;
         }
      }
   }
}

TEST( IpBitMask, NamedCasesOfValidity ) {
   EXPECT_FALSE( IpBitMask( true, 0xF, 0 ).isValid() );
   EXPECT_FALSE( IpBitMask( true, 0b1000, 0b1010 ).isValid() ); // no fragment, but the last
   EXPECT_FALSE( IpBitMask( true, 0b0100, 0b0110 ).isValid() ); // no fragment, but the first
   EXPECT_FALSE( IpBitMask( true, 0b1100, 0b1100 ).isValid() ); // first and last
   EXPECT_FALSE( IpBitMask( true, 0b1110, 0b1110 ).isValid() );
   EXPECT_FALSE( IpBitMask( true, 0b1100, 0b1110 ).isValid() );
   EXPECT_TRUE( IpBitMask( true, 0b0000, 0b0010 ).isValid() );
   EXPECT_TRUE( IpBitMask( true, 0b0001, 0b0001 ).isValid() );
   EXPECT_TRUE( IpBitMask( true, 0b0110, 0b0110 ).isValid() );
   EXPECT_TRUE(
      IpBitMask( true, 0, 0b10000 ).isValid() ); // a bit without a meaning is still tested
}

TEST( IpBitMask, CliTextIsThatOfTheBitsOneByOne ) {
   const std::vector< std::string > names = { "DF", "is-fragment", "first-fragment",
                                              "last-fragment" };
   for ( U16 mask = 0; mask < 16; ++mask ) {
      for ( U16 val = 0; val < 16; ++val ) {
         EXPECT_EQ( IpBitMask( true, val, mask ).toStrepCli(), slowCliText( names, val, mask ) );
      }
   }
   EXPECT_EQ( IpBitMask( true, 1, 3 ).toStrepCli(), "DF:1,is-fragment:0" );
   EXPECT_EQ( IpBitMask( true, 0xF, 0xF ).toStrepCli(),
              "DF:1,is-fragment:1,first-fragment:1,last-fragment:1" );
   EXPECT_EQ( IpBitMask( true, 0xFFFF, 0xFFF0 ).toStrepCli(), "" );
}

TEST( TcpBitMask, CliTextIsThatOfTheBitsOneByOne ) {
   const std::vector< std::string > names = { "FIN", "SYN", "RST", "PSH", "ACK",
                                              "URG", "ECE", "CWR", "NS" };
   for ( U16 mask = 0; mask < 0x200; ++mask ) {
      for ( const U16 val : { U16{ 0 }, U16{ 0x155 }, U16{ 0xFFFF } } ) {
         EXPECT_EQ( TcpBitMask( true, val, mask ).toStrepCli(), slowCliText( names, val, mask ) );
      }
   }
   EXPECT_EQ( TcpBitMask( true, 0x02, 0x12 ).toStrepCli(), "SYN:1,ACK:0" );
   EXPECT_EQ( TcpBitMask( true, 0, 0x1FF ).toStrepCli(),
              "FIN:0,SYN:0,RST:0,PSH:0,ACK:0,URG:0,ECE:0,CWR:0,NS:0" );
   EXPECT_EQ( TcpBitMask( true, 0xFFFF, 0xFE00 ).toStrepCli(), "" );
   EXPECT_EQ( TcpBitMask( true, 0, 0 ).toStrepCli(), "" );
}

TEST( BitMask, TextShowsValueAndMaskInHexadecimalAndNotMatchAll ) {
   for ( const bool matchAll : { false, true } ) {
      EXPECT_EQ( TcpBitMask( matchAll, 2, 0x12 ).toStrep(), "<value:0x2;mask:0x12>" );
      EXPECT_EQ( IpBitMask( matchAll, 0xABC, 0xFFFF ).toStrep(), "<value:0xabc;mask:0xffff>" );
      EXPECT_EQ( IpBitMask( matchAll, 0, 0 ).toStrep(), "<value:0x0;mask:0x0>" );
   }
}

template < typename Mask >
void expectOrderByMatchAllThenValThenMask() {
   std::vector< Mask > masks;
   for ( const bool matchAll : { false, true } ) {
      for ( const U16 val : { U16{ 0 }, U16{ 1 }, U16{ 0xFFFF } } ) {
         for ( const U16 mask : { U16{ 0 }, U16{ 1 }, U16{ 0xFFFF } } ) {
            masks.emplace_back( matchAll, val, mask );
         }
      }
   }
   const auto tuple = []( const Mask& m ) { return std::tuple( m.matchAll(), m.val(), m.mask() ); };
   std::unordered_set< U32 > hashes;
   for ( const Mask& a : masks ) {
      hashes.insert( a.hash() );
      for ( const Mask& b : masks ) {
         EXPECT_EQ( a == b, tuple( a ) == tuple( b ) );
         EXPECT_EQ( a < b, tuple( a ) < tuple( b ) );
         EXPECT_EQ( a == b, a.hash() == b.hash() );
      }
   }
   EXPECT_EQ( hashes.size(), masks.size() );
}

TEST( BitMask, OrderAndHashUseAllAttributes ) {
   expectOrderByMatchAllThenValThenMask< IpBitMask >();
   expectOrderByMatchAllThenValThenMask< TcpBitMask >();
}

template < typename Bit, typename Instance >
void expectServices( const std::vector< std::string >& names, const std::string& type,
                     Instance instance ) {
   for ( unsigned number = 0; number < names.size(); ++number ) {
      const std::string& name = names[number];
      const Bit bit = instance( number );
      EXPECT_EQ( static_cast< unsigned >( bit ), number );
      EXPECT_EQ( instance( std::string_view( name ) ), bit );
      EXPECT_EQ( stringValue( bit ), name );
      std::ostringstream out;
      out << bit;
      EXPECT_EQ( out.str(), name );
      const std::string text = name + ",x";
      Vek::CharRange range( text );
      Bit read{};
      sequenceToValue( range, &read );
      EXPECT_EQ( read, bit );
      EXPECT_EQ( range.rest(), ",x" );
   }
   const auto end = static_cast< unsigned >( names.size() );
   EXPECT_EQ( stringValue( static_cast< Bit >( end ) ), std::to_string( end ) );
   EXPECT_THAT( [&] { instance( end ); },
                raisesRange( type + ": " + std::to_string( end ) + " is not an enumerator" ) );
   EXPECT_THAT( [&] { instance( std::string_view( "SYN" ) ); },
                raisesRange( type + ": 'SYN' is not an enumerator" ) );
   EXPECT_THAT(
      [] {
         Vek::CharRange range( "?" );
         Bit read{};
         sequenceToValue( range, &read );
      },
      raisesRange( type + ": '' is not an enumerator" ) );
}

TEST( IpBit, HasTheServicesOfAnEnumeration ) {
   expectServices< IpBitMask::IpBit >(
      { "dontFragment", "isFragment", "firstFragment", "lastFragment" },
      "Flowspec::IpBitMask::IpBit",
      []( auto numberOrName ) { return IpBitMask::IpBitInstance( numberOrName ); } );
   EXPECT_EQ( static_cast< int >( IpBitMask::dontFragment ), 0 );
   EXPECT_EQ( static_cast< int >( IpBitMask::isFragment ), 1 );
   EXPECT_EQ( static_cast< int >( IpBitMask::firstFragment ), 2 );
   EXPECT_EQ( static_cast< int >( IpBitMask::lastFragment ), 3 );
}

TEST( BitMask, WideNumbersOfBitsAreNotCut ) {
   EXPECT_THROW( IpBitMask::IpBitInstance( 0x1'0000'0001 ), Vek::RangeException );
   EXPECT_THROW( TcpBitMask::TcpBitInstance( 0x1'0000'0001 ), Vek::RangeException );
}

TEST( TcpBit, HasTheServicesOfAnEnumeration ) {
   expectServices< TcpBitMask::TcpBit >(
      { "tcpFin", "tcpSyn", "tcpRst", "tcpPsh", "tcpAck", "tcpUrg", "tcpEce", "tcpCwr", "tcpNs" },
      "Flowspec::TcpBitMask::TcpBit",
      []( auto numberOrName ) { return TcpBitMask::TcpBitInstance( numberOrName ); } );
   EXPECT_EQ( static_cast< int >( TcpBitMask::tcpFin ), 0 );
   EXPECT_EQ( static_cast< int >( TcpBitMask::tcpAck ), 4 );
   EXPECT_EQ( static_cast< int >( TcpBitMask::tcpNs ), 8 );
}

} // namespace
} // namespace Flowspec
