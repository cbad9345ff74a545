#include "Flowspec/key/FlowspecKeyReader.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/Flowspec/key/ReferenceReader.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/KeyGenerator.h"
#include "tests/support/TraceRecorder.h"

#include <array>
#include <functional>
#include <stdexcept>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;
using TestSupport::raisesIndexRange;
using TestSupport::TraceRecorder;
using Outcome = ReferenceReader::Outcome;

constexpr int rounds = 100000;

/// How often each outcome was met, so that a generator that misses one is noticed.
class Outcomes {
public:
   void count( Outcome outcome ) { ++counts_[static_cast< std::size_t >( outcome )]; }
   int operator[]( Outcome outcome ) const {
      return counts_[static_cast< std::size_t >( outcome )];
   }

private:
   std::array< int, 6 > counts_{};
};

// What the checked reader must say about a text that the reference read with `outcome`.
void expectVerdict( const KeyTextResult& result, const std::string& text, Outcome outcome,
                    const ReferenceReader& reference ) {
   ASSERT_EQ( !result, outcome == Outcome::good ) << text;
   if ( !result ) {
      return;
   }
   ASSERT_LE( result->offset, text.size() ) << text;
   if ( !reference.trace.empty() ) {
      ASSERT_EQ( result->message, reference.trace[0] );
   }
   constexpr std::string_view unexpected = "Unexpected character ";
   if ( result->message.starts_with( unexpected ) &&
        result->message.size() == unexpected.size() + 1 ) {
      ASSERT_EQ( result->message.back(), text[result->offset] ) << text;
   }
   if ( outcome == Outcome::indexException ) {
      ASSERT_TRUE( result->message.starts_with( "Too many terms for a rule key at " ) );
   }
   if ( reference.assertion == "byteLength < 8" ) {
      ASSERT_TRUE( result->message.starts_with( "8-byte values are not supported in " ) );
   }
}

// What the key's own operation must do about it; not called when that ends the process.
void expectBehaviour( const std::function< bool() >& read, Outcome outcome ) {
   switch ( outcome ) {
   case Outcome::good:
      ASSERT_TRUE( read() );
      break;
   case Outcome::badText:
      ASSERT_FALSE( read() );
      break;
   case Outcome::indexException:
      ASSERT_THAT( read, raisesIndexRange() );
      break;
   case Outcome::invalidArgument:
      ASSERT_THROW( read(), std::invalid_argument );
      break;
   case Outcome::outOfRange:
      ASSERT_THROW( read(), std::out_of_range );
      break;
   case Outcome::assertion:
      break;
   }
}

// A rule with so many terms before its end that it nears the last index.
Vek::String longRule( KeyGenerator& generator, bool lengths ) {
   Vek::String text = "*;*;IP:";
   for ( U64 i = 2040 + generator.below( 10 ); i > 0; --i ) {
      text += lengths ? "=0L6" : "=6";
   }
   return text + ( lengths ? "=2L5=0L5=0L5;" : "=70000=5=5;" );
}

Vek::String ruleText( KeyGenerator& generator, bool lengths ) {
   const Vek::String text =
      generator.oneIn( 500 ) ? longRule( generator, lengths ) : generator.ruleText( lengths );
   return generator.oneIn( 3 ) ? text : generator.mutated( text );
}

TEST( ReaderModel, CommandLineFormIsReadAsByTheReference ) {
   KeyGenerator generator( 50 );
   Outcomes outcomes;
   for ( int i = 0; i < rounds; ++i ) {
      const bool lengths = generator.oneIn( 2 );
      const Vek::String text = ruleText( generator, lengths );
      const U32 offset =
         generator.oneIn( 5 ) ? static_cast< U32 >( generator.below( text.size() + 3 ) ) : 0;
      const FlowspecKey before = generator.oneIn( 5 ) ? generator.canonicalKey() : FlowspecKey();
      ReferenceReader reference;
      reference.key = before;
      const Outcome outcome = reference.readCli( text, offset, lengths );
      outcomes.count( outcome );
      if ( offset == 0 ) {
         FlowspecKey checked = before;
         expectVerdict( readStrCli( text, lengths, checked ), text, outcome, reference );
         ASSERT_EQ( checked, reference.key ) << text;
      }
      if ( outcome != Outcome::assertion ) {
         TraceRecorder recorder( traceHandle, { 2 } );
         FlowspecKey key = before;
         expectBehaviour( [&] { return key.copyInStrCliAtOffset( text, offset, lengths ); },
                          outcome );
         ASSERT_EQ( key, reference.key ) << text;
         ASSERT_EQ( recorder.texts(), reference.trace ) << text;
      }
      if ( HasFailure() ) {
         return;
      }
   }
   EXPECT_GT( outcomes[Outcome::good], rounds / 10 );
   EXPECT_GT( outcomes[Outcome::badText], rounds / 10 );
   EXPECT_GT( outcomes[Outcome::indexException], rounds / 5000 );
   EXPECT_GT( outcomes[Outcome::assertion], rounds / 5000 );
}

