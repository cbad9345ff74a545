#include "forms/dialects/Dialect.h"

#include "tests/forms/dialects/RuleData.h"
#include "tests/support/RandomAction.h"

#include <map>

#include <gmock/gmock.h>

// What holds for all dialects.

namespace Forms {
namespace {

using testing::ElementsAreArray;
using TestSupport::KeyGenerator;
using TestSupport::namedRules;
using TestSupport::ruleContext;
using TestSupport::sameMeaning;
using Zorv::AddressFamily;

/// What is wrong with a rule that was written and read back; "" when it means the same.
std::string readBack( const Dialect& dialect, const Vek::String& text, Rule rule ) {
   Rule read;
   std::vector< Fault > remarks;
   const Context& context = ruleContext( rule.key.addressFamily() );
   if ( const auto fault = readRule( dialect, text, context, read, remarks ) ) {
      return Vek::concat( fault->line, ':', fault->column, ": ", fault->reason, " in ", text );
   }
   if ( !dialect.tellsAction ) {
      rule.action = {};
      rule.kept.clear();
      rule.keptIpv6.clear();
   }
   // No text of another program holds the VRF that a rule is in.
   rule.key.vrfIdIs( read.key.vrfId() );
   return sameMeaning( rule, read ) ? "" : Vek::concat( "another rule: ", text );
}

// NLRI of a VPN have a distinguisher.
void adapt( const Dialect& dialect, Rule& rule ) {
   if ( dialect.name == "nlri-vpn" && !rule.rd ) {
      rule.rd = Zorv::RouteDistinguisher( 0x0000FDE800000001 );
   }
}

TEST( Dialect, HasANameOfItsOwn ) {
   std::vector< std::string_view > names;
   for ( const Dialect& dialect : dialects() ) {
      names.push_back( dialect.name );
      EXPECT_EQ( dialectOf( dialect.name ), &dialect );
   }
   EXPECT_THAT( names, ElementsAreArray( { "bird", "exabgp", "exabgp-json", "gobgp", "gobgp-json",
                                           "nlri", "nlri-vpn", "json" } ) );
   EXPECT_EQ( dialectOf( "" ), nullptr );
   EXPECT_EQ( dialectOf( "birds" ), nullptr );
}

/// Which of the rules a dialect has no text for, and why.
using Refusals = std::map< std::string, std::string >;
const std::map< std::string_view, Refusals > refusals = {
   { "bird",
     {
        { "r-0a0ffa632b", "BIRD has no IPv6-address-specific extended communities" },
        { "r-19c8536f1d", "BIRD has no route distinguisher in flow specifications" },
        { "r-aed7e0cb03", "BIRD has no IPv6-address-specific extended communities" },
        { "r-fda04a55bb", "BIRD has no IPv6-address-specific extended communities" },
     } },
   { "exabgp",
     {
        { "r-fda04a55bb", "ExaBGP has no text for IPv6-address-specific extended communities" },
     } },
   { "exabgp-json",
     {
        { "r-733425d40a", "ExaBGP's JSON has no word for no TCP flag" },
     } },
   { "gobgp",
     {
        { "r-07b7f2aca3", "GoBGP has no text for an extended community of the type 0x10c" },
        { "r-0a0ffa632b", "GoBGP has no text for IPv6-address-specific extended communities" },
        { "r-10e60b16b9", "GoBGP has no text for an extended community of the type 0x10c" },
        { "r-46cc45f8de", "GoBGP takes no value above 255 in 'tcp-flags'" },
        { "r-4ff256030a", "GoBGP has no text for an extended community of the type 0x10c" },
        { "r-733425d40a", "GoBGP has no text for no TCP flag" },
        { "r-826d3ef0fa", "GoBGP takes no value above 255 in 'tcp-flags'" },
        { "r-8a21466bf0", "GoBGP has no text for an extended community of the type 0x10c" },
        { "r-a0d985b689", "GoBGP has no text for an extended community of the type 0x10c" },
        { "r-aed7e0cb03", "GoBGP has no text for IPv6-address-specific extended communities" },
        { "r-f945d1e51b", "GoBGP takes no value above 255 in 'tcp-flags'" },
        { "r-fda04a55bb", "GoBGP has no text for IPv6-address-specific extended communities" },
     } },
   { "gobgp-json", {} },
   { "nlri", { { "r-19c8536f1d", "an NLRI of SAFI 133 has no route distinguisher" } } },
   { "nlri-vpn", {} },
   { "json", {} },
};

TEST( Dialect, EachRuleIsWrittenAndReadBack ) {
   ASSERT_EQ( namedRules().size(), 140U );
   for ( const Dialect& dialect : dialects() ) {
      Refusals refused;
      for ( auto [id, rule] : namedRules() ) {
         SCOPED_TRACE( Vek::concat( dialect.name, ' ', id ) );
         adapt( dialect, rule );
         Vek::String text = "front ";
         if ( const auto reason =
                 writeRule( dialect, rule, ruleContext( rule.key.addressFamily() ), text ) ) {
            refused[id] = *reason;
            EXPECT_EQ( text, "front " );
         } else {
            EXPECT_EQ( readBack( dialect, text.substr( 6 ), rule ), "" );
         }
      }
      EXPECT_EQ( refused, refusals.at( dialect.name ) ) << dialect.name;
   }
}

TEST( Dialect, WhatIsWrittenOfRandomRulesMeansTheSame ) {
   for ( const Dialect& dialect : dialects() ) {
      KeyGenerator random( 13 );
      unsigned written = 0;
      for ( int round = 0; round < 3000; ++round ) {
         Rule rule;
         rule.key = random.canonicalKey();
         rule.key.interfaceSetPopAll();
         rule.action = TestSupport::randomAction( random );
         // A rate of 0 would be read as a drop.
         const auto fields = rule.action.fields;
         if ( ( fields.trafficRate() || fields.trafficRatePkt() ) && rule.action.rateLimit == 0 ) {
            rule.action.rateLimit = 1;
         }
         adapt( dialect, rule );
         Vek::String text;
         if ( !writeRule( dialect, rule, ruleContext( rule.key.addressFamily() ), text ) ) {
            ++written;
            ASSERT_EQ( readBack( dialect, text, rule ), "" ) << rule.key.stringValue();
         }
      }
      EXPECT_GT( written, 300U ) << dialect.name;
   }
}

TEST( Dialect, NoKeyHarmsAWriter ) {
   for ( const Dialect& dialect : dialects() ) {
      KeyGenerator random( 14 );
      for ( int round = 0; round < 2000; ++round ) {
         Rule rule;
         rule.key = random.oneIn( 2 ) ? random.arbitraryKey() : random.similarKey();
         Vek::String text;
         if ( !writeRule( dialect, rule, ruleContext( rule.key.addressFamily() ), text ) ) {
            EXPECT_EQ( readBack( dialect, text, rule ), "" ) << rule.key.toStrep();
         }
      }
   }
}

TEST( Dialect, NoTextHarmsAReader ) {
   for ( const Dialect& dialect : dialects() ) {
      KeyGenerator random( 15 );
      std::vector< Vek::String > texts;
      for ( auto [id, rule] : namedRules() ) {
         adapt( dialect, rule );
         Vek::String text;
         if ( !writeRule( dialect, rule, ruleContext( rule.key.addressFamily() ), text ) ) {
            texts.push_back( text );
         }
      }
      ASSERT_FALSE( texts.empty() );
      for ( int round = 0; round < 20000; ++round ) {
         Vek::String text = random.oneOf( texts );
         for ( U64 changes = 1 + random.below( 3 ); changes > 0; --changes ) {
            const std::size_t at = random.below( text.size() );
            switch ( random.below( 3 ) ) {
            case 0:
               text[at] = random.oneOf( random.oneOf( texts ) );
               break;
            case 1:
               text.erase( at, 1 + random.below( 4 ) );
               break;
            case 2:
               text.insert( at, random.oneOf( texts ).substr( 0, random.below( 20 ) ) );
               break;
            }
            text += text.empty() ? "x" : "";
         }
         Rule rule;
         std::vector< Fault > remarks;
         const auto fault =
            readRule( dialect, text, ruleContext( AddressFamily::ipv4 ), rule, remarks );
         if ( fault ) {
            EXPECT_GE( fault->line, 1U );
            EXPECT_GE( fault->column, dialect.name == "json" ? 0U : 1U );
            EXPECT_LE( fault->column, text.size() + 1 );
            EXPECT_NE( fault->reason, "" );
            EXPECT_EQ( rule, Rule() );
         }
      }
   }
}

} // namespace
} // namespace Forms
