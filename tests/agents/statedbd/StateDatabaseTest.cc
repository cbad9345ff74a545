#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/LogStream.h"
#include "tests/support/RandomTree.h"
#include "tests/support/Sanitized.h"

#include <algorithm>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using TestSupport::Database;
using TestSupport::difference;
using TestSupport::until;
using TestSupport::untilAllStand;
using Vek::Directory;
using Vek::log::Mount;

const Vek::String root = "flowspec/config";

FlowspecKey ruleKey( U32 number ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.setOpVal( 0, MatchCompType::destPort, 0x91, number );
   return key;
}

// The rules of VRF 0 that a process has.
std::vector< Vek::Ptr< RuleConfig > > rules( const Directory& directory ) {
   const auto entity = directory.entity( root );
   const auto vrf = entity ? static_cast< const Config& >( *entity ).vrfRuleConfig( 0 ) : nullptr;
   if ( !vrf ) {
      return {};
   }
   return { vrf->rule().begin(), vrf->rule().end() };
}

std::vector< U32 > ruleNumbers( const Directory& directory ) {
   std::vector< U32 > numbers;
   for ( const auto& rule : rules( directory ) ) {
      numbers.push_back( rule->ruleKey().matchOpVal( 0 ).val() );
   }
   return numbers;
}

class StateDatabase : public testing::Test {
protected:
   // A configuration of a process, with some rules.
   static Vek::Ptr< Config > config( const std::vector< U32 >& numbers ) {
      const auto made = configFactory( root );
      for ( const U32 number : numbers ) {
         made->vrfRuleConfigIs( 0 )->ruleIs( ruleKey( number ) )->ruleIdIs( number );
      }
      return made;
   }

   Database database;
   Directory replica;
   Mount reader{ database.endpoint(), "show", root, replica };
};

TEST_F( StateDatabase, AReaderHasWhatTheWriterHas ) {
   const auto mine = config( { 1, 2 } );
   Mount writer( database.endpoint(), "configd", *mine );
   ASSERT_TRUE( until( { &writer, &reader }, [&] { return ruleNumbers( replica ).size() == 2; } ) );
   mine->vrfRuleConfigIs( 0 )->ruleIs( ruleKey( 3 ) );
   mine->vrfRuleConfigIs( 0 )->ruleDel( ruleKey( 1 ) );
   ASSERT_TRUE( until( { &writer, &reader }, [&] {
      return ruleNumbers( replica ) == std::vector< U32 >{ 2, 3 };
   } ) );
   Directory here;
   here.create( "Flowspec::Config", root );
   Mount second( database.endpoint(), "second", root, here );
   ASSERT_TRUE( untilAllStand( { &second } ) );
   EXPECT_EQ( difference( here, replica ), "" );
}

TEST_F( StateDatabase, AReaderStandsAlsoWhereNothingWasWritten ) {
   ASSERT_TRUE( untilAllStand( { &reader } ) );
   EXPECT_EQ( reader.error(), "" );
   EXPECT_THAT( replica.names(), IsEmpty() );
}

TEST_F( StateDatabase, ASecondWriterIsRefusedWithTheNameOfTheFirst ) {
   const auto first = config( { 1 } );
   Mount writer( database.endpoint(), "configd", *first );
   ASSERT_TRUE( untilAllStand( { &writer } ) );
   const auto second = config( { 2 } );
   Mount other( database.endpoint(), "intruder", *second );
   ASSERT_TRUE( until( { &other }, [&] { return other.refused(); } ) );
   EXPECT_EQ( other.error(), "flowspec/config is written by configd" );
   EXPECT_FALSE( other.stands() );
   ASSERT_TRUE( untilAllStand( { &reader } ) );
   EXPECT_THAT( ruleNumbers( replica ), ElementsAre( 1 ) );
}

