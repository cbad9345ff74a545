#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"

/// The attributes and collections of the library's entities, each once, for the tests of what their
/// rows do not tell of: getters, removal by iterator, removal of all. A test checks that none of
/// the registered ones is missing.

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
   X( FlowspecPolicyConfig, cmapType )

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
   X( FlowspecPolicyActionContainer, redirectVrfRtAction )
