#include "Flowspec/vocab/MatchOpVal.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

#include <iomanip>
#include <locale>
#include <sstream>
#include <vector>

namespace Flowspec {
namespace {

constexpr MatchCompType numericTypes[] = { ipProto,  port,         destPort, srcPort,  icmpType,
                                           icmpCode, packetLength, dscp,     flowLabel };
constexpr const char* briefLabels[] = { "IP", "P", "DP", "SP", "IT", "IC", "LEN", "DSCP", "FL" };

MatchOpValResult term( MatchCompType type, unsigned op, U32 value ) {
   return MatchOpValResult( type, static_cast< U8 >( op ), value, 1 );
}

std::string cli( const MatchOpValResult& term, bool newComponent, bool lengths = false ) {
   std::ostringstream out;
   term.formatForCli( out, newComponent, lengths );
   return out.str();
}

std::string detail( const MatchOpValResult& term, bool newComponent ) {
   std::ostringstream out;
   term.formatForCliDetail( out, newComponent );
   return out.str();
}

bool has( unsigned op, unsigned bits ) { return ( op & bits ) == bits; }

// The short form, written the way one would at first.
std::string slowCli( const char* label, bool bitmask, unsigned op, U32 value, bool newComponent,
                     bool lengths ) {
   std::ostringstream out;
   if ( newComponent ) {
      out << ";" << label << ":";
   } else if ( has( op, 0x40 ) ) {
      out << "&";
   } else {
      out << "|";
   }
   if ( bitmask ) {
      out << ( has( op, 0x02 ) ? "!" : "" ) << ( has( op, 0x01 ) ? "=" : "" );
   } else {
      out << ( has( op, 0x04 ) ? "<" : "" ) << ( has( op, 0x02 ) ? ">" : "" )
          << ( has( op, 0x01 ) ? "=" : "" );
   }
   if ( lengths ) {
      out << ( op >> 4 ) % 4 << "L";
   }
   out << value;
   return out.str();
}

std::string slowBits( const std::vector< std::string >& names, U32 value, bool invert ) {
   std::string text;
   for ( unsigned bit = 0; bit < names.size(); ++bit ) {
      if ( value & ( 1U << bit ) ) {
         text += ( text.empty() ? "" : "," ) + names[bit] + ( invert ? ":0" : ":1" );
      }
   }
   return text;
}

TEST( FormatForCli, AllOperatorBytesOfNumericTypes ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      for ( const bool newComponent : { true, false } ) {
         for ( const bool lengths : { true, false } ) {
            EXPECT_EQ( cli( term( destPort, op, 443 ), newComponent, lengths ),
                       slowCli( "DP", false, op, 443, newComponent, lengths ) );
         }
      }
   }
}

TEST( FormatForCli, AllOperatorBytesOfBothBitmaskTypes ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      for ( const bool newComponent : { true, false } ) {
         for ( const bool lengths : { true, false } ) {
            EXPECT_EQ( cli( term( tcpFlags, op, 0xFFFFFFFF ), newComponent, lengths ),
                       slowCli( "TCP", true, op, 0xFFFFFFFF, newComponent, lengths ) );
            EXPECT_EQ( cli( term( fragment, op, 0 ), newComponent, lengths ),
                       slowCli( "FRAG", true, op, 0, newComponent, lengths ) );
         }
      }
   }
}

TEST( FormatForCli, EveryNumericTypeHasItsLabel ) {
   for ( std::size_t i = 0; i < std::size( numericTypes ); ++i ) {
      EXPECT_EQ( cli( term( numericTypes[i], 0x81, 7 ), true ),
                 ";" + std::string( briefLabels[i] ) + ":=7" );
   }
}

TEST( FormatForCli, TermsOfTheEdgeCases ) {
   EXPECT_EQ( cli( term( tcpFlags, 0x83, 2 ), true ), ";TCP:!=2" );
   EXPECT_EQ( cli( term( destPort, 0x13, 1024 ), true ), ";DP:>=1024" );
   EXPECT_EQ( cli( term( destPort, 0xD5, 2047 ), false ), "&<=2047" );
   EXPECT_EQ( cli( term( flowLabel, 0xA1, 74565 ), true ), ";FL:=74565" );
   EXPECT_EQ( cli( term( flowLabel, 0xA1, 74565 ), true, true ), ";FL:=2L74565" );
   EXPECT_EQ( cli( term( destPort, 0x77, 5 ), true, true ), ";DP:<>=3L5" );
}

TEST( FormatForCli, PrefixTypesHaveAnEmptyLabelAndNoTypeIsInvalid ) {
   EXPECT_EQ( cli( term( destPrefix, 0x01, 5 ), true ), ";:=5" );
   EXPECT_EQ( cli( term( srcPrefix, 0x01, 5 ), true ), ";:=5" );
   EXPECT_EQ( cli( term( invalid, 0, 0 ), true, true ), ";INVALID:0L0" );
   EXPECT_EQ( detail( term( destPrefix, 0x01, 5 ), true ), ";Destination Prefix: =5" );
   EXPECT_EQ( detail( term( srcPrefix, 0x01, 5 ), true ), ";Source Prefix: =5" );
   EXPECT_EQ( detail( term( invalid, 0, 0 ), true ), ";INVALID: 0" );
}

