#include "agents/peerd/rib/RouteIn.h"

#include "tests/agents/peerd/rib/Announcement.h"
#include "tests/agents/peerd/rib/FiledRules.h"
#include "tests/support/KeyGenerator.h"

#include <algorithm>
#include <set>

#include <gmock/gmock.h>

// What is filed after anything that peers may do, against a model that keeps what was told and
// finds out all else each time.

namespace Peerd {
namespace {

using namespace TestSupport;

constexpr U32 localAs = 64512;
constexpr U32 peerCount = 5;

struct Rule {
   Bgp::Family family;
   std::string nlri;  // without the length field
   std::string match; // of its key, after the interface sets
   bool malformed = false;
};

// The second and the third are one key, and so are the last two.
const std::vector< Rule > rules = {
   { Bgp::ipv4Flow, "0118C00002", "192.0.2.0/24;*;" },
   { Bgp::ipv4Flow, "0119C0000300", "192.0.3.0/25;*;" },
   { Bgp::ipv4Flow, "0119C000037F", "192.0.3.0/25;*;" },
   { Bgp::ipv4Flow, "0128C00002", "", true },
   { Bgp::ipv4VpnFlow, "0000FC00000000010118C00002", "192.0.2.0/24;*;" },
   { Bgp::ipv4VpnFlow, "0000FC00000000020118C00002", "192.0.2.0/24;*;" },
};

// What a peer told of a rule, and when.
struct Told {
   Announcement said;
   U32 rate = 0; // 0: communities that mean nothing
   std::vector< U16 > sets{};
   bool target = false;
   U32 session = 0;
   U32 refresh = 0;
};

struct ModelPeer {
   PeerImport import;
   std::map< std::size_t, Told > told{}; // by the positions of rules
   U32 session = 0;
   U32 refresh = 0;
};

class Model {
public:
   std::vector< ModelPeer > peers;
   bool vrfImports = false;

   // One that may be filed: of which peer, and of which rule.
   struct Candidate {
      const ModelPeer* peer;
      U32 id;
      const Told* told;
      std::size_t rule;

      bool isExternal() const { return peer->import.peerAs != localAs; }
      U32 neighbor() const { return told->said.path.empty() ? localAs : told->said.path[0]; }
   };

   bool isUsed( const Candidate& candidate ) const {
      const PeerImport& import = candidate.peer->import;
      const Told& told = *candidate.told;
      const std::vector< U32 >& path = told.said.path;
      return !rules[candidate.rule].malformed && !told.said.fault && told.rate != 0 &&
             std::ranges::count( path, localAs ) == 0 &&
             ( !candidate.isExternal() ||
               ( import.policy && !path.empty() && path[0] == import.peerAs ) ) &&
             !keysOf( candidate ).empty();
   }

   std::vector< std::string > keysOf( const Candidate& candidate ) const {
      const PeerImport& import = candidate.peer->import;
      const Rule& rule = rules[candidate.rule];
      const ImportTerm* const term =
         import.policy && !import.policy->terms.empty() ? &import.policy->terms[0] : nullptr;
      if ( term && !term->accepts ) {
         return {};
      }
      std::vector< std::string > vrfs = { "0" };
      if ( term && term->vrf ) {
         vrfs = { std::to_string( *term->vrf ) };
      } else if ( rule.family == Bgp::ipv4VpnFlow ) {
         vrfs = vrfImports && candidate.told->target ? std::vector< std::string >{ "5", "6" }
                                                     : std::vector< std::string >();
      }
      std::string sets;
      for ( const U16 set : candidate.told->sets ) {
         sets += ( sets.empty() ? "IFSET:=" : "," ) + std::to_string( set );
      }
      for ( std::string& vrf : vrfs ) {
         vrf += ";ipv4;" + sets + ( sets.empty() ? "" : ";" ) + rule.match;
      }
      return vrfs;
   }

   // Whether `a` goes before `b` as far as the step goes that MED is between.
   static int compareBeforeMed( const Candidate& a, const Candidate& b ) {
      const auto rank = []( const Candidate& one ) {
         return std::tuple( -int( one.told->said.localPref.value_or( 100 ) ),
                            one.told->said.path.size(), one.told->said.origin );
      };
      return rank( a ) < rank( b ) ? -1 : rank( b ) < rank( a ) ? 1 : 0;
   }

   static Candidate best( std::vector< Candidate > candidates ) {
      const auto drop = [&]( auto isBeaten ) {
         std::vector< Candidate > left;
         for ( const Candidate& one : candidates ) {
            if ( std::ranges::none_of( candidates, [&]( const Candidate& other ) {
                    return isBeaten( one, other );
                 } ) ) {
               left.push_back( one );
            }
         }
         candidates = left;
      };
      drop( []( const Candidate& one, const Candidate& other ) {
         return compareBeforeMed( other, one ) < 0;
      } );
      drop( []( const Candidate& one, const Candidate& other ) {
         return one.neighbor() == other.neighbor() &&
                other.told->said.med.value_or( 0 ) < one.told->said.med.value_or( 0 );
      } );
      drop( []( const Candidate& one, const Candidate& other ) {
         return !one.isExternal() && other.isExternal();
      } );
      drop( []( const Candidate& one, const Candidate& other ) {
         return other.id != one.id ? other.id < one.id
                                   : std::tie( rules[other.rule].family, rules[other.rule].nlri ) <
                                        std::tie( rules[one.rule].family, rules[one.rule].nlri );
      } );
      EXPECT_EQ( candidates.size(), 1U );
      return candidates[0];
   }

