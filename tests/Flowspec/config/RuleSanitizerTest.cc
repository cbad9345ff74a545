#include "Flowspec/config/MatchSetBuilder.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/Reaction.h"

#include <algorithm>
#include <array>
#include <vector>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

struct Label {
   std::string_view text;
   MatchCompType type;
};
constexpr Label labels[] = {
   { "D", destPrefix }, { "S", srcPrefix },   { "P", port },           { "DP", destPort },
   { "SP", srcPort },   { "IT", icmpType },   { "IC", icmpCode },      { "TCP", tcpFlags },
   { "DSCP", dscp },    { "FRAG", fragment }, { "LEN", packetLength }, { "FL", flowLabel },
};

// The first of the pieces of `text` between separators, which is taken out of it.
std::string_view next( std::string_view& text, char separator ) {
   const std::string_view piece = text.substr( 0, text.find( separator ) );
   text.remove_prefix( std::min( text.size(), piece.size() + 1 ) );
   return piece;
}

// "!" stands for the bound that no valid range has.
U32 bound( std::string_view text ) {
   return text == "!" ? NumericalRange::invalidValue()
                      : static_cast< U32 >( *Vek::decimal( text, 0xFFFFFF ) );
}

MatchComponent ipProtoOf( std::string_view ranges ) {
   MatchComponent component( ipProto );
   while ( !ranges.empty() ) {
      std::string_view range = next( ranges, ',' );
      const U32 low = bound( next( range, '-' ) );
      component.numericalRangeIs( NumericalRange( low, range.empty() ? low : bound( range ) ) );
   }
   return component;
}

Vek::String boundText( U32 value ) {
   return value == NumericalRange::invalidValue() ? "!" : Vek::concat( value );
}

// The ranges of the rule's `ipProto` component, ascending; "none" when there is no component.
Vek::String protocolsOf( const RuleConfig& rule ) {
   const auto at = rule.matchSet().find( ipProto );
   if ( at == rule.matchSet().end() ) {
      return "none";
   }
   Vek::String text;
   for ( const NumericalRange* const range : at->second.numericalRange().sorted() ) {
      text += Vek::concat( text.empty() ? "" : ",", boundText( range->rangeMin() ) );
      if ( range->rangeMin() != range->rangeMax() ) {
         text += Vek::concat( '-', boundText( range->rangeMax() ) );
      }
   }
   return text;
}

Vek::Ptr< RuleConfig > ruleOf( char family ) {
   FlowspecKey key;
   key.addressFamilyIs( family == '4'   ? Zorv::AddressFamily::ipv4
                        : family == '6' ? Zorv::AddressFamily::ipv6
                                        : Zorv::AddressFamily::none );
   return ruleConfigFactory( key );
}

struct Case {
   char family;                ///< '4', '6', or '-' for none
   std::string_view present;   ///< labels of the components beside `ipProto`
   std::string_view protocols; ///< ranges of the `ipProto` component, "none" for no component
   MatchCompType result;
   std::string_view after; ///< `protocols` when it is sanitised
   std::size_t published;
};

