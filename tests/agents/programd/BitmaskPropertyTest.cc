#include "agents/configd/Filing.h"
#include "agents/programd/SoftwareTcam.h"

#include "tests/support/PacketBytes.h"
#include "tests/support/Sanitized.h"

#include <array>

#include <gtest/gtest.h>

/// Every rule of one and of two terms over four bits of a field, from the key through `configd`'s
/// filing into the TCAM, against all packets that differ in these bits.
namespace Agents {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using TestSupport::PacketParts;
using Zorv::AddressFamily;

// Of the second terms: where everything takes longer, some of them.
constexpr U32 stride = TestSupport::sanitized ? 13 : 1;

struct Term {
   bool isAnd;
   bool isNot;
   bool isMatch;
   U32 bits;
};

// RFC 8955 section 4.2.1.2, in its words.
bool holds( const Term& term, U32 data ) {
   const bool matches =
      term.isMatch ? ( data & term.bits ) == term.bits : ( data & term.bits ) != 0;
   return term.isNot ? !matches : matches;
}

bool holds( const std::vector< Term >& terms, U32 data ) {
   bool any = false;
   bool all = holds( terms[0], data );
   for ( std::size_t i = 1; i < terms.size(); ++i ) {
      any = any || ( !terms[i].isAnd && all );
      all = ( all || !terms[i].isAnd ) && holds( terms[i], data );
   }
   return any || all;
}

U8 opOf( const Term& term, bool last ) {
   return static_cast< U8 >( ( last ? 0x80 : 0 ) | ( term.isAnd ? 0x40 : 0 ) |
                             ( term.bits > 0xFF ? 0x10 : 0 ) | ( term.isNot ? 0x02 : 0 ) |
                             ( term.isMatch ? 0x01 : 0 ) );
}

/// A packet and what the field under test is, by the RFC that defines it.
struct Sample {
   Match::Packet packet;
   U32 field;
};

Sample sampleOf( const PacketParts& parts, U32 field ) {
   return { Match::parsePacket( TestSupport::packetBytes( parts ) ).value(), field };
}

// RFC 8955 section 4.2.2.12, and RFC 8956 section 3.6 of those that "don't fragment" is not of.
U32 fragmentField( bool v4, bool dontFragment, bool moreFragments, U16 offset ) {
   const bool isFragment = offset != 0;
   const bool firstFragment = offset == 0 && moreFragments;
   const bool lastFragment = offset != 0 && !moreFragments;
   return ( v4 && dontFragment ? 1U : 0U ) | ( isFragment ? 2U : 0U ) |
          ( firstFragment ? 4U : 0U ) | ( lastFragment ? 8U : 0U );
}

std::vector< Sample > fragments( PacketParts parts, std::vector< U8 > extensions ) {
   const bool v4 = parts.family == AddressFamily::ipv4;
   parts.extensions = std::move( extensions );
   std::vector< Sample > samples;
   for ( unsigned flags = 0; flags < 4; ++flags ) {
      for ( const U16 offset : { U16{ 0 }, U16{ 1 }, U16{ 0x1FFF } } ) {
         parts.dontFragment = flags & 1;
         parts.moreFragments = flags & 2;
         parts.offset = offset;
         samples.push_back( sampleOf( parts, fragmentField( v4, flags & 1, flags & 2, offset ) ) );
      }
   }
   return samples;
}

/// Files a rule, programs it when it is feasible, and sends it each packet.
class Chain {
public:
   explicit Chain( AddressFamily family ) : family_( family ) {
      InterfaceSetup setup;
      setup.enabled.stringValueIs( Zorv::stringValue( family ) );
      tcam_.interfaceIs( Zorv::IntfId( 1 ), setup );
   }