TEST_F( StateDatabase, AWriterMayBeTheNextWhenTheFirstIsGone ) {
   const auto first = config( { 1 } );
   auto writer = std::make_unique< Mount >( database.endpoint(), "configd", *first );
   ASSERT_TRUE( untilAllStand( { writer.get() } ) );
   const auto second = config( { 2 } );
   Mount other( database.endpoint(), "other", *second );
   ASSERT_TRUE( until( { &other }, [&] { return other.refused(); } ) );
   writer.reset();
   EXPECT_TRUE( untilAllStand( { &other } ) );
   EXPECT_FALSE( other.refused() );
}

TEST_F( StateDatabase, AWriterReplacesWhatThereIsByTheDifference ) {
   const auto first = config( { 1, 2 } );
   auto writer = std::make_unique< Mount >( database.endpoint(), "configd", *first );
   ASSERT_TRUE(
      until( { writer.get(), &reader }, [&] { return ruleNumbers( replica ).size() == 2; } ) );
   const auto vrf = static_cast< Config& >( *replica.entity( root ) ).vrfRuleConfig( 0 );
   TestSupport::ChangeRecorder changes( *vrf );
   writer.reset();
   const auto second = config( { 2, 3 } );
   Mount next( database.endpoint(), "configd", *second );
   ASSERT_TRUE( until( { &next, &reader }, [&] {
      return ruleNumbers( replica ) == std::vector< U32 >{ 2, 3 };
   } ) );
   EXPECT_EQ( changes.take().size(), 2U );
}

TEST_F( StateDatabase, AWriterIsToldWhenTheDatabaseHasItsChanges ) {
   const auto mine = config( { 1, 2 } );
   Mount writer( database.endpoint(), "configd", *mine );
   EXPECT_FALSE( writer.acknowledged() );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   Directory there;
   Mount second( database.endpoint(), "second", root, there );
   ASSERT_TRUE( untilAllStand( { &second } ) );
   EXPECT_THAT( ruleNumbers( there ), ElementsAre( 1, 2 ) );
   database.process().signal( SIGSTOP );
   mine->vrfRuleConfig( 0 )->ruleIs( ruleKey( 3 ) );
   EXPECT_FALSE( writer.acknowledged() );
   writer.process();
   EXPECT_TRUE( writer.allSent() );
   EXPECT_FALSE( writer.acknowledged() );
   database.process().signal( SIGCONT );
   EXPECT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   EXPECT_FALSE( second.acknowledged() );
}

TEST_F( StateDatabase, AWriterTakesOverWhatThereIs ) {
   const auto first = config( { 1, 2 } );
   auto writer = std::make_unique< Mount >( database.endpoint(), "configd", *first );
   ASSERT_TRUE( untilAllStand( { writer.get() } ) );
   writer.reset();
   Directory mine;
   Mount next( database.endpoint(), "next", "Flowspec::Config", root, mine );
   ASSERT_TRUE( untilAllStand( { &next } ) );
   EXPECT_THAT( ruleNumbers( mine ), ElementsAre( 1, 2 ) );
   static_cast< Config& >( *mine.entity( root ) ).vrfRuleConfigIs( 0 )->ruleIs( ruleKey( 3 ) );
   ASSERT_TRUE( until( { &next, &reader }, [&] { return ruleNumbers( replica ).size() == 3; } ) );
   EXPECT_EQ( difference( mine, replica ), "" );
}

TEST_F( StateDatabase, AWriterThatTakesOverNothingMakesTheRoot ) {
   Directory mine;
   Mount writer( database.endpoint(), "next", "Flowspec::Config", root, mine );
   ASSERT_TRUE( untilAllStand( { &writer } ) );
   EXPECT_THAT( mine.names(), ElementsAre( root ) );
   EXPECT_TRUE( until( { &writer, &reader }, [&] { return replica.entity( root ) != nullptr; } ) );
}