// clang-format off
constexpr Case cases[] = {
   // Nothing that implies a protocol.
   { '4', "",                "none",   invalid,  "none",   0 },
   { '6', "",                "none",   invalid,  "none",   0 },
   { '4', "",                "6",      invalid,  "6",      0 },
   { '4', "",                "",       invalid,  "",       0 },
   { '4', "",                "!",      invalid,  "!",      0 },
   { '4', "",                "0-255",  invalid,  "0-255",  0 },
   { '4', "D S LEN DSCP",    "none",   invalid,  "none",   0 },
   { '4', "D FRAG",          "1,6",    invalid,  "1,6",    0 },
   { '6', "S FL",            "58",     invalid,  "58",     0 },
   // TCP flags want TCP.
   { '4', "TCP",             "none",   invalid,  "6",      1 },
   { '6', "TCP",             "none",   invalid,  "6",      1 },
   { '-', "TCP",             "none",   invalid,  "6",      1 },
   { '4', "TCP",             "6",      invalid,  "6",      0 },
   { '4', "TCP",             "0-255",  invalid,  "6",      1 },
   { '4', "TCP",             "6,17",   invalid,  "6",      1 },
   { '4', "TCP",             "6-7",    invalid,  "6",      1 },
   { '4', "TCP",             "5-6",    invalid,  "6",      1 },
   { '4', "TCP",             "17",     tcpFlags, "17",     0 },
   { '4', "TCP",             "0-5",    tcpFlags, "0-5",    0 },
   { '4', "TCP",             "7-255",  tcpFlags, "7-255",  0 },
   { '4', "TCP",             "0-5,7-9", tcpFlags, "0-5,7-9", 0 },
   { '4', "TCP",             "",       tcpFlags, "",       0 },
   { '4', "TCP",             "!",      tcpFlags, "!",      0 },
   { '4', "TCP",             "0-!",    tcpFlags, "0-!",    0 },
   { '4', "TCP",             "0-!,6",  invalid,  "6",      1 },
   { '4', "D TCP FRAG",      "none",   invalid,  "6",      1 },
   // TCP flags beside ICMP: the TCP flags are reported, whatever the protocol.
   { '4', "TCP IT",          "none",   tcpFlags, "none",   0 },
   { '4', "TCP IC",          "none",   tcpFlags, "none",   0 },
   { '6', "TCP IT IC",       "6",      tcpFlags, "6",      0 },
   { '4', "TCP IT DP",       "1,6",    tcpFlags, "1,6",    0 },
   // TCP flags beside ports leave TCP alone.
   { '4', "TCP DP",          "none",   invalid,  "6",      1 },
   { '4', "TCP DP",          "6,17",   invalid,  "6",      1 },
   { '6', "TCP P DP SP",     "0-255",  invalid,  "6",      1 },
   { '4', "TCP SP",          "6",      invalid,  "6",      0 },
   { '4', "TCP DP",          "17",     tcpFlags, "17",     0 },
   // ICMP wants the family's ICMP.
   { '4', "IT",              "none",   invalid,  "1",      1 },
   { '6', "IT",              "none",   invalid,  "58",     1 },
   { '-', "IT",              "none",   invalid,  "1",      1 },
   { '4', "IC",              "none",   invalid,  "1",      1 },
   { '6', "IC",              "none",   invalid,  "58",     1 },
   { '-', "IC",              "none",   invalid,  "1",      1 },
   { '4', "IT IC",           "none",   invalid,  "1",      1 },
   { '4', "IT",              "1",      invalid,  "1",      0 },
   { '6', "IT IC",           "58",     invalid,  "58",     0 },
   { '4', "IT",              "0-255",  invalid,  "1",      1 },
   { '6', "IT",              "0-255",  invalid,  "58",     1 },
   { '6', "IC",              "1,58",   invalid,  "58",     1 },
   { '6', "IT",              "1",      icmpType, "1",      0 },
   { '4', "IT",              "58",     icmpType, "58",     0 },
   { '-', "IC",              "58",     icmpCode, "58",     0 },
   { '4', "IC",              "6",      icmpCode, "6",      0 },
   { '4', "IT IC",           "6",      icmpType, "6",      0 },
   { '4', "IT",              "",       icmpType, "",       0 },
   { '4', "IC",              "",       icmpCode, "",       0 },
   { '4', "IT",              "!",      icmpType, "!",      0 },
   { '6', "IC",              "0-!",    icmpCode, "0-!",    0 },
   // ICMP beside ports: ICMP is reported, the type before the code.
   { '4', "IT DP",           "none",   icmpType, "none",   0 },
   { '4', "IC DP",           "none",   icmpCode, "none",   0 },
   { '4', "IT IC P",         "1",      icmpType, "1",      0 },
   { '6', "IC SP",           "58",     icmpCode, "58",     0 },
   { '6', "IT P DP SP",      "none",   icmpType, "none",   0 },
   // Ports want TCP or UDP.
   { '4', "P",               "none",   invalid,  "6,17",   1 },
   { '4', "DP",              "none",   invalid,  "6,17",   1 },
   { '4', "SP",              "none",   invalid,  "6,17",   1 },
   { '6', "DP",              "none",   invalid,  "6,17",   1 },
   { '-', "P DP SP",         "none",   invalid,  "6,17",   1 },
   { '4', "DP",              "0-255",  invalid,  "6,17",   1 },
   { '4', "DP",              "6-17",   invalid,  "6,17",   1 },
   { '4', "DP",              "6,17",   invalid,  "6,17",   0 },
   { '4', "DP",              "6",      invalid,  "6",      0 },
   { '4', "SP",              "17",     invalid,  "17",     0 },
   { '4', "DP",              "0-16",   invalid,  "6",      1 },
   { '4', "DP",              "7-20",   invalid,  "17",     1 },
   { '4', "DP",              "0-!,17", invalid,  "17",     1 },
   { '4', "DP",              "1,6,17", invalid,  "6,17",   1 },
   { '4', "SP",              "1",      srcPort,  "1",      0 },
   { '4', "DP",              "7-16",   destPort, "7-16",   0 },
   { '4', "P SP",            "1",      port,     "1",      0 },
   { '4', "DP SP",           "1",      destPort, "1",      0 },
   { '4', "P DP SP",         "",       port,     "",       0 },
   { '4', "DP",              "",       destPort, "",       0 },
   { '6', "SP",              "!",      srcPort,  "!",      0 },
   { '6', "SP DSCP LEN",     "58",     srcPort,  "58",     0 },
};
// clang-format on

