#include "dataplane/nftables/Table.h"

#include "tests/support/KeyGenerator.h"
#include "tests/support/TestRules.h"
#include "wire/Precedence.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace Dataplane::Nftables {
namespace {

using Flowspec::FlowspecKey;
using TestSupport::ruleKey;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;

RulePtr makeRule( const FlowspecKey& key, const Vek::String& name, bool limited ) {
   const Wire::CanonicalRule canonical( key );
   Actions done;
   done.set( numberOf( limited ? Action::trafficRatePkt : Action::continueMatch ) );
   Flowspec::RuleAction asked;
   asked.rateLimit = 1000;
   std::vector< U16 > sets( key.interfaceSet().begin(), key.interfaceSet().end() );
   return std::make_shared< const Rule >( Rule{ key, canonical.destPrefix(), std::move( sets ),
                                                name, matchLines( canonical ),
                                                actionLines( asked, done, name ) } );
}

// The rules that packets from an interface to an address are tried on, as the chains have them.
class Follower {
public:
   explicit Follower( const Ruleset& ruleset ) : ruleset_( ruleset ) {}

   std::vector< Vek::String > rules( const Vek::String& interface, const IpGenAddr& address ) {
      names_.clear();
      const auto chain = ruleset_.interfaces.find( interface );
      if ( chain != ruleset_.interfaces.end() ) {
         address_ = address;
         follow( chain->second );
      }
      return names_;
   }

private:
   // Whether the packet went somewhere else for good.
   bool follow( const Vek::String& chain ) {
      for ( const Lines& part : ruleset_.chains.at( chain ).parts ) {
         for ( const Line& line : *part ) {
            for ( const Expression& expression : line ) {
               if ( goesAway( expression ) ) {
                  return true;
               }
            }
         }
      }
      return false;
   }

   bool goesAway( const Expression& expression ) {
      if ( const auto* const count = std::get_if< Count >( &expression ) ) {
         // The alternatives of a rule count into one.
         if ( names_.empty() || names_.back() != count->counter ) {
            names_.push_back( count->counter );
         }
      } else if ( const auto* const dispatch = std::get_if< Dispatch >( &expression ) ) {
         for ( const Interval& one : ruleset_.destinations.at( dispatch->map ) ) {
            if ( !( address_ < one.first ) && !( one.last < address_ ) ) {
               return follow( one.chain ), true;
            }
         }
      } else if ( const auto* const verdict = std::get_if< Verdict >( &expression ) ) {
         const bool own =
            verdict->chain.starts_with( "do-" ) || verdict->chain.starts_with( "any-" );
         if ( verdict->kind == Verdict::Kind::jumpTo || verdict->kind == Verdict::Kind::jump ) {
            follow( verdict->chain );
            return !own;
         }
      }
      return false;
   }

