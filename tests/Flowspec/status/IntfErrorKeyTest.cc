#include "Flowspec/status/IntfErrorKey.h"

#include "Vek/collections/HashMap.h"
#include "Vek/types/RecordText.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"

#include <set>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;
using Zorv::AddressFamily;

IntfErrorKey key( U64 intf, unsigned family ) {
   return IntfErrorKey( Zorv::IntfId( intf ), static_cast< AddressFamily >( family ) );
}

TEST( IntfErrorKey, HoldsAnInterfaceAndAFamily ) {
   constexpr IntfErrorKey none;
   static_assert( none.intfId() == Zorv::IntfId() && none.addressFamily() == AddressFamily::none );
   EXPECT_EQ( key( 3, 2 ).intfId(), Zorv::IntfId( 3 ) );
   EXPECT_EQ( key( 3, 2 ).addressFamily(), AddressFamily::ipv6 );
   EXPECT_NE( key( 3, 1 ), key( 3, 2 ) );
   EXPECT_NE( key( 3, 1 ), key( 4, 1 ) );
   EXPECT_EQ( key( 3, 1 ), key( 3, 1 ) );
}

TEST( IntfErrorKey, OrderIsByTheInterfacesNumberThenTheFamily ) {
   const IntfErrorKey ascending[] = { key( 0, 0 ),         key( 0, 255 ),
                                      key( 2, 1 ),         key( 2, 2 ),
                                      key( 10, 0 ),        key( 255, 1 ),
                                      key( 256, 0 ),       key( 0xFFFFFFFF, 255 ),
                                      key( ~0U, 255 ),     key( U64{ 1 } << 32, 0 ),
                                      key( ~U64{ 0 }, 0 ), key( ~U64{ 0 }, 1 ) };
   for ( const IntfErrorKey& a : ascending ) {
      for ( const IntfErrorKey& b : ascending ) {
         if ( &a < &b && a != b ) {
            EXPECT_LT( a, b ) << a.stringValue() << ' ' << b.stringValue();
            EXPECT_FALSE( b < a );
         }
      }
      EXPECT_FALSE( a < a );
   }
}

TEST( IntfErrorKey, BothPartsAndTheSeedCountInTheHash ) {
   std::set< U32 > hashes;
   for ( const U64 intf : { U64{ 0 }, U64{ 1 }, U64{ 2 }, U64{ 1 } << 32, ~U64{ 0 } } ) {
      for ( const unsigned family : { 0U, 1U, 2U, 255U } ) {
         EXPECT_EQ( key( intf, family ).hash(), key( intf, family ).hash( 0 ) );
         for ( const U32 seed : { 0U, 1U, 0xFFFFFFFFU } ) {
            EXPECT_EQ( key( intf, family ).hash( seed ), key( intf, family ).hash( seed ) );
            EXPECT_TRUE( hashes.insert( key( intf, family ).hash( seed ) ).second )
               << intf << ' ' << family << ' ' << seed;
         }
      }
   }
}

TEST( IntfErrorKey, FilesErrorsApart ) {
   Vek::HashMap< IntfErrorKey, Vek::String > errors;
   for ( U64 intf = 0; intf < 100; ++intf ) {
      for ( unsigned family = 0; family < 3; ++family ) {
         errors.insert( key( intf, family ), key( intf, family ).stringValue() );
      }
   }
   EXPECT_EQ( errors.size(), 300U );
   for ( U64 intf = 0; intf < 100; ++intf ) {
      for ( unsigned family = 0; family < 3; ++family ) {
         ASSERT_EQ( errors.find( key( intf, family ) )->second, key( intf, family ).stringValue() );
      }
   }
}

TEST( IntfErrorKey, Text ) {
   EXPECT_EQ( key( 3, 1 ).stringValue(), "intf3,ipv4" );
   EXPECT_EQ( key( 0, 0 ).stringValue(), "intf0,none" );
   EXPECT_EQ( key( ~U64{ 0 }, 255 ).stringValue(), "intf18446744073709551615,af255" );
   for ( const IntfErrorKey& written : { key( 3, 1 ), key( 0, 0 ), key( ~U64{ 0 }, 255 ) } ) {
      IntfErrorKey read = key( 7, 7 );
      Vek::strepToValue( written.stringValue(), &read );
      EXPECT_EQ( read, written );
      const Vek::TypeInfo& type = *Vek::TypeRegistry::find( "Flowspec::IntfErrorKey" );
      EXPECT_EQ( Vek::valueText( type, &written ), written.stringValue() );
   }
}

TEST( IntfErrorKey, WhatIsNoTextChangesNothing ) {
   IntfErrorKey read = key( 7, 2 );
   for ( const std::string text :
         { "", ",", "intf3", "intf3,", ",ipv4", "intf3;ipv4", "intf3,ipv4,", "intf3, ipv4",
           "intf03,ipv4", "3,ipv4", "intf3,IPv4", "intf3,af2", "intf3,af256",
           "intf18446744073709551616,ipv4" } ) {
      EXPECT_THAT(
         [&] { read.stringValueIs( text ); },
         raisesRange( "Flowspec::IntfErrorKey: '" + text + "' is not an interface and a family" ) );
      EXPECT_EQ( read, key( 7, 2 ) ) << text;
   }
}

} // namespace
} // namespace Flowspec