   std::map< std::string, std::string > filed() const {
      std::vector< Candidate > winners;
      for ( std::size_t rule = 0; rule < rules.size(); ++rule ) {
         std::vector< Candidate > candidates;
         for ( U32 id = 0; id < peers.size(); ++id ) {
            const auto told = peers[id].told.find( rule );
            if ( told == peers[id].told.end() ) {
               continue;
            }
            const Candidate candidate{ &peers[id], id, &told->second, rule };
            if ( isUsed( candidate ) ) {
               candidates.push_back( candidate );
            }
         }
         if ( !candidates.empty() ) {
            winners.push_back( best( candidates ) );
         }
      }
      std::map< std::string, std::vector< Candidate > > byKey;
      for ( const Candidate& winner : winners ) {
         for ( const std::string& key : keysOf( winner ) ) {
            byKey[key].push_back( winner );
         }
      }
      std::map< std::string, std::string > filed;
      for ( const auto& [key, candidates] : byKey ) {
         const Candidate winner = best( candidates );
         filed[key] = Vek::concat( "rate ", winner.told->rate, " of ", winner.id );
      }
      return filed;
   }
};

class Life {
public:
   explicit Life( U64 seed ) : random_( seed ), in_( filed_ ) {
      model_.peers.resize( peerCount );
      for ( U32 id = 0; id < peerCount; ++id ) {
         PeerImport& import = model_.peers[id].import;
         import.address = Zorv::IpGenAddr::ipv4( id );
         import.localAs = localAs;
         import.peerAs = id < 2 ? 64500 : id == 2 ? 64501 : localAs;
         import.checksOriginator = false;
         import.policy = ImportPolicy{ {}, true };
         in_.peerIs( id, import );
         in_.established( id, 100 + id, {} );
      }
   }

   void step() {
      const U32 id = static_cast< U32 >( random_.below( peerCount ) );
      ModelPeer& peer = model_.peers[id];
      switch ( random_.below( 24 ) ) {
      case 0:
         lose( id, peer );
         break;
      case 1:
         in_.endOfRib( id, Bgp::ipv4Flow );
         in_.endOfRib( id, Bgp::ipv4VpnFlow );
         sweep( peer, [&]( const Told& told ) { return told.session < peer.session; } );
         break;
      case 2:
         in_.refreshBegins( id, Bgp::ipv4Flow );
         in_.refreshBegins( id, Bgp::ipv4VpnFlow );
         ++peer.refresh;
         isRefreshing_.insert( id );
         break;
      case 3:
         in_.refreshEnds( id, Bgp::ipv4Flow );
         in_.refreshEnds( id, Bgp::ipv4VpnFlow );
         if ( isRefreshing_.erase( id ) ) {
            sweep( peer, [&]( const Told& told ) { return told.refresh < peer.refresh; } );
         }
         break;
      case 4:
         changePolicy( id, peer );
         break;
      case 5:
         model_.vrfImports = !model_.vrfImports;
         in_.vrfTableIs( model_.vrfImports ? vrfs() : VrfTable() );
         break;
      default:
         update( id, peer );
      }
      if ( random_.oneIn( 3 ) ) {
         in_.work( static_cast< U32 >( random_.below( 3 ) ) );
      }
   }

   void compare() {
      while ( in_.work( 1 ) ) {
      }
      EXPECT_EQ( filed_.rules(), model_.filed() );
      EXPECT_EQ( in_.filed(), filed_.rules().size() );
      for ( U32 id = 0; id < peerCount; ++id ) {
         const RouteCounts counts = in_.counts( id );
         const ModelPeer& peer = model_.peers[id];
         EXPECT_EQ( counts.received, peer.told.size() );
         U32 refused = 0;
         U32 stale = 0;
         for ( const auto& [rule, told] : peer.told ) {
            refused += !model_.isUsed( { &peer, id, &told, rule } );
            stale += told.session < peer.session || told.refresh < peer.refresh;
         }
         EXPECT_EQ( counts.refused, refused );
         EXPECT_EQ( counts.stale, stale );
         U32 listed = 0;
         in_.forEachRefused( id, 100, [&]( const UnfiledRoute& route ) {
            ++listed;
            EXPECT_NE( route.reason, "" );
         } );
         EXPECT_EQ( listed, refused );
         listed = 0;
         in_.forEachHidden( id, 100, [&]( const UnfiledRoute& route ) {
            ++listed;
            EXPECT_NE( route.reason, "" );
         } );
         EXPECT_EQ( listed, counts.hidden );
      }
   }

private:
   static VrfTable vrfs() {
      const Wire::RouteTarget target{ Wire::RouteTarget::Kind::as2, { 0xFC, 0, 0, 0, 0, 1 } };
      return { { { 5, {}, { target }, {} }, { 6, {}, { target }, {} } } };
   }