   const Ruleset& ruleset_;
   IpGenAddr address_;
   std::vector< Vek::String > names_;
};

// The rules of a VRF whose destination has an address, in the order in which they are tried.
std::vector< Vek::String > expected( const std::vector< RulePtr >& rules, U32 vrf,
                                     const IpGenAddr& address ) {
   const auto before = []( const RulePtr& a, const RulePtr& b ) {
      return Wire::precedes( a->key, b->key );
   };
   std::multiset< RulePtr, decltype( before ) > tried( before );
   for ( const RulePtr& rule : rules ) {
      const auto& to = rule->destination;
      if ( rule->vrf() == vrf &&
           ( to.length() == 0 || Zorv::IpGenPrefix( address, to.length() ) == to ) ) {
         tried.insert( rule );
      }
   }
   std::vector< Vek::String > names;
   for ( const RulePtr& rule : tried ) {
      names.push_back( rule->name );
   }
   return names;
}

template < typename Part >
void applyPart( Part& all, const Part& before, const Part& after ) {
   for ( const auto& member : before ) {
      EXPECT_TRUE( std::ranges::find( all, member ) != all.end() );
      all.erase( std::ranges::find( all, member ) );
   }
   for ( const auto& member : after ) {
      EXPECT_TRUE( all.insert( member ).second );
   }
}

// Makes a rule set what changes say.
void apply( Ruleset& all, const Table::Changes& changes ) {
   const auto& [before, after] = changes;
   applyPart( all.counters, before.counters, after.counters );
   applyPart( all.limits, before.limits, after.limits );
   applyPart( all.chains, before.chains, after.chains );
   applyPart( all.interfaceSets, before.interfaceSets, after.interfaceSets );
   applyPart( all.interfaces, before.interfaces, after.interfaces );
   for ( const auto& [name, intervals] : before.destinations ) {
      EXPECT_TRUE( all.destinations.contains( name ) );
      if ( !after.destinations.contains( name ) ) {
         EXPECT_EQ( all.destinations.at( name ), intervals );
         all.destinations.erase( name );
      }
   }
   for ( const auto& [name, intervals] : after.destinations ) {
      const auto was = before.destinations.find( name );
      applyPart( all.destinations[name],
                 was == before.destinations.end() ? std::set< Interval >() : was->second,
                 intervals );
   }
}

struct RandomTable {
   RandomTable( U64 seed, AddressFamily of ) : random( seed ), family( of ), table( of ) {}

   // Few bits, so that prefixes are inside each other and at both ends of all addresses.
   IpGenAddr address() {
      const U32 bits = random.oneIn( 4 ) ? random.oneOf( ends ) : below( 256 ) << 24;
      IpGenAddr::Bytes bytes{ static_cast< U8 >( bits >> 24 ) };
      for ( std::size_t i = 1; i < bytes.size(); ++i ) {
         bytes[i] = static_cast< U8 >( bits );
      }
      return family == AddressFamily::ipv4 ? IpGenAddr::ipv4( Osk::loadBig32( bytes.data() ) )
                                           : IpGenAddr::ipv6( bytes );
   }

   U32 below( U32 count ) { return static_cast< U32 >( random.below( count ) ); }

   void change() {
      if ( !rules.empty() && random.below( 5 ) < 2 ) {
         const std::size_t at = random.below( rules.size() );
         table.remove( rules[at] );
         rules.erase( rules.begin() + static_cast< std::ptrdiff_t >( at ) );
         return;
      }
      if ( random.below( 12 ) == 0 ) {
         interfaces.clear();
         for ( const char* const name : { "a", "b", "c" } ) {
            if ( random.below( 3 ) > 0 ) {
               interfaces[name] = { below( 2 ), { static_cast< U16 >( 1 + random.below( 3 ) ) } };
            }
         }
         table.interfacesAre( interfaces );
         return;
      }
      FlowspecKey key;
      key.vrfIdIs( below( 2 ) );
      key.addressFamilyIs( family );
      if ( random.below( 8 ) > 0 ) {
         key.destPrefixIs( { address(), 1 + below( 16 ) } );
      }
      if ( random.below( 2 ) ) {
         key.setOpVal( 0, Flowspec::port, 0x81, below( 4 ) );
      }
      if ( random.below( 4 ) == 0 ) {
         key.interfaceSetPush( static_cast< U16 >( 1 + random.below( 3 ) ) );
      }
      rules.push_back( makeRule( key, Vek::concat( "r", ++made ), random.oneIn( 2 ) ) );
      table.add( rules.back() );
   }

