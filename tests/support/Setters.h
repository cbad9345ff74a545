#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "peers/PeerRequests.h"
#include "peers/PeerTable.h"
#include "peers/RuleDeadlines.h"

/// The attributes and collections of the entities of all modules, each once, for the tests of what
/// their rows do not tell of: getters, removal by iterator, removal of all. A test checks that none
/// of the registered ones is missing.

/// `X( T, name )`: an attribute with the getter `name()` and the setter `nameIs( value )`.
#define FLOWSPEC_ATTRIBUTES( X )                                                                   \
   X( Config, twoColorCounterEnabled )                                                             \
   X( CliConfig, counterUpdateRequestTime )                                                        \
   X( CliConfig, interfaceSetCountLimit )                                                          \
   X( CliConfig, isConfigDriven )                                                                  \
   X( RuleConfig, ruleId )                                                                         \
   X( RuleConfig, actionFieldSet )                                                                 \
   X( RuleConfig, trafficAction )                                                                  \
   X( RuleConfig, trafficRedirect )                                                                \
   X( RuleConfig, trafficMarkingDscp )                                                             \
   X( RuleConfig, trafficRateLimit )                                                               \
   X( InfeasibleRule, ruleId )                                                                     \
   X( InfeasibleRule, matchCompType )                                                              \
   X( Status, counterUpdateTime )                                                                  \
   X( Status, flowspecSupported )                                                                  \
   X( RuleStatus, statusCode )                                                                     \
   X( RuleStatus, errorReason )                                                                    \
   X( RuleStatus, coloredCounters )                                                                \
   X( RuleStatus, packetCount )                                                                    \
   X( RuleStatus, byteCount )                                                                      \
   X( RuleStatus, version )                                                                        \
   X( RuleStatus, resolvedNexthopInfo )                                                            \
   X( Counter, timestamp )                                                                         \
   X( FlowspecPolicyConfig, cmapType )                                                             \
   X( Peers::Peer, number )                                                                        \
   X( Peers::Peer, address )                                                                       \
   X( Peers::Peer, peerAs )                                                                        \
   X( Peers::Peer, routerId )                                                                      \
   X( Peers::Peer, state )                                                                         \
   X( Peers::Peer, stateTime )                                                                     \
   X( Peers::Peer, flaps )                                                                         \
   X( Peers::Peer, lastError )                                                                     \
   X( Peers::Peer, lastErrorTime )                                                                 \
   X( Peers::Peer, capabilities )                                                                  \
   X( Peers::Peer, holdTime )                                                                      \
   X( Peers::Peer, restartTime )                                                                   \
   X( Peers::Peer, messagesIn )                                                                    \
   X( Peers::Peer, messagesOut )                                                                   \
   X( Peers::Peer, rules )                                                                         \
   X( Peers::Peer, maxRules )                                                                      \
   X( Peers::Peer, refreshInTime )                                                                 \
   X( Peers::Peer, refreshOutTime )                                                                \
   X( Peers::PeerTable, localAs )                                                                  \
   X( Peers::PeerTable, routerId )                                                                 \
   X( Peers::PeerTable, startTime )                                                                \
   X( Peers::UnfiledRule, reason )                                                                 \
   X( Peers::UnfiledRule, time )

/// `X( T, name )`: a collection `name()` with `nameDel( key )`, `nameDel( iterator )` and
/// `nameDelAll()`.
#define FLOWSPEC_COLLECTIONS( X )                                                                  \
   X( Config, enabledIntf )                                                                        \
   X( Config, vrfRuleConfig )                                                                      \
   X( CliConfig, enabledIntf )                                                                     \
   X( CliConfig, intfInterfaceSetConfig )                                                          \
   X( CliConfig, sourceVrfOverride )                                                               \
   X( VrfRuleConfig, rule )                                                                        \
   X( VrfRuleConfig, infeasibleRule )                                                              \
   X( RuleConfig, matchSet )                                                                       \
   X( Status, vrfRuleStatus )                                                                      \
   X( Status, unsupportedQual )                                                                    \
   X( Status, interfaceSet )                                                                       \
   X( VrfRuleStatus, activeIntfPerAf )                                                             \
   X( VrfRuleStatus, intfError )                                                                   \
   X( VrfRuleStatus, ruleStatus )                                                                  \
   X( AfIntfColl, intf )                                                                           \
   X( InterfaceSet, intf )                                                                         \
   X( Counter, snapshot )                                                                          \
   X( FlowspecPolicyActionContainer, dropAction )                                                  \
   X( FlowspecPolicyActionContainer, policeAction )                                                \
   X( FlowspecPolicyActionContainer, setDscpAction )                                               \
   X( FlowspecPolicyActionContainer, setNexthopAction )                                            \
   X( FlowspecPolicyActionContainer, redirectVrfRtAction )                                         \
   X( Peers::Peer, family )                                                                        \
   X( Peers::Peer, refusedRule )                                                                   \
   X( Peers::Peer, hiddenRule )                                                                    \
   X( Peers::PeerTable, peer )                                                                     \
   X( Peers::PeerRequests, refreshIn )                                                             \
   X( Peers::PeerRequests, refreshOut )                                                            \
   X( Peers::RuleDeadlines, deadline )
