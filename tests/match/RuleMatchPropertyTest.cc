#include "match/RuleMatch.h"

#include "tests/match/RandomMatch.h"
#include "tests/match/SlowMatch.h"

#include <gtest/gtest.h>

namespace Match {
namespace {

using Flowspec::FlowspecKey;
using Zorv::AddressFamily;

TEST( RuleMatch, AgreesWithTheSlowImplementation ) {
   TestSupport::RandomMatch random( 8955 );
   constexpr unsigned pairs = 120'000U;
   unsigned matched = 0;
   for ( unsigned i = 0; i < pairs; ++i ) {
      const auto bytes = random.packet();
      const FlowspecKey key = random.rule( bytes );
      const auto packet = parsePacket( bytes );
      const bool slow = TestSupport::slowMatches( key, bytes );
      ASSERT_EQ( packet && RuleMatch( key ).matches( *packet ), slow )
         << i << ": " << key.stringValue();
      matched += slow;
   }
   EXPECT_GT( matched, pairs * 4 / 10 );
   EXPECT_LT( matched, pairs * 6 / 10 );
}

TEST( RuleMatch, AgreesWithTheSlowImplementationAboutAnyKey ) {
   TestSupport::RandomMatch random( 8956 );
   for ( unsigned i = 0; i < 30'000U; ++i ) {
      const auto bytes = random.packet();
      auto& keys = random.random();
      FlowspecKey key = keys.oneIn( 2 ) ? keys.arbitraryKey( 4 ) : keys.canonicalKey();
      if ( keys.oneIn( 2 ) ) {
         key.destPrefixIs( {} );
         key.srcPrefixIs( {} );
         key.addressFamilyIs( bytes[0] >> 4 == 6 ? AddressFamily::ipv6 : AddressFamily::ipv4 );
      }
      const auto packet = parsePacket( bytes );
      ASSERT_EQ( packet && RuleMatch( key ).matches( *packet ),
                 TestSupport::slowMatches( key, bytes ) )
         << i << ": " << key.toStrep();
   }
}

} // namespace
} // namespace Match
