#include "agents/programd/StatusWriter.h"

#include <algorithm>

namespace Agents {

namespace {

using namespace Dataplane;
using namespace Flowspec;
using Zorv::AddressFamily;
using Zorv::IntfId;
using VrfId = Vrf::VrfIdMap::VrfId;

// The keys of a map or the elements of a set for which `isGone`; a copy, as they are to go.
template < typename Key, typename Collection, typename IsGone >
std::vector< Key > gone( const Collection& collection, IsGone isGone ) {
   std::vector< Key > keys;
   for ( const auto& member : collection ) {
      if constexpr ( requires { Key( member.first ); } ) {
         if ( isGone( member.first ) ) {
            keys.push_back( member.first );
         }
      } else if ( isGone( member ) ) {
         keys.push_back( member );
      }
   }
   return keys;
}

// Makes the interfaces of an entity, which has them as a set, those that are wanted.
template < typename Entity >
void writeInterfaces( Entity& entity, const std::set< IntfId >& wanted ) {
   for ( const IntfId intf :
         gone< IntfId >( entity.intf(), [&]( IntfId one ) { return !wanted.contains( one ); } ) ) {
      entity.intfDel( intf );
   }
   for ( const IntfId intf : wanted ) {
      entity.intfIs( intf );
   }
}

// What one VRF's status shows of interfaces.
struct VrfInterfaces {
   std::map< AddressFamily, std::set< IntfId > > active;
   std::map< IntfErrorKey, Vek::String > errors;
};

void writeVrf( VrfRuleStatus& vrf, const VrfInterfaces& interfaces ) {
   for ( const AddressFamily family :
         gone< AddressFamily >( vrf.activeIntfPerAf(), [&]( AddressFamily one ) {
            return !interfaces.active.contains( one );
         } ) ) {
      vrf.activeIntfPerAfDel( family );
   }
   for ( const auto& [family, active] : interfaces.active ) {
      writeInterfaces( *vrf.activeIntfPerAfIs( family ), active );
   }
   for ( const IntfErrorKey& key :
         gone< IntfErrorKey >( vrf.intfError(), [&]( const IntfErrorKey& one ) {
            return !interfaces.errors.contains( one );
         } ) ) {
      vrf.intfErrorDel( key );
   }
   for ( const auto& [key, error] : interfaces.errors ) {
      vrf.intfErrorIs( key, error );
   }
}

UnsupportedQual unsupportedOf( AddressFamily family, const Profile& profile ) {
   const Profile::Family* const supported = profile.family( family );
   UnsupportedQual unsupported( family );
   for ( U8 type = 1; type < numComponentTypes; ++type ) {
      if ( !supported || !supported->qualifiers[type] ) {
         unsupported.qualIs( static_cast< MatchCompType >( type ), "not in the profile" );
      }
   }
   unsupported.unsupportedActionsIs(
      unsupportedFlags( supported ? supported->actions : Actions() ) );
   return unsupported;
}

} // namespace

void writeProfile( Status& status, const Profile& profile ) {
   bool any = false;
   for ( const AddressFamily family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      any = any || profile.family( family );
      const UnsupportedQual unsupported = unsupportedOf( family, profile );
      if ( unsupported == UnsupportedQual( family ) ) {
         status.unsupportedQualDel( family );
      } else {
         status.unsupportedQualIs( unsupported );
      }
   }
   status.flowspecSupportedIs( any );
}

void writeVrfs( Status& status, std::set< VrfId > vrfs,
                const std::vector< InterfaceResult >& interfaces ) {
   std::map< VrfId, VrfInterfaces > ofVrf;
   for ( const InterfaceResult& result : interfaces ) {
      vrfs.insert( result.vrf );
      VrfInterfaces& there = ofVrf[result.vrf];
      if ( result.error.empty() ) {
         there.active[result.family].insert( result.intf );
      } else {
         there.errors[IntfErrorKey( result.intf, result.family )] = result.error;
      }
   }
   for ( const VrfId vrf : gone< VrfId >( status.vrfRuleStatus(),
                                          [&]( VrfId one ) { return !vrfs.contains( one ); } ) ) {
      status.vrfRuleStatusDel( vrf );
   }
   for ( const VrfId vrf : vrfs ) {
      writeVrf( *status.vrfRuleStatusIs( vrf ), ofVrf[vrf] );
   }
}

void writeInterfaceSets( Status& status, const std::vector< U16 >& inUse,
                         const InterfaceSetMembers& members ) {
   for ( const U16 set : gone< U16 >( status.interfaceSet(), [&]( U16 one ) {
            return !std::ranges::binary_search( inUse, one );
         } ) ) {
      status.interfaceSetDel( set );
   }
   for ( const U16 set : inUse ) {
      const auto at = members.find( set );
      writeInterfaces( *status.interfaceSetIs( set ),
                       at == members.end() ? std::set< IntfId >() : at->second );
   }
}

static_assert( Vek::listsRows< RuleStatus, 11 > );

void writeRule( Status& status, const RuleChange& change ) {
   const auto vrf = status.vrfRuleStatus( change.key.vrfId() );
   auto rule = vrf->ruleStatus( change.key );
   if ( rule ) {
      rule->versionIs( Osk::UniqueId() );
   } else {
      rule = vrf->ruleStatusIs( change.key ); // draws its own
   }
   rule->statusCodeIs( change.result.code );
   rule->errorReasonIs( change.result.reason );
   rule->coloredCountersIs( {} );
}

void writeCounters( Status& status, Counter& counter, const Backend& backend, double now ) {
   const auto isProgrammed = [&]( const FlowspecKey& key ) {
      const auto vrf = status.vrfRuleStatus( key.vrfId() );
      const auto rule = vrf ? vrf->ruleStatus( key ) : nullptr;
      return rule && rule->isProgrammed();
   };
   for ( const FlowspecKey& key : gone< FlowspecKey >(
            counter.snapshot(), [&]( const FlowspecKey& one ) { return !isProgrammed( one ); } ) ) {
      counter.snapshotDel( key );
   }
   for ( const auto& [vrfId, vrf] : status.vrfRuleStatus() ) {
      for ( const Vek::Ptr< RuleStatus >& rule : vrf->ruleStatus() ) {
         if ( rule->isProgrammed() ) {
            const QosLib::ColoredCounters counters = backend.counters( rule->key() );
            rule->coloredCountersIs( counters );
            counter.snapshotIs( rule->key(), CounterVersion( counters, rule->version() ) );
         }
      }
   }
   counter.timestampIs( now );
   status.counterUpdateTimeIs( now );
}

} // namespace Agents
