#include "agents/peerd/policy/GuardedSessions.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/support/KeyGenerator.h"

#include <gtest/gtest.h>

namespace Peerd {
namespace {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

Flowspec::FlowspecKey rule( const char* text, AddressFamily family = AddressFamily::ipv4 ) {
   Flowspec::FlowspecKey key;
   key.addressFamilyIs( family );
   EXPECT_FALSE( Flowspec::readStrCli( text, false, key ) ) << text;
   return key;
}

IpGenAddr address( const char* text ) { return *IpGenAddr::fromText( text ); }

TEST( GuardedSessions, TheFirstThatARuleCovers ) {
   const GuardedSessions sessions( { { address( "2001:db8::1" ), address( "2001:db8::2" ) },
                                     { address( "10.0.0.9" ), address( "10.0.0.3" ) },
                                     { address( "10.0.0.9" ), address( "10.0.0.2" ) },
                                     { {}, address( "10.0.0.1" ) } } );
   EXPECT_EQ( sessions.coveredBy( rule( "10.0.0.2/32;*;" ) ), 2U );
   EXPECT_EQ( sessions.coveredBy( rule( "10.0.0.9/32;*;" ) ), 1U ) << "our end";
   EXPECT_EQ( sessions.coveredBy( rule( "*;10.0.0.2/31;" ) ), 1U );
   EXPECT_EQ( sessions.coveredBy( rule( "*;*;IP:=6;" ) ), 1U );
   EXPECT_EQ( sessions.coveredBy( rule( "0.0.0.0/0;*;" ) ), 1U );
   EXPECT_EQ( sessions.coveredBy( rule( "*;*;IP:=6;", AddressFamily::ipv6 ) ), 0U );
   EXPECT_EQ( sessions.coveredBy( rule( "2001:db8::2/128;*;", AddressFamily::ipv6 ) ), 0U );
   EXPECT_EQ( sessions.coveredBy( rule( "10.0.0.1/32;*;" ) ), std::nullopt ) << "no local end yet";
   EXPECT_EQ( sessions.coveredBy( rule( "10.0.0.4/30;*;" ) ), std::nullopt );
   EXPECT_EQ( sessions.coveredBy( rule( "10.0.0.2/32;*;IP:=17;" ) ), std::nullopt );
   EXPECT_EQ( GuardedSessions().coveredBy( rule( "*;*;IP:=6;" ) ), std::nullopt );
}

// Beside looking at each session.
TEST( GuardedSessions, AreTheSameAsOneByOne ) {
   TestSupport::KeyGenerator random( 20261123 );
   U32 covered = 0;
   for ( U32 round = 0; round < 300; ++round ) {
      const auto any = [&] {
         return IpGenAddr::ipv4( static_cast< U32 >( 0x0A000000 + random.below( 64 ) ) );
      };
      std::vector< SessionEnds > ends( random.below( 12 ) );
      for ( SessionEnds& session : ends ) {
         session.local = random.oneIn( 8 ) ? IpGenAddr() : any();
         session.peer = any();
      }
      const GuardedSessions sessions( ends );
      EXPECT_EQ( sessions.sessions(), ends );
      for ( U32 i = 0; i < 20; ++i ) {
         Flowspec::FlowspecKey key;
         key.addressFamilyIs( AddressFamily::ipv4 );
         const auto prefix = [&] {
            return random.oneIn( 3 ) ? IpGenPrefix() : IpGenPrefix( any(), 26 + random.below( 7 ) );
         };
         key.destPrefixIs( prefix() );
         key.srcPrefixIs( prefix() );
         std::optional< U16 > expected;
         for ( std::size_t at = 0; at < ends.size() && !expected; ++at ) {
            if ( coversSession( key, ends[at] ) ) {
               expected = static_cast< U16 >( at );
            }
         }
         ASSERT_EQ( sessions.coveredBy( key ), expected ) << key.stringValue();
         covered += expected.has_value();
      }
   }
   EXPECT_GT( covered, 500U );
   EXPECT_LT( covered, 5000U );
}

} // namespace
} // namespace Peerd
