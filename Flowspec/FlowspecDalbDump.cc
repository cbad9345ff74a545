#include "Flowspec/config/Config.h"
#include "Flowspec/status/Status.h"

namespace Flowspec {

// Every attribute that a dump lists stands in it by hand: a new row in one of these tables is to be
// thought of here.

namespace {

template < typename Members >
void dumpMembers( Osk::DumpContext& context, U32 indent, const char* name,
                  const Members& members ) {
   context.line( indent, "%s #%u\n", name, members.size() );
   for ( const auto* const member : members.sorted() ) {
      context.line( indent, "%s\n", member->toStrep().c_str() );
   }
}

void dumpComponent( Osk::DumpContext& context, U32 indent, const MatchComponent& component ) {
   context.line( indent, "compType is %u, prefix is %s\n",
                 unsigned{ static_cast< U8 >( component.compType() ) },
                 component.prefix().stringValue().c_str() );
   dumpMembers( context, indent, "numericalRanges", component.numericalRange() );
   dumpMembers( context, indent, "ipBitMasks", component.ipBitMask() );
   dumpMembers( context, indent, "tcpBitMasks", component.tcpBitMask() );
}

} // namespace

void RuleConfig::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "ruleKey: %s, ruleId: %lu\n", ruleKey_.toStrepCli( false ).c_str(),
                 ruleId_ );
   context.line( indent, "ruleKey with value length: %s\n", ruleKey_.toStrepCli( true ).c_str() );
   context.line( indent, "matchSets #%u\n", matchSet_.size() );
   for ( const auto& [type, component] : matchSet_ ) {
      dumpComponent( context, indent + 2, component );
   }
   context.line( indent,
                 "actionFieldSet is %u, trafficAction is %u, trafficRedirect is (vrf=%u, addr=%s, "
                 "copy=%d), trafficMarkingDscp is %d\n",
                 unsigned{ actionFieldSet_.value() }, unsigned{ trafficAction_.value() },
                 trafficRedirect_.vrfId(), trafficRedirect_.addr().stringValue().c_str(),
                 int{ trafficRedirect_.copy() }, int{ trafficMarkingDscp_.value() } );
}

void InfeasibleRule::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "ruleKey: %s, ruleId: %lu\n", ruleKey_.toStrepCli( false ).c_str(),
                 ruleId_ );
   context.line( indent, "matchCompType is %u\n", unsigned{ static_cast< U8 >( matchCompType_ ) } );
}

void VrfRuleConfig::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "vrfId is %u, rules #%u\n", vrfId_, static_cast< U32 >( rule_.size() ) );
   for ( const auto& rule : rule_ ) {
      rule->dumpState( context, indent + 2 );
   }
   context.line( indent, "infeasibleRules #%u\n", static_cast< U32 >( infeasibleRule_.size() ) );
   for ( const auto& rule : infeasibleRule_ ) {
      rule->dumpState( context, indent + 2 );
   }
}

void Config::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "FlowspecConfig: vrfRuleConfigs #%u\n",
                 static_cast< U32 >( vrfRuleConfig_.size() ) );
   for ( const auto* const member : vrfRuleConfig_.sorted() ) {
      member->second->dumpState( context, indent + 2 );
   }
}

void RuleStatus::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "key: %s\n", key_.toStrepCli( false ).c_str() );
   context.line( indent, "statusCode %d, errorReason %s, version %s\n",
                 int{ static_cast< U8 >( statusCode_ ) }, errorReason_.c_str(),
                 version_.stringValue().c_str() );
   context.line( indent, "resolvedNexthopInfo nexthopSet: %s\n",
                 resolvedNexthopInfo_.nexthopSetStrep().c_str() );
   const L3::ResolvedNexthopInfo::Vias active = resolvedNexthopInfo_.viasActive();
   context.line( indent, "resolvedNexthopInfo viasActive #%u\n",
                 static_cast< U32 >( active.size() ) );
   for ( const L3::Via& via : active ) {
      context.line( indent + 2, "%s, %s, %s\n", via.address.stringValue().c_str(),
                    via.intf.stringValue().c_str(), via.mplsLabel.stringValue().c_str() );
   }
}

void VrfRuleStatus::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "vrfId is %u, ruleStatuses #%u\n", vrfId_, ruleStatus_.size() );
   for ( const auto& status : ruleStatus_ ) {
      status->dumpState( context, indent + 2 );
   }
}

void UnsupportedQual::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "AF %s\n", stringValue( addressFamily_ ).c_str() );
   for ( const auto& [compType, reason] : qual_ ) {
      context.line( indent + 2, "%s --> %s\n", stringValue( compType ).c_str(), reason.c_str() );
   }
   context.line( indent + 2, "Unsupported actions: 0x%x\n",
                 unsigned{ unsupportedActions_.value() } );
}

void Status::dumpState( Osk::DumpContext& context, U32 indent ) const {
   context.line( indent, "FlowspecStatus: vrfRuleStatuses #%u\n", vrfRuleStatus_.size() );
   for ( const auto* const member : vrfRuleStatus_.sorted() ) {
      member->second->dumpState( context, indent + 2 );
   }
   context.line( indent, "Unsupported AF quals: #%u\n", unsupportedQual_.size() );
   for ( const auto* const member : unsupportedQual_.sorted() ) {
      member->second.dumpState( context, indent + 2 );
   }
}

} // namespace Flowspec
