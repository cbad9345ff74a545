#include "Flowspec/key/FlowspecKeyReader.h"

#include "tests/support/KeyGenerator.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;

constexpr int rounds = 100000;

// A key without what the command-line form does not carry.
FlowspecKey ruleOf( const FlowspecKey& key ) {
   FlowspecKey rule = key;
   rule.vrfIdIs( Vrf::VrfIdMap::invalid() );
   rule.addressFamilyIs( Zorv::AddressFamily::none );
   rule.interfaceSetPopAll();
   return rule;
}

TEST( RoundTrip, ValueFormGivesBackACanonicalKey ) {
   KeyGenerator generator( 80 );
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key = generator.canonicalKey();
      FlowspecKey copy;
      copy.copyInStringValue( key.stringValue() );
      ASSERT_EQ( copy, key ) << key.toStrep();
   }
}

TEST( RoundTrip, DiagnosticFormGivesBackACanonicalKey ) {
   KeyGenerator generator( 81 );
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key = generator.canonicalKey();
      FlowspecKey copy;
      copy.copyInStr( key.toStrep() );
      ASSERT_EQ( copy, key ) << key.toStrep();
   }
}

TEST( RoundTrip, CommandLineFormWithLengthsGivesBackTheRuleOfACanonicalKey ) {
   KeyGenerator generator( 82 );
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key = generator.canonicalKey();
      FlowspecKey copy;
      ASSERT_TRUE( copy.copyInStrCli( key.toStrepCli( true ), true ) );
      ASSERT_EQ( copy, ruleOf( key ) ) << key.toStrep();
   }
}

TEST( RoundTrip, CommandLineFormWithoutLengthsGivesBackTheRuleWhenTheLengthsAreTheShortest ) {
   KeyGenerator generator( 83 );
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key = generator.canonicalKey( true );
      FlowspecKey copy;
      ASSERT_TRUE( copy.copyInStrCli( key.toStrepCli( false ), false ) );
      ASSERT_EQ( copy, ruleOf( key ) ) << key.toStrep();
   }
}

TEST( RoundTrip, DistinguisherComesBackWithTheRule ) {
   KeyGenerator generator( 84 );
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key = generator.canonicalKey();
      const U64 type = generator.below( generator.oneIn( 4 ) ? 0x10000 : 3 );
      const Zorv::RouteDistinguisher rd( type << 48 |
                                         generator.any() >> ( 16 + generator.below( 48 ) ) );
      FlowspecKey copy;
      ASSERT_EQ( copy.copyInStrCliWithRd( key.toStrepCliWithRd( rd, true ), true ), rd );
      ASSERT_EQ( copy, ruleOf( key ) ) << key.toStrep();
   }
}

// What makes a key canonical, one condition after the other: a key that breaks it does not survive.
struct Broken {
   const char* condition;
   const char* diagnostic;
   const char* comesBackAs; ///< from the value form
};

const Broken brokenKeys[] = {
   { "end-of-list on a component's last term", "5;ipv4;;;50397190;", "5;ipv4;;;58785798;" },
   { "and on no other", "5;ipv4;;;58785798;58785799;", "5;ipv4;;;50397190;58785799;" },
   { "no AND on a component's first term", "5;ipv4;;;62980102;", "5;ipv4;;;58785798;" },
   { "the reserved bit is clear", "5;ipv4;;;59310086;", "5;ipv4;;;58785798;" },
   { "no less-than in a bitmask", "5;ipv4;;;159711234;", "5;ipv4;;;159449090;" },
   { "a value fits its length", "5;ipv4;;;58786054;", "5;ipv4;;;58785798;" },
   { "both halves agree", "5;ipv4;;;228655105;9029;", "5;ipv4;;;228655105;228664133;" },
};

TEST( RoundTrip, KeyThatBreaksAConditionComesBackAsAnother ) {
   for ( const Broken& broken : brokenKeys ) {
      FlowspecKey key;
      key.copyInStr( broken.diagnostic );
      FlowspecKey copy;
      copy.copyInStringValue( key.stringValue() );
      EXPECT_NE( copy, key ) << broken.condition;
      EXPECT_EQ( copy.toStrep(), broken.comesBackAs ) << broken.condition;
   }
}

// Any operators and values, types that have labels.
FlowspecKey labelledKey( KeyGenerator& generator ) {
   FlowspecKey key;
   U32 index = 0;
   for ( U64 i = generator.below( 8 ); i > 0; --i ) {
      const U32 type = static_cast< U32 >( 3 + generator.below( generator.oneIn( 2 ) ? 11 : 2 ) );
      const U32 op = static_cast< U32 >( generator.any() ) & 0xDF; // one or two bytes
      key.matchOpValIs( index++, MatchOpVal( type << 24 | op << 16 | generator.number( 16 ) ) );
   }
   if ( index > 0 && generator.oneIn( 2 ) ) {
      key.matchOpValIs( index++, MatchOpVal( 0x0DA00001 ) );
      key.matchOpValIs( index++, MatchOpVal( static_cast< U32 >( generator.any() ) ) );
   }
   return key;
}

TEST( RoundTrip, WhatTheFirstRoundMakesOfAKeyTheSecondGivesBack ) {
   KeyGenerator generator( 85 );
   int changed = 0;
   for ( int i = 0; i < rounds; ++i ) {
      const FlowspecKey key = labelledKey( generator );
      FlowspecKey first;
      ASSERT_TRUE( first.copyInStrCli( key.toStrepCli( true ), true ) ) << key.toStrep();
      FlowspecKey second;
      ASSERT_TRUE( second.copyInStrCli( first.toStrepCli( true ), true ) ) << key.toStrep();
      ASSERT_EQ( second, first ) << key.toStrep();
      changed += first != key;
   }
   EXPECT_GT( changed, rounds / 2 );
}

TEST( RoundTrip, KeyThatTheValueFormCannotHoldIsRefused ) {
   for ( const char* diagnostic : {
            "5;ipv4;;;6;",            // a term without a type
            "5;ipv4;;;25231366;",     // a prefix type among the terms
            "5;;;;58785798;",         // no family
            "5;af25;;;58785798;",     // another family
            "5;ipv4;IFSET:=16384;;;", // an identifier above 16383
         } ) {
      FlowspecKey key;
      key.copyInStr( diagnostic );
      FlowspecKey copy;
      EXPECT_TRUE( readStringValue( key.stringValue(), copy ) ) << diagnostic;
   }
}

TEST( RoundTrip, LongerLengthIsLostWithoutLengths ) {
   FlowspecKey key;
   key.setOpVal( 0, destPort, 0x91, 80 );
   FlowspecKey copy;
   ASSERT_TRUE( copy.copyInStrCli( key.toStrepCli( false ), false ) );
   EXPECT_EQ( copy.matchOpVal( 0 ), MatchOpVal( destPort, 0x81, 80 ) );
}

} // namespace
} // namespace Flowspec