void fill( RuleConfig& rule, const Case& row ) {
   for ( std::string_view rest = row.present; !rest.empty(); ) {
      const std::string_view text = next( rest, ' ' );
      const auto label = std::ranges::find( labels, text, &Label::text );
      ASSERT_NE( label, std::end( labels ) ) << text;
      rule.matchSetIs( MatchComponent( label->type ) );
   }
   if ( row.protocols != "none" ) {
      rule.matchSetIs( ipProtoOf( row.protocols ) );
   }
}

TEST( RuleSanitizer, Cases ) {
   static_assert( std::size( cases ) >= 40 );
   for ( const Case& row : cases ) {
      SCOPED_TRACE( Vek::concat( row.family, ' ', row.present, " with ", row.protocols ) );
      const auto rule = ruleOf( row.family );
      fill( *rule, row );
      const RuleConfig::MatchSet before = rule->matchSet();
      std::vector< MatchComponent > components;
      for ( const auto& [type, component] : before ) {
         components.insert( components.begin(), component );
      }
      TestSupport::ChangeRecorder changes( *rule );

      EXPECT_EQ( rule->infeasibleMatchInMatchSet(), row.result );
      EXPECT_EQ( rule->matchSet(), before );
      EXPECT_TRUE( changes.take().empty() );

      EXPECT_EQ( rule->sanitizeMatchSet(), row.result );
      EXPECT_EQ( protocolsOf( *rule ), row.after );
      EXPECT_EQ( changes.take().size(), row.published );
      if ( row.published == 0 ) {
         EXPECT_EQ( rule->matchSet(), before );
      }

      // Components of no rule yet, in another order, become the same.
      EXPECT_EQ( sanitizeMatchSet( rule->ruleKey().addressFamily(), components ), row.result );
      RuleConfig::MatchSet ofComponents;
      for ( const MatchComponent& component : components ) {
         ofComponents.insert( component.compType(), component );
      }
      EXPECT_EQ( ofComponents, rule->matchSet() );
      EXPECT_EQ( components.size(), rule->matchSet().size() );

      // Once more: the same answer, no change, no memory.
      const RuleConfig::MatchSet after = rule->matchSet();
      const TestSupport::AllocationCounter allocations;
      const MatchCompType again = rule->sanitizeMatchSet();
      EXPECT_EQ( allocations.count(), 0U );
      EXPECT_EQ( again, row.result );
      EXPECT_EQ( rule->matchSet(), after );
      EXPECT_TRUE( changes.take().empty() );
   }
}