TEST( ReaderModel, CommandLineFormBehindADistinguisherIsReadAsByTheReference ) {
   KeyGenerator generator( 51 );
   Outcomes outcomes;
   for ( int i = 0; i < rounds; ++i ) {
      const bool lengths = generator.oneIn( 2 );
      const Zorv::RouteDistinguisher rd( generator.any() >> generator.below( 64 ) );
      Vek::String text = "RD:" + rd.stringValue() + ';';
      text += generator.ruleText( lengths );
      text = generator.oneIn( 3 ) ? text : generator.mutated( text );
      ReferenceReader reference;
      const Outcome outcome = reference.readCliWithRd( text, lengths );
      outcomes.count( outcome );
      FlowspecKey checked;
      Zorv::RouteDistinguisher checkedRd;
      expectVerdict( readStrCliWithRd( text, lengths, checkedRd, checked ), text, outcome,
                     reference );
      ASSERT_EQ( checked, reference.key ) << text;
      if ( outcome == Outcome::good ) {
         ASSERT_EQ( checkedRd, reference.rd );
      }
      if ( outcome != Outcome::assertion ) {
         TraceRecorder recorder( traceHandle, { 2 } );
         FlowspecKey key;
         ASSERT_EQ( key.copyInStrCliWithRd( text, lengths ), reference.rd ) << text;
         ASSERT_EQ( key, reference.key ) << text;
         ASSERT_EQ( recorder.texts(), reference.trace ) << text;
      }
   }
   EXPECT_GT( outcomes[Outcome::good], rounds / 10 );
   EXPECT_GT( outcomes[Outcome::badText], rounds / 10 );
}

TEST( ReaderModel, ValueFormIsReadAsByTheReference ) {
   static constexpr std::string_view vrfs[] = { "5",          "-1", " 7", "16777215",
                                                "4294967296", "x",  "7x", "99999999999999999999" };
   KeyGenerator generator( 52 );
   Outcomes outcomes;
   for ( int i = 0; i < rounds; ++i ) {
      Vek::String text = generator.canonicalKey().stringValue();
      if ( generator.oneIn( 2 ) ) {
         text.replace( 0, text.find( ';' ), generator.oneOf( vrfs ) );
         text += generator.oneIn( 4 ) ? "\nrest" : "";
         text = generator.mutated( text );
      }
      ReferenceReader reference;
      const Outcome outcome = reference.readStringValue( text );
      outcomes.count( outcome );
      FlowspecKey checked;
      expectVerdict( readStringValue( text, checked ), text, outcome, reference );
      ASSERT_EQ( checked, reference.key ) << text;
      if ( outcome != Outcome::assertion ) {
         FlowspecKey key;
         expectBehaviour(
            [&] {
               key.copyInStringValue( text );
               return true;
            },
            outcome );
         ASSERT_EQ( key, reference.key ) << text;
      }
      if ( HasFailure() ) {
         return;
      }
   }
   EXPECT_GT( outcomes[Outcome::good], rounds / 10 );
   EXPECT_GT( outcomes[Outcome::assertion], rounds / 10 );
   EXPECT_GT( outcomes[Outcome::invalidArgument], rounds / 100 );
   EXPECT_GT( outcomes[Outcome::outOfRange], rounds / 100 );
}

TEST( ReaderModel, InterfaceSetListIsReadAsByTheReference ) {
   KeyGenerator generator( 53 );
   Outcomes outcomes;
   for ( int i = 0; i < rounds; ++i ) {
      Vek::String list;
      for ( U64 count = generator.below( 4 ); count > 0; --count ) {
         list += Vek::concat( generator.number( generator.oneIn( 4 ) ? 32 : 14 ), ',' );
      }
      const Vek::String text =
         "IFSET:=" + generator.mutated( list ) + ( generator.oneIn( 50 ) ? "" : ";" );
      ReferenceReader reference;
      const Outcome outcome = reference.readInterfaceSet( text );
      outcomes.count( outcome );
      FlowspecKey checked;
      expectVerdict( readInterfaceSet( text, checked ), text, outcome, reference );
      ASSERT_EQ( checked, reference.key ) << text;
      if ( outcome == Outcome::good ) {
         FlowspecKey key;
         ASSERT_EQ( flowspecKeyCopyInInterfaceSet( text, key ), reference.interfaceSetEnd ) << text;
         ASSERT_EQ( key, reference.key ) << text;
      }
   }
   EXPECT_GT( outcomes[Outcome::good], rounds / 10 );
   EXPECT_GT( outcomes[Outcome::assertion], rounds / 10 );
}

} // namespace
} // namespace Flowspec
