#include "Flowspec/status/Counter.h"

#include "Vek/types/RecordText.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/EntangledKeys.h"
#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

using Osk::UniqueId;
using QosLib::ColoredCounters;
using testing::IsEmpty;
using TestSupport::raisesRange;

ColoredCounters hits( U64 packets ) {
   ColoredCounters counters;
   counters.packetHitsIs( packets );
   return counters;
}

TEST( CounterVersion, DefaultsAreZeroUnderVersionsOfTheirOwn ) {
   const CounterVersion a;
   const CounterVersion b;
   EXPECT_EQ( a.coloredCounters(), ColoredCounters() );
   EXPECT_TRUE( a.version() );
   EXPECT_FALSE( a.version().isEq( b.version() ) );
   EXPECT_NE( a, b );
   EXPECT_EQ( a, a );
   const CounterVersion copy = a;
   EXPECT_EQ( copy, a );
}

TEST( CounterVersion, EqualityIsThatOfCountersAndVersion ) {
   const CounterVersion value( hits( 3 ), UniqueId( 5 ) );
   EXPECT_EQ( value, CounterVersion( hits( 3 ), UniqueId( 5 ) ) );
   EXPECT_NE( value, CounterVersion( hits( 4 ), UniqueId( 5 ) ) );
   EXPECT_NE( value, CounterVersion( hits( 3 ), UniqueId( 6 ) ) );
   ColoredCounters red = hits( 3 );
   red.redIs( { 0, 0, 1 } );
   EXPECT_NE( value, CounterVersion( red, UniqueId( 5 ) ) );
   CounterVersion changed;
   changed.coloredCountersIs( hits( 3 ) );
   changed.versionIs( UniqueId( 5 ) );
   EXPECT_EQ( changed, value );
}

TEST( CounterVersion, TextIsThatOfItsAttributes ) {
   const Vek::TypeInfo& type = *Vek::TypeRegistry::find( "Flowspec::CounterVersion" );
   ColoredCounters counters = hits( 3 );
   counters.greenIs( { 1, 2, 3 } );
   const CounterVersion value( counters, UniqueId( 0xABC ) );
   const Vek::String text = "<packetHits=3,byteHits=0,green=1/2/3,yellow=0/0/0,red=0/0/0>;"
                            "0000000000000abc;";
   EXPECT_EQ( Vek::valueText( type, &value ), text );
   CounterVersion read;
   Vek::textToValue( type, text, &read );
   EXPECT_EQ( read, value );
   EXPECT_THAT( [&] { Vek::textToValue( type, text.substr( 0, text.size() - 2 ) + ";", &read ); },
                raisesRange( "Osk::UniqueId: '0000000000000ab' is not an identifier" ) );
   EXPECT_THAT( [&] { Vek::textToValue( type, "3;0000000000000abc;", &read ); },
                raisesRange( "QosLib::ColoredCounters: '3' is not counters" ) );
   EXPECT_EQ( read, value );
}

TEST( Counter, StartsWithItsNameAndNothingElse ) {
   const auto counter = counterFactory( "counters" );
   EXPECT_EQ( counter->name(), "counters" );
   EXPECT_TRUE( counter->snapshot().empty() );
   EXPECT_EQ( counter->timestamp(), 0 );
}

// Keys that differ in one attribute only, interface sets included, and keys that are each less
// than the other have counters of their own.
TEST( Counter, IsKeyedByTheWholeKey ) {
   std::vector< FlowspecKey > keys = TestSupport::entangledKeys();
   FlowspecKey key = TestSupport::keyOf( { 0x03810006 }, { 1 } );
   key.vrfIdIs( 7 );
   keys.push_back( key );
   key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   keys.push_back( key );
   key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A000000 ), 8 ) );
   keys.push_back( key );
   key.srcPrefixIs( key.destPrefix() );
   keys.push_back( key );
   key.destPrefixIs( Zorv::IpGenPrefix() );
   keys.push_back( key );
   const auto counter = counterFactory( "counters" );
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      counter->snapshotIs( keys[i], CounterVersion( hits( i ), UniqueId( 1 ) ) );
   }
   ASSERT_EQ( counter->snapshot().size(), keys.size() );
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      EXPECT_EQ( counter->snapshot( keys[i] ).coloredCounters(), hits( i ) ) << i;
   }
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      counter->snapshotDel( keys[i] );
      EXPECT_FALSE( counter->snapshot().contains( keys[i] ) ) << i;
      EXPECT_EQ( counter->snapshot().size(), keys.size() - i - 1 );
   }
}

TEST( Counter, ARefreshThatFindsNothingChangedAllocatesNothing ) {
   const auto counter = counterFactory( "counters" );
   FlowspecKey large;
   for ( U32 index = 0; index < 100; ++index ) {
      large.matchOpValIs( index, MatchOpVal( index ) );
   }
   FlowspecKey small;
   small.matchOpValIs( 0, MatchOpVal( 1 ) );
   const CounterVersion value( hits( 3 ), UniqueId( 5 ) );
   for ( const FlowspecKey& key : { large, small } ) {
      counter->snapshotIs( key, value );
      TestSupport::ChangeRecorder changes( *counter );
      const U64 version = counter->snapshot().version();
      const TestSupport::AllocationCounter allocations;
      counter->snapshotIs( key, value );
      counter->snapshotIs( key, counter->snapshot().find( key )->second );
      EXPECT_EQ( allocations.count(), 0U );
      EXPECT_EQ( counter->snapshot().version(), version );
      EXPECT_THAT( changes.take(), IsEmpty() );
   }
}

// Key and value may be those of a member that moves when the collection grows.
TEST( Counter, ArgumentsMayLiveInTheCollection ) {
   const auto counter = counterFactory( "counters" );
   FlowspecKey key;
   for ( U32 index = 0; index < 20; ++index ) {
      key.matchOpValIs( index, MatchOpVal( index ) );
   }
   const CounterVersion value( hits( 3 ), UniqueId( 5 ) );
   counter->snapshotIs( key, value );
   for ( U32 vrfId = 1; vrfId < 200; ++vrfId ) {
      FlowspecKey next = key;
      next.vrfIdIs( vrfId );
      counter->snapshotIs( next, counter->snapshot().begin()->second );
      ASSERT_EQ( counter->snapshot( next ), value ) << vrfId;
   }
   while ( !counter->snapshot().empty() ) {
      const FlowspecKey& first = counter->snapshot().begin()->first;
      const U32 size = counter->snapshot().size();
      counter->snapshotIs( first, CounterVersion( hits( 4 ), UniqueId( 5 ) ) );
      counter->snapshotDel( first );
      ASSERT_EQ( counter->snapshot().size(), size - 1 );
   }
}

} // namespace
} // namespace Flowspec