TEST( RuleSanitizer, OtherComponentsStayAsTheyAre ) {
   const auto rule = ruleOf( '4' );
   MatchComponent ports( destPort );
   ports.numericalRangeIs( NumericalRange( 80, 443 ) );
   MatchComponent flags( tcpFlags );
   flags.tcpBitMaskIs( TcpBitMask( true, 2, 0x12 ) );
   rule->matchSetIs( ports );
   rule->matchSetIs( flags );
   EXPECT_EQ( rule->sanitizeMatchSet(), invalid );
   EXPECT_EQ( rule->matchSet().size(), 3U );
   EXPECT_EQ( rule->matchSet( destPort ), ports );
   EXPECT_EQ( rule->matchSet( tcpFlags ), flags );
}

// Whatever else stood in the component that is replaced does not survive.
TEST( RuleSanitizer, ReplacesTheProtocolComponentWhole ) {
   const auto rule = ruleOf( '4' );
   MatchComponent protocols = ipProtoOf( "6" );
   protocols.ipBitMaskIs( IpBitMask( true, 1, 1 ) );
   protocols.tcpBitMaskIs( TcpBitMask( true, 1, 1 ) );
   protocols.prefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A000000 ), 8 ) );
   rule->matchSetIs( protocols );
   rule->matchSetIs( MatchComponent( tcpFlags ) );
   TestSupport::ChangeRecorder changes( *rule );
   EXPECT_EQ( rule->sanitizeMatchSet(), invalid );
   EXPECT_EQ( rule->matchSet( ipProto ), ipProtoOf( "6" ) );
   EXPECT_EQ( changes.take(), std::vector< Vek::String >{ Vek::concat( "260 matchSet[ipProto] was ",
                                                                       protocols.toStrep() ) } );
}

// One thing too many is enough.
TEST( RuleSanitizer, ReplacesAProtocolComponentThatHoldsAnythingElse ) {
   MatchComponent withIpMask = ipProtoOf( "6" );
   withIpMask.ipBitMaskIs( IpBitMask( true, 1, 1 ) );
   MatchComponent withTcpMask = ipProtoOf( "6" );
   withTcpMask.tcpBitMaskIs( TcpBitMask( true, 1, 1 ) );
   MatchComponent withPrefix = ipProtoOf( "6" );
   withPrefix.prefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A000000 ), 8 ) );
   for ( const MatchComponent& protocols : { withIpMask, withTcpMask, withPrefix } ) {
      for ( const MatchCompType type : { tcpFlags, destPort } ) {
         const auto rule = ruleOf( '4' );
         rule->matchSetIs( protocols );
         rule->matchSetIs( MatchComponent( type ) );
         EXPECT_EQ( rule->sanitizeMatchSet(), invalid );
         EXPECT_EQ( rule->matchSet( ipProto ), ipProtoOf( "6" ) ) << protocols.toStrep();
      }
   }
}

// Observers may drop the last reference to the rule.
TEST( RuleSanitizer, RuleMayGoWhileItPublishes ) {
   auto rule = ruleOf( '4' );
   rule->matchSetIs( MatchComponent( tcpFlags ) );
   rule->matchSetIs( MatchComponent( destPort ) );
   RuleConfig* const object = rule.get();
   TestSupport::Reaction drop( *object, [&]( const Vek::Change& ) { rule = nullptr; } );
   EXPECT_EQ( object->sanitizeMatchSet(), invalid );
   EXPECT_EQ( rule, nullptr );
   EXPECT_EQ( drop.observation().entity(), nullptr ) << "the rule is gone afterwards";
}

TEST( RuleSanitizer, ProtocolsAreContainedWhenAnyIs ) {
   const auto rule = ruleOf( '4' );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, { 6 } ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, {} ) );
   rule->matchSetIs( ipProtoOf( "5-7,17,0-!,!" ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, { 5 } ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, { 7 } ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, { 1, 17 } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, { 4 } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, { 8, 16, 18 } ) );
   const std::vector< U32 > outside{ 8, 16, 18 };
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, outside ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, std::vector< U32 >{ 8, 17 } ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *rule, std::array< U32, 2 >{ 6, 8 } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, std::span( outside ).first( 0 ) ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, { NumericalRange::invalidValue() } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, {} ) );
   rule->matchSetIs( MatchComponent( ipProto ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, { 0 } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *rule, {} ) );
}

} // namespace
} // namespace Flowspec