   template < typename IsGone >
   static void sweep( ModelPeer& peer, IsGone isGone ) {
      std::erase_if( peer.told, [&]( const auto& member ) { return isGone( member.second ); } );
   }

   // The session ends and comes again, with or without graceful restart.
   void lose( U32 id, ModelPeer& peer ) {
      isRefreshing_.erase( id );
      std::vector< Bgp::Family > kept;
      for ( const Bgp::Family family : { Bgp::ipv4Flow, Bgp::ipv4VpnFlow } ) {
         if ( random_.oneIn( 2 ) ) {
            kept.push_back( family );
         }
      }
      in_.down( id, kept );
      std::erase_if( peer.told, [&]( const auto& member ) {
         return std::ranges::count( kept, rules[member.first].family ) == 0 ||
                member.second.session < peer.session;
      } );
      ++peer.session;
      if ( random_.oneIn( 4 ) ) {
         in_.sweepStale( id );
         peer.told.clear();
      }
      in_.established( id, 100 + id, kept );
   }

   void changePolicy( U32 id, ModelPeer& peer ) {
      PeerImport& import = peer.import;
      import.policy = ImportPolicy{ {}, true };
      switch ( random_.below( 4 ) ) {
      case 0:
         if ( import.peerAs != localAs ) {
            import.policy.reset();
         }
         break;
      case 1:
         import.policy->terms.push_back( { .accepts = false } );
         break;
      case 2:
         import.policy->terms.push_back( { .vrf = static_cast< U32 >( random_.below( 2 ) ) * 5 } );
         break;
      default:
         break;
      }
      in_.peerIs( id, import );
   }

   void update( U32 id, ModelPeer& peer ) {
      const Bgp::Family family = random_.oneIn( 2 ) ? Bgp::ipv4Flow : Bgp::ipv4VpnFlow;
      Told told = saying( peer );
      told.said.family = family;
      for ( std::size_t rule = 0; rule < rules.size(); ++rule ) {
         if ( rules[rule].family == family && random_.oneIn( 3 ) ) {
            told.said.withdrawn.push_back( rules[rule].nlri );
            peer.told.erase( rule );
         }
      }
      for ( std::size_t rule = 0; rule < rules.size(); ++rule ) {
         if ( rules[rule].family == family && random_.oneIn( 3 ) ) {
            told.said.rules.push_back( rules[rule].nlri );
            peer.told[rule] = told;
         }
      }
      in_.update( id, *AnnouncedUpdate( told.said ) );
   }

   Told saying( const ModelPeer& peer ) {
      Told told;
      told.session = peer.session;
      told.refresh = peer.refresh;
      Announcement& said = told.said;
      if ( peer.import.peerAs != localAs ) {
         said.path.push_back( random_.oneIn( 8 ) ? 64999 : peer.import.peerAs );
      } else if ( random_.oneIn( 3 ) ) {
         said.localPref = static_cast< U32 >( 99 + random_.below( 3 ) );
      }
      if ( random_.oneIn( 3 ) ) {
         said.path.push_back( static_cast< U32 >( 64500 + random_.below( 3 ) ) );
      }
      if ( random_.oneIn( 8 ) ) {
         said.path.push_back( localAs );
      }
      if ( random_.oneIn( 2 ) ) {
         said.med = static_cast< U32 >( random_.below( 3 ) );
      }
      said.origin = static_cast< Bgp::Origin >( random_.below( 2 ) );
      if ( random_.oneIn( 10 ) ) {
         said.fault = { Bgp::AttributeFaultCode::value, 1, 9 };
      }
      static constexpr U32 rates[] = { 0, 1000, 1000, 2000 };
      told.rate = random_.oneOf( rates );
      said.extended = told.rate == 0 ? "800600007FC00000" : told.rate == 1000 ? rate1000 : rate2000;
      if ( random_.oneIn( 2 ) ) {
         told.target = true;
         said.extended += routeTarget( 1 );
      }
      if ( random_.oneIn( 3 ) ) {
         told.sets = { static_cast< U16 >( 1 + random_.below( 2 ) ) };
         said.extended += interfaceSet( told.sets[0] );
      }
      return told;
   }

   KeyGenerator random_;
   FiledRules filed_;
   RouteIn in_;
   Model model_;
   std::set< U32 > isRefreshing_;
};

TEST( PeerdRouteInProperty, FiledIsWhatASlowModelFinds ) {
   for ( U64 seed = 1; seed <= 40; ++seed ) {
      Life life( seed );
      for ( U32 i = 0; i < 150; ++i ) {
         life.step();
         life.compare();
         ASSERT_FALSE( testing::Test::HasFailure() ) << "seed " << seed << ", step " << i;
      }
   }
}

} // namespace
} // namespace Peerd