TEST_F( StateDatabase, AfterARestartWritersFillItAndReadersKeepWhatTheyHave ) {
   const auto mine = config( { 1, 2 } );
   Mount writer( database.endpoint(), "configd", *mine );
   ASSERT_TRUE( until( { &writer, &reader }, [&] { return ruleNumbers( replica ).size() == 2; } ) );
   const auto vrf = static_cast< Config& >( *replica.entity( root ) ).vrfRuleConfig( 0 );
   TestSupport::ChangeRecorder changes( *vrf );
   database.process().kill();
   ASSERT_TRUE( until( { &writer, &reader }, [&] { return !reader.error().empty(); } ) );
   mine->vrfRuleConfig( 0 )->ruleDel( ruleKey( 1 ) );
   database.start();
   ASSERT_TRUE( until( { &writer, &reader },
                       [&] { return ruleNumbers( replica ) == std::vector< U32 >{ 2 }; } ) );
   EXPECT_EQ( changes.take().size(), 1U );
   EXPECT_EQ( reader.error(), "" );
}

TEST_F( StateDatabase, HoldsAnyStateWheneverItIsKilled ) {
   Directory mine;
   TestSupport::RandomTree tree( mine, 5575 );
   TestSupport::KeyGenerator random( 8955 );
   std::vector< std::unique_ptr< Mount > > owned;
   std::vector< Mount* > mounts;
   for ( const auto& entity : tree.roots() ) {
      owned.push_back( std::make_unique< Mount >( database.endpoint(), "writer", *entity ) );
      owned.push_back(
         std::make_unique< Mount >( database.endpoint(), "reader", entity->name(), replica ) );
   }
   for ( const auto& mount : owned ) {
      mounts.push_back( mount.get() );
   }
   for ( int kill = 0; kill < 50; ++kill ) {
      for ( U64 turn = random.below( 30 ); turn > 0; --turn ) {
         for ( int change = 0; change < 20; ++change ) {
            tree.change();
         }
         for ( Mount* const mount : mounts ) {
            mount->process();
         }
      }
      database.process().kill();
      database.start();
   }
   EXPECT_TRUE( until( mounts, [&] { return difference( mine, replica ).empty(); } ) )
      << difference( mine, replica );
}

TEST_F( StateDatabase, AStalledReaderCostsNoMoreThanTheState ) {
   const auto mine = config( {} );
   Mount writer( database.endpoint(), "configd", *mine );
   std::vector< std::unique_ptr< Directory > > directories;
   std::vector< std::unique_ptr< Mount > > readers;
   std::vector< Mount* > mounts{ &writer };
   for ( int i = 0; i < 19; ++i ) {
      directories.push_back( std::make_unique< Directory >() );
      readers.push_back(
         std::make_unique< Mount >( database.endpoint(), "reader", root, *directories.back() ) );
      mounts.push_back( readers.back().get() );
   }
   ASSERT_TRUE( untilAllStand( mounts ) );
   ASSERT_TRUE( untilAllStand( { &reader } ) );
   // `reader` is not called from here on.
   const auto vrf = mine->vrfRuleConfigIs( 0 );
   constexpr U32 count = 2000;
   for ( U32 i = 0; i < count; ++i ) {
      vrf->ruleIs( ruleKey( i ) );
   }
   const auto allHave = [&]( U64 ruleId ) {
      return std::ranges::all_of( directories, [&]( const auto& directory ) {
         const auto theirs = rules( *directory );
         return theirs.size() == count && theirs.back()->ruleId() == ruleId;
      } );
   };
   ASSERT_TRUE( until( mounts, [&] { return allHave( 0 ); } ) );
   const U64 before = database.process().memory();
   for ( U64 round = 1; round <= 50; ++round ) {
      for ( const auto& rule : vrf->rule() ) {
         rule->ruleIdIs( round );
      }
      for ( Mount* const mount : mounts ) {
         mount->process();
      }
   }
   ASSERT_TRUE( until( mounts, [&] { return allHave( 50 ); } ) );
   // The changes alone are 100000 messages of 24 bytes, 2.3 MiB.
   EXPECT_LT( database.process().memory(), before + ( TestSupport::sanitized ? 1U << 20 : 1024 ) );
   EXPECT_TRUE( until( { &reader }, [&] {
      const auto theirs = rules( replica );
      return theirs.size() == count && theirs.back()->ruleId() == 50;
   } ) );
}

} // namespace
} // namespace Flowspec
