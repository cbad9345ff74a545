#include "tests/support/RandomTree.h"

namespace TestSupport {

using namespace Flowspec;

RandomTree::RandomTree( Vek::Directory& directory, U64 seed ) : RandomValues( seed ) {
   const auto root = [&]< typename T >( Vek::Ptr< T >& typed, const char* name ) {
      roots_.push_back( directory.create( T::type().name, name ) );
      typed = Vek::Ptr< T >( static_cast< T* >( roots_.back().get() ) );
   };
   root( cliConfig_, "cli" );
   root( config_, "config" );
   root( counter_, "counter" );
   root( peers_, "peers" );
   root( policy_, "policy" );
   root( requests_, "requests" );
   root( status_, "status" );
}

void RandomTree::change() {
   switch ( below( 13 ) ) {
   case 0:
      return changeCliConfig();
   case 1:
      return changePolicy();
   case 2:
   case 3:
      return changeCounter();
   case 4:
   case 5:
   case 6:
      return changeConfig();
   case 7:
   case 8:
      return changePeers();
   case 9:
      return changeRequests();
   default:
      return changeStatus();
   }
}

void RandomTree::changeConfig() {
   const auto vrf = static_cast< U32 >( below( 3 ) );
   if ( oneIn( 10 ) ) {
      config_->twoColorCounterEnabledIs( oneIn( 2 ) );
   } else if ( oneIn( 8 ) ) {
      const Zorv::IntfId intfId = intf();
      oneIn( 2 ) ? config_->enabledIntfIs( intfId ) : config_->enabledIntfDel( intfId );
   } else if ( oneIn( 60 ) ) {
      config_->vrfRuleConfigDel( vrf );
   } else if ( oneIn( 400 ) ) {
      config_->vrfRuleConfigDelAll();
   } else {
      const auto rules = config_->vrfRuleConfigIs( vrf );
      const FlowspecKey ruleKey = key();
      if ( oneIn( 5 ) ) {
         rules->ruleDel( ruleKey );
      } else if ( oneIn( 100 ) ) {
         rules->ruleDelAll();
      } else if ( oneIn( 4 ) ) {
         const auto infeasible = rules->infeasibleRuleIs( ruleKey );
         infeasible->ruleIdIs( below( 9 ) );
         infeasible->matchCompTypeIs( static_cast< MatchCompType >( below( 14 ) ) );
      } else if ( oneIn( 8 ) ) {
         rules->infeasibleRuleDel( ruleKey );
      } else {
         changeRule( *rules->ruleIs( ruleKey ) );
      }
   }
}

void RandomTree::changeRule( RuleConfig& rule ) {
   switch ( below( 9 ) ) {
   case 0:
      return rule.ruleIdIs( below( 4 ) );
   case 1:
   case 2:
      return rule.matchSetIs( component() );
   case 3:
      return rule.matchSetDel( static_cast< MatchCompType >( below( 5 ) ) );
   case 4:
      return rule.actionFieldSetIs( flags< ActionFieldSet >() );
   case 5:
      return rule.trafficActionIs( flags< TrafficAction >() );
   case 6:
      return rule.trafficRedirectIs( redirect() );
   case 7:
      return rule.trafficMarkingDscpIs( Zorv::IpTos( static_cast< U8 >( below( 3 ) ) ) );
   default:
      return rule.trafficRateLimitIs( static_cast< float >( below( 3 ) ) * 0.5F );
   }
}

void RandomTree::changeCliConfig() {
   const Zorv::IntfId intfId = intf();
   switch ( below( 8 ) ) {
   case 0: {
      InterfaceEnableConfig enable( intfId );
      enable.ipVersionIs( flags< IpVersion >() );
      enable.sourceVrfOverrideIs( text() );
      return cliConfig_->enabledIntfIs( enable );
   }
   case 1:
      return cliConfig_->enabledIntfDel( intfId );
   case 2:
      return cliConfig_->intfInterfaceSetConfigIs( interfaceSets() );
   case 3:
      return cliConfig_->intfInterfaceSetConfigDel( intfId );
   case 4:
      return cliConfig_->sourceVrfOverrideIs( intfId, text() );
   case 5:
      return cliConfig_->sourceVrfOverrideDel( intfId );
   case 6:
      return cliConfig_->interfaceSetCountLimitIs( static_cast< U32 >( below( 3 ) ) );
   default:
      cliConfig_->isConfigDrivenIs( oneIn( 2 ) );
      return cliConfig_->counterUpdateRequestTimeIs( static_cast< double >( below( 4 ) ) / 8 );
   }
}

void RandomTree::changeStatus() {
   const auto vrf = static_cast< U32 >( below( 3 ) );
   const auto set = static_cast< U16 >( below( 4 ) );
   if ( oneIn( 15 ) ) {
      status_->counterUpdateTimeIs( static_cast< double >( below( 4 ) ) );
      status_->flowspecSupportedIs( oneIn( 2 ) );
   } else if ( oneIn( 10 ) ) {
      status_->unsupportedQualIs( unsupportedQual() );
   } else if ( oneIn( 20 ) ) {
      status_->unsupportedQualDel( family() );
   } else if ( oneIn( 8 ) ) {
      const auto members = status_->interfaceSetIs( set );
      const Zorv::IntfId intfId = intf();
      oneIn( 2 ) ? members->intfIs( intfId ) : members->intfDel( intfId );
   } else if ( oneIn( 30 ) ) {
      status_->interfaceSetDel( set );
   } else if ( oneIn( 60 ) ) {
      status_->vrfRuleStatusDel( vrf );
   } else {
      changeVrfStatus( *status_->vrfRuleStatusIs( vrf ) );
   }
}

void RandomTree::changeVrfStatus( VrfRuleStatus& status ) {
   const FlowspecKey ruleKey = key();
   if ( oneIn( 10 ) ) {
      const auto active = status.activeIntfPerAfIs( family() );
      const Zorv::IntfId intfId = intf();
      oneIn( 2 ) ? active->intfIs( intfId ) : active->intfDel( intfId );
   } else if ( oneIn( 20 ) ) {
      status.activeIntfPerAfDel( family() );
   } else if ( oneIn( 10 ) ) {
      const IntfErrorKey error( intf(), family() );
      oneIn( 3 ) ? status.intfErrorDel( error ) : status.intfErrorIs( error, text() );
   } else if ( oneIn( 5 ) ) {
      status.ruleStatusDel( ruleKey );
   } else {
      changeRuleStatus( *status.ruleStatusIs( ruleKey ) );
   }
}

void RandomTree::changeRuleStatus( RuleStatus& status ) {
   switch ( below( 6 ) ) {
   case 0:
      return status.statusCodeIs( static_cast< HwRuleProgrammingStatus >( below( 8 ) ) );
   case 1:
      return status.errorReasonIs( text() );
   case 2:
      return status.coloredCountersIs( counters() );
   case 3:
      return status.packetCountIs( below( 5 ) );
   case 4:
      return status.versionIs( id() );
   default:
      return status.resolvedNexthopInfoIs( nexthops() );
   }
}

void RandomTree::changeCounter() {
   if ( oneIn( 10 ) ) {
      counter_->timestampIs( static_cast< double >( below( 4 ) ) / 3 );
   } else if ( oneIn( 5 ) ) {
      counter_->snapshotDel( key() );
   } else if ( oneIn( 300 ) ) {
      counter_->snapshotDelAll();
   } else {
      const FlowspecKey ruleKey = key();
      counter_->snapshotIs( ruleKey, CounterVersion( counters(), id() ) );
   }
}

void RandomTree::changePolicy() {
   if ( oneIn( 40 ) ) {
      policy_->actionsDel();
   }
   const auto actions = policy_->actionsIs( oneIn( 2 ) ? "actions" : "others" );
   const Osk::UniqueId action = id();
   const Vek::String name = text();
   try {
      switch ( below( 8 ) ) {
      case 0:
         actions->dropActionIs( name, action );
         break;
      case 1:
         actions->policeActionIs( name, action, PolicyMap::PoliceRate( below( 2 ) ),
                                  PolicyMap::PoliceBurstSize( 7 ) );
         break;
      case 2:
         actions->setDscpActionIs( name, action,
                                   PolicyMap::Dscp( static_cast< unsigned >( below( 64 ) ) ) );
         break;
      case 3:
         actions->setNexthopActionIs( name, action );
         break;
      case 4:
         actions->redirectVrfRtActionIs( name, action, below( 2 ) );
         break;
      case 5:
         actions->dropActionDel( action );
         actions->policeActionDel( action );
         break;
      case 6:
         actions->setDscpActionDel( action );
         break;
      default:
         actions->redirectVrfRtActionDel( action );
         actions->setNexthopActionDelAll();
      }
   } catch ( const Vek::ReinstantiationException& ) {
      // The action is there with other parameters, and stays.
   }
}

void RandomTree::changePeers() {
   if ( oneIn( 12 ) ) {
      peers_->localAsIs( static_cast< U32 >( below( 3 ) ) );
      peers_->routerIdIs( address() );
      peers_->startTimeIs( static_cast< double >( below( 4 ) ) / 8 );
   } else if ( oneIn( 15 ) ) {
      peers_->peerDel( text() );
   } else if ( oneIn( 100 ) ) {
      peers_->peerDelAll();
   } else {
      changePeer( *peers_->peerIs( text() ) );
   }
}

void RandomTree::changePeer( Peers::Peer& peer ) {
   using namespace Peers;
   const auto anyFamily = [this] { return static_cast< Family >( below( 4 ) ); };
   const RouteKey route( anyFamily(), oneIn( 2 ) ? "0a" : "0b" );
   switch ( below( 10 ) ) {
   case 0:
      peer.stateTimeIs( static_cast< double >( below( 4 ) ) / 8 );
      return peer.stateIs( static_cast< SessionState >( below( 6 ) ) );
   case 1:
      peer.addressIs( address() );
      return peer.lastErrorIs( text() );
   case 2:
      return peer.capabilitiesIs(
         { oneIn( 2 ), oneIn( 2 ), oneIn( 2 ), oneIn( 2 ), oneIn( 2 ), oneIn( 2 ) } );
   case 3:
      return peer.familyIs( { anyFamily(), oneIn( 2 ), oneIn( 2 ), oneIn( 2 ) } );
   case 4:
      return oneIn( 5 ) ? peer.familyDelAll() : peer.familyDel( anyFamily() );
   case 5:
      return peer.messagesInIs( { below( 2 ), below( 2 ), any(), 0, 1 } );
   case 6:
      return peer.rulesIs( { below( 2 ), below( 2 ), any(), 0, 1, below( 2 ) } );
   case 7:
      return peer.refusedRuleIs( route )->reasonIs( text() );
   case 8:
      return peer.hiddenRuleIs( route )->timeIs( static_cast< double >( below( 4 ) ) );
   default:
      peer.refusedRuleDel( route );
      return oneIn( 5 ) ? peer.hiddenRuleDelAll() : peer.hiddenRuleDel( route );
   }
}

void RandomTree::changeRequests() {
   const Vek::String peer = text();
   const double time = static_cast< double >( below( 4 ) ) / 8;
   oneIn( 3 ) ? requests_->refreshInDel( peer ) : requests_->refreshInIs( peer, time );
   oneIn( 3 ) ? requests_->refreshOutDel( peer ) : requests_->refreshOutIs( peer, time );
}

} // namespace TestSupport