   // `counted`: of the terms' bits, those that count in this family.
   void check( MatchCompType type, const std::vector< Term >& terms, U32 counted,
               const std::vector< Sample >& samples ) {
      FlowspecKey key;
      key.vrfIdIs( 0 );
      key.addressFamilyIs( family_ );
      U32 index = 0;
      std::vector< Term > meant;
      for ( const Term& term : terms ) {
         index = key.setOpVal( index, type, opOf( term, &term == &terms.back() ), term.bits );
         meant.push_back( term );
         meant.back().bits &= counted;
      }
      Forms::RuleFile file{ .file = "rules" };
      file.rules.push_back( { .key = key, .action = {}, .line = 1 } );
      const Agents::Filed filed = filing_.apply( std::span( &file, 1 ) );
      ASSERT_TRUE( filed.errors.empty() );
      const auto rule = config_->vrfRuleConfig( 0 )->rule( key );
      ASSERT_EQ( rule != nullptr, filed.feasible == 1 );
      bool any = false;
      if ( rule ) {
         tcam_.ruleIs( *rule );
         ASSERT_TRUE( tcam_.apply().at( 0 ).result.isProgrammed() );
      }
      for ( const Sample& sample : samples ) {
         const bool expected = holds( meant, sample.field );
         ASSERT_EQ( tcam_.process( Zorv::IntfId( 1 ), sample.packet, 100 ), expected ? 1U : 0U )
            << key.toStrepCli( true ) << " of " << sample.field;
         any = any || expected;
      }
      EXPECT_EQ( rule != nullptr, any ) << key.toStrepCli( true );
      if ( rule ) {
         tcam_.ruleDel( key );
      }
   }

   // All rules of one and two terms whose bits are those that `spread` gives for 0 to 15.
   void checkAll( MatchCompType type, U32 ( *spread )( U32 ), U32 counted,
                  const std::vector< Sample >& samples ) {
      for ( U32 first = 0; first < 64; ++first ) {
         const Term one{ false, bool( first & 16 ), bool( first & 32 ), spread( first & 15 ) };
         check( type, { one }, counted, samples );
         for ( U32 second = first % stride; second < 128; second += stride ) {
            const Term two{ bool( second & 64 ), bool( second & 16 ), bool( second & 32 ),
                            spread( second & 15 ) };
            check( type, { one, two }, counted, samples );
            if ( testing::Test::HasFailure() ) {
               return;
            }
         }
      }
   }

private:
   const AddressFamily family_;
   const Vek::Ptr< Config > config_ = configFactory( "config" );
   Agents::Filing filing_{ config_ };
   SoftwareTcam tcam_{ Profile::read(
      R"({"capacity":100000,"interfaceSets":0,)"
      R"("ipv4":{"qualifiers":["ipProto","tcpFlags","fragment"],"actions":["trafficPermit"]},)"
      R"("ipv6":{"qualifiers":["ipProto","tcpFlags","fragment"],"actions":["trafficPermit"]},)"
      R"("interfaces":[{"intf":1,"vrf":0}]})" ) };
};

TEST( BitmaskProperty, FragmentsOfIpv4 ) {
   Chain( AddressFamily::ipv4 )
      .checkAll(
         fragment, []( U32 bits ) { return bits; }, 0x0F, fragments( {}, {} ) );
}

TEST( BitmaskProperty, FragmentsOfIpv6 ) {
   std::vector< Sample > samples = fragments( PacketParts::ipv6(), { 44 } );
   samples.push_back( sampleOf( PacketParts::ipv6(), 0 ) );
   Chain( AddressFamily::ipv6 )
      .checkAll(
         fragment, []( U32 bits ) { return bits; }, 0x0E, samples );
}

TEST( BitmaskProperty, FragmentBitsBesideTheFourDoNotCount ) {
   Chain( AddressFamily::ipv4 )
      .checkAll(
         fragment, []( U32 bits ) { return ( bits & 7 ) << 1 | ( bits & 8 ) << 6; }, 0x0F,
         fragments( {}, {} ) );
}

// FIN, ACK and the first of the reserved bits beside the data offset, and a bit of the offset
// itself, which is 5 in each packet and counts as 0.
U32 tcpBits( U32 bits ) {
   return ( bits & 1 ) | ( bits & 2 ) << 3 | ( bits & 4 ) << 9 | ( bits & 8 ) << 11;
}

TEST( BitmaskProperty, FlagsOfTcp ) {
   std::vector< Sample > samples;
   for ( U32 bits = 0; bits < 8; ++bits ) {
      PacketParts parts;
      parts.protocol = 6;
      const U32 flags = tcpBits( bits );
      parts.payload = TestSupport::tcpBytes( 1, 2, static_cast< U16 >( flags ) );
      samples.push_back( sampleOf( parts, flags ) );
   }
   Chain( AddressFamily::ipv4 ).checkAll( tcpFlags, tcpBits, 0xFFFF, samples );
}

} // namespace
} // namespace Agents
