#include "Flowspec/key/FlowspecKey.h"

#include "tests/support/KeyGenerator.h"

#include <optional>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;

const char* const briefLabels[] = { "INVALID", "",   "",    "IP",  "P",    "DP",   "SP",
                                    "IT",      "IC", "TCP", "LEN", "DSCP", "FRAG", "FL" };
const char* const detailLabels[] = {
   "INVALID",        "Destination Prefix", "Source Prefix", "IP Protocol",
   "Port",           "Destination Port",   "Source Port",   "ICMP Type",
   "ICMP Code",      "TCP Flags",          "Packet Length", "DSCP",
   "Fragment Flags", "Flow Label" };

struct SlowTerm {
   unsigned type;
   unsigned op;
   U32 value;
};

// The terms of a key, taken from its words one by one; a missing word counts as zero.
std::vector< SlowTerm > termsOf( const FlowspecKey& key ) {
   const auto wordAt = [&key]( U32 index ) { return key.matchOpVal( index ).storage(); };
   std::vector< SlowTerm > terms;
   for ( U32 index = 0; index < key.matchOpVals(); ++index ) {
      const U32 word = wordAt( index );
      SlowTerm term{ word >> 24, word >> 16 & 0xFF, word & 0xFFFF };
      if ( ( term.op & 0x30 ) == 0x20 ) {
         ++index;
         term.value = term.value * 65536 + ( wordAt( index ) & 0xFFFF );
      }
      terms.push_back( term );
   }
   return terms;
}

bool isBitmask( unsigned type ) { return type == 9 || type == 12; }

std::string comparison( const SlowTerm& term ) {
   std::string text;
   if ( isBitmask( term.type ) ) {
      text += term.op & 2 ? "!" : "";
   } else {
      text += term.op & 4 ? "<" : "";
      text += term.op & 2 ? ">" : "";
   }
   return text + ( term.op & 1 ? "=" : "" );
}

std::string bits( const SlowTerm& term ) {
   static const std::vector< std::string > tcp = { "FIN", "SYN", "RST", "PSH", "ACK",
                                                   "URG", "ECE", "CWR", "NS" };
   static const std::vector< std::string > ip = { "DF", "is-fragment", "first-fragment",
                                                  "last-fragment" };
   const auto& names = term.type == 9 ? tcp : ip;
   std::ostringstream out;
   for ( unsigned i = 0; i < names.size(); ++i ) {
      if ( term.value & ( 1U << i ) ) {
         out << ( out.str().empty() ? "" : "," ) << names[i] << ( term.op & 2 ? ":0" : ":1" );
      }
   }
   return ( term.op & 1 ? "ALL(" : "ANY(" ) + out.str() + ")";
}

std::string prefixOrStar( const Zorv::IpGenPrefix& prefix ) {
   return prefix.empty() ? "*" : prefix.stringValue();
}

std::string slowCli( const FlowspecKey& key, bool lengths ) {
   std::ostringstream out;
   out << prefixOrStar( key.destPrefix() ) << ";" << prefixOrStar( key.srcPrefix() );
   std::optional< unsigned > previous;
   for ( const SlowTerm& term : termsOf( key ) ) {
      if ( previous != term.type ) {
         out << ";" << briefLabels[term.type] << ":";
      } else {
         out << ( term.op & 0x40 ? "&" : "|" );
      }
      previous = term.type;
      out << comparison( term );
      if ( lengths ) {
         out << ( term.op >> 4 & 3 ) << "L";
      }
      out << term.value;
   }
   out << ";";
   return out.str();
}

std::string slowDetail( const FlowspecKey& key ) {
   std::ostringstream out;
   out << "Destination Prefix: " << prefixOrStar( key.destPrefix() )
       << ";Source Prefix: " << prefixOrStar( key.srcPrefix() );
   std::optional< unsigned > previous;
   for ( const SlowTerm& term : termsOf( key ) ) {
      if ( previous != term.type ) {
         out << ";" << detailLabels[term.type] << ": ";
      } else {
         out << ( term.op & 0x40 ? " & " : " | " );
      }
      previous = term.type;
      if ( isBitmask( term.type ) ) {
         out << bits( term );
      } else {
         out << comparison( term ) << term.value;
      }
   }
   out << ";";
   return out.str();
}