   static constexpr U32 ends[] = { 0, 0xFFFFFFFF, 0x80000000, 0x7FFFFFFF };
   TestSupport::KeyGenerator random;
   AddressFamily family;
   Table table;
   std::vector< RulePtr > rules; // in the order in which they were added
   InterfaceUses interfaces;
   U32 made = 0;
};

// However a table came to its rules, it leads each packet to the right ones in their order, is the
// same as one that is made at once, and its changes make it of what it was.
TEST( NftTable, IsWhatItsRulesMakeOfIt ) {
   for ( const auto family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      for ( U64 seed = 1; seed <= 12; ++seed ) {
         RandomTable one( seed, family );
         Ruleset done = one.table.ruleset();
         one.table.changesAreDone();
         for ( int step = 0; step < 60; ++step ) {
            const U64 changes = one.random.below( 8 );
            for ( U64 i = 0; i < changes; ++i ) {
               one.change();
            }
            const Ruleset& now = one.table.ruleset();
            ASSERT_EQ( text( now ), text( rulesetOf( family, one.rules, one.interfaces ) ) );
            Follower follower( now );
            for ( const auto& [name, use] : one.interfaces ) {
               const IpGenAddr address = one.address();
               ASSERT_EQ( follower.rules( name, address ), expected( one.rules, use.vrf, address ) )
                  << address.stringValue() << '\n'
                  << text( now );
            }
            Ruleset changed = done;
            apply( changed, one.table.changes() );
            ASSERT_EQ( text( changed ), text( now ) );
            // What is not done yet goes with the next.
            if ( one.random.oneIn( 3 ) ) {
               done = now;
               one.table.changesAreDone();
               ASSERT_TRUE( one.table.changes().none() );
            }
         }
      }
   }
}

// The kernel follows no more than 16 chains: more prefixes inside each other are copied.
TEST( NftTable, CopiesWhatIsTooDeep ) {
   Table table( AddressFamily::ipv4 );
   table.interfacesAre( { { "a", {} } } );
   std::vector< RulePtr > rules;
   for ( unsigned length = 1; length <= 25; ++length ) {
      FlowspecKey key = ruleKey( Vek::concat( "0.0.0.0/", length, ";*;" ) );
      rules.push_back( makeRule( key, Vek::concat( "r", length ), false ) );
      table.add( rules.back() );
   }
   const IpGenAddr inner = IpGenAddr::ipv4( 0 );
   EXPECT_EQ( Follower( table.ruleset() ).rules( "a", inner ), expected( rules, 0, inner ) );
   table.changesAreDone();
   // One of the copied changes, and one more is outside of them.
   table.remove( rules[2] );
   rules.erase( rules.begin() + 2 );
   EXPECT_EQ( Follower( table.ruleset() ).rules( "a", inner ), expected( rules, 0, inner ) );
   rules.push_back( makeRule( ruleKey( "0.0.0.0/5;*;IP:=6;" ), "more", false ) );
   table.add( rules.back() );
   EXPECT_EQ( Follower( table.ruleset() ).rules( "a", inner ), expected( rules, 0, inner ) );
}

// One rule among many changes its own chain, interval and counter alone.
TEST( NftTable, TellsWhatChanged ) {
   Table table( AddressFamily::ipv4 );
   table.interfacesAre( { { "a", {} } } );
   for ( U32 i = 0; i < 100; ++i ) {
      table.add( makeRule( ruleKey( Vek::concat( "10.", i, ".0.0/16;*;" ) ), Vek::concat( "r", i ),
                           false ) );
   }
   table.ruleset();
   table.changesAreDone();
   EXPECT_TRUE( table.changes().none() );
   const RulePtr more = makeRule( ruleKey( "10.7.7.0/24;*;" ), "more", false );
   table.add( more );
   const Table::Changes& changes = table.changes();
   EXPECT_THAT( changes.before.counters, testing::IsEmpty() );
   EXPECT_THAT( changes.after.counters, testing::ElementsAre( "more" ) );
   EXPECT_EQ( changes.after.chains.size(), 1U );
   EXPECT_EQ( changes.before.destinations.at( "vrf0-destinations" ).size(), 1U );
   EXPECT_EQ( changes.after.destinations.at( "vrf0-destinations" ).size(), 3U );
   table.remove( more );
   EXPECT_TRUE( table.changes().none() );
}

} // namespace
} // namespace Dataplane::Nftables