TEST( FormatForCli, TypeTestOfATermWithoutATypeIsTracedOnce ) {
   TestSupport::TraceRecorder recorder( traceHandle, { 2 } );
   cli( term( invalid, 0, 0 ), true );
   EXPECT_THAT( recorder.texts(), testing::ElementsAre( "Found invalid type in routeKey" ) );
   recorder.clear();
   detail( term( invalid, 0, 0 ), true );
   EXPECT_THAT( recorder.texts(), testing::ElementsAre( "Found invalid type in routeKey" ) );
}

TEST( FormatForCliDetail, AllOperatorBytesOfNumericTypes ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      std::string comparison = slowCli( "", false, op, 443, false, false ).substr( 1 );
      EXPECT_EQ( detail( term( destPort, op, 443 ), true ), ";Destination Port: " + comparison );
      EXPECT_EQ( detail( term( destPort, op, 443 ), false ),
                 ( has( op, 0x40 ) ? " & " : " | " ) + comparison );
   }
}

TEST( FormatForCliDetail, AllOperatorBytesOfBothBitmaskTypes ) {
   const std::vector< std::string > tcp = { "FIN", "SYN", "RST", "PSH", "ACK",
                                            "URG", "ECE", "CWR", "NS" };
   const std::vector< std::string > ip = { "DF", "is-fragment", "first-fragment", "last-fragment" };
   for ( unsigned op = 0; op < 256; ++op ) {
      for ( const U32 value : { 0U, 2U, 0x12U, 0x155U, 0xFFFFU, 0x10001U, 0xFFFF0000U } ) {
         const std::string all = has( op, 0x01 ) ? "ALL(" : "ANY(";
         const std::string join = has( op, 0x40 ) ? " & " : " | ";
         const bool invert = has( op, 0x02 );
         const std::string tcpText = all + slowBits( tcp, value, invert ) + ")";
         const std::string ipText = all + slowBits( ip, value, invert ) + ")";
         EXPECT_EQ( detail( term( tcpFlags, op, value ), true ), ";TCP Flags: " + tcpText );
         EXPECT_EQ( detail( term( tcpFlags, op, value ), false ), join + tcpText );
         EXPECT_EQ( detail( term( fragment, op, value ), true ), ";Fragment Flags: " + ipText );
         EXPECT_EQ( detail( term( fragment, op, value ), false ), join + ipText );
      }
   }
}

TEST( FormatForCliDetail, TcpFlagsOfTheEdgeCase ) {
   EXPECT_EQ( detail( term( tcpFlags, 0x83, 2 ), true ), ";TCP Flags: ALL(SYN:0)" );
   EXPECT_EQ( detail( term( tcpFlags, 0x80, 0x12 ), true ), ";TCP Flags: ANY(SYN:1,ACK:1)" );
   EXPECT_EQ( detail( term( fragment, 0x81, 0 ), true ), ";Fragment Flags: ALL()" );
}

TEST( FormatForCliDeathTest, TypeAboveThirteenHasNoLabel ) {
   for ( const unsigned number : { 14U, 255U } ) {
      const MatchOpValResult unknown = term( static_cast< MatchCompType >( number ), 1, 1 );
      EXPECT_ASSERTION( cli( unknown, true ), "compType < numComponentTypes" );
      EXPECT_ASSERTION( detail( unknown, true ), "compType < numComponentTypes" );
   }
}

TEST( FormatForCli, StateOfTheStreamDoesNotMatter ) {
   struct Grouping : std::numpunct< char > {
      char do_thousands_sep() const override { return '\''; }
      std::string do_grouping() const override { return "\3"; }
      std::string do_truename() const override { return "yes"; }
   };
   std::ostringstream out;
   out.imbue( std::locale( std::locale::classic(), new Grouping ) );
   const auto disturb = [&out]() -> std::ostream& {
      return out << std::setw( 30 ) << std::setfill( '#' ) << std::hex << std::showbase
                 << std::showpos << std::uppercase << std::boolalpha << std::left;
   };
   term( flowLabel, 0xA1, 1048575 ).formatForCli( disturb(), true, true );
   term( flowLabel, 0xE5, 1048575 ).formatForCliDetail( disturb(), false );
   term( tcpFlags, 0x83, 2 ).formatForCliDetail( disturb(), true );
   EXPECT_EQ( out.str(), ";FL:=2L1048575 & <=1048575;TCP Flags: ALL(SYN:0)" );
}

} // namespace
} // namespace Flowspec