std::string familyText( Zorv::AddressFamily family ) {
   const int number = static_cast< int >( family );
   return number == 0   ? "none"
          : number == 1 ? "ipv4"
          : number == 2 ? "ipv6"
                        : "af" + std::to_string( number );
}

std::string interfaceSets( const FlowspecKey& key ) {
   std::ostringstream out;
   for ( U32 i = 0; i < key.interfaceSets(); ++i ) {
      out << ( i == 0 ? "IFSET:=" : "," ) << key.interfaceSet( i );
   }
   return out.str().empty() ? "" : out.str() + ";";
}

std::string slowStringValue( const FlowspecKey& key ) {
   std::ostringstream out;
   out << key.vrfId() << ";" << familyText( key.addressFamily() ) << ";" << interfaceSets( key )
       << slowCli( key, true );
   return out.str();
}

std::string slowStrep( const FlowspecKey& key ) {
   std::ostringstream out;
   out << ( key.vrfId() == 16777215 ? "" : std::to_string( key.vrfId() ) ) << ";"
       << ( key.addressFamily() == Zorv::AddressFamily::none ? ""
                                                             : familyText( key.addressFamily() ) )
       << ";" << interfaceSets( key ) << key.destPrefix().stringValue() << ";"
       << key.srcPrefix().stringValue() << ";";
   for ( U32 index = 0; index < key.matchOpVals(); ++index ) {
      out << key.matchOpVal( index ).storage() << ";";
   }
   return out.str();
}

bool endsInHalf( const FlowspecKey& key ) {
   U32 index = 0;
   while ( index < key.matchOpVals() ) {
      index += ( key.matchOpVal( index ).op() & 0x30 ) == 0x20 ? 2 : 1;
   }
   return index > key.matchOpVals();
}

// Any types up to 13, any operators but those of 8-byte values, any values, gaps; no lone half.
FlowspecKey printableKey( KeyGenerator& generator ) {
   FlowspecKey key = generator.arbitraryKey();
   key.matchOpValDelAll();
   const U64 count = generator.below( generator.oneIn( 20 ) ? 200 : 10 );
   U32 index = 0;
   U64 type = 0;
   while ( key.matchOpVals() < count ) {
      type = generator.oneIn( 2 ) ? type : generator.below( 14 );
      U64 op = generator.any() & 0xFF;
      op = ( op & 0x30 ) == 0x30 ? op & 0x80 : op;
      const U32 value = generator.number( 32 );
      index = key.setOpVal( index, static_cast< MatchCompType >( type ), static_cast< U8 >( op ),
                            value );
      index += generator.oneIn( 15 );
   }
   // As many words are walked as there are; with gaps these may end amid a 4-byte value.
   while ( endsInHalf( key ) ) {
      key.matchOpValIs( index++, MatchOpVal( 1 ) );
   }
   return key;
}

TEST( TextForms, AgreeWithSlowWriters ) {
   KeyGenerator generator( 30 );
   for ( int i = 0; i < 20000; ++i ) {
      const FlowspecKey key =
         generator.oneIn( 2 ) ? generator.canonicalKey() : printableKey( generator );
      ASSERT_EQ( key.toStrepCli( false ), slowCli( key, false ) );
      ASSERT_EQ( key.toStrepCli( true ), slowCli( key, true ) );
      ASSERT_EQ( key.toStrepCliDetail(), slowDetail( key ) );
      ASSERT_EQ( key.stringValue(), slowStringValue( key ) );
      ASSERT_EQ( key.toStrep(), slowStrep( key ) );
   }
}

TEST( TextForms, DiagnosticFormOfArbitraryKeysAgreesWithASlowWriter ) {
   KeyGenerator generator( 31 );
   for ( int i = 0; i < 20000; ++i ) {
      const FlowspecKey key = generator.arbitraryKey();
      ASSERT_EQ( key.toStrep(), slowStrep( key ) );
   }
}

} // namespace
} // namespace Flowspec
