#include "Flowspec/config/Config.h"
#include "Flowspec/status/Status.h"

namespace Flowspec {

// A dump lists the attributes by hand: whether it shows a new one is to be decided here.
static_assert( Vek::listsRows< MatchComponent, 10 > );
static_assert( Vek::listsRows< RuleConfig, 11 > );
static_assert( Vek::listsRows< InfeasibleRule, 4 > );
static_assert( Vek::listsRows< VrfRuleConfig, 4 > );
static_assert( Vek::listsRows< Config, 6 > );
static_assert( Vek::listsRows< RuleStatus, 11 > );
static_assert( Vek::listsRows< VrfRuleStatus, 5 > );
static_assert( Vek::listsRows< UnsupportedQual, 4 > );
static_assert( Vek::listsRows< Status, 6 > );

namespace {

using Osk::DumpContext;

// Writes a line of parts: texts, characters, integers, and what prints to a text writer.
template < typename... Parts >
void line( DumpContext& context, U32 indent, const Parts&... parts ) {
   Vek::TextWriter out( context.beginLine( indent ) );
   ( out << ... << parts ) << '\n';
   out.flush();
   context.endLine();
}

// A line with a rule key in the middle.
template < typename... Parts >
void keyLine( DumpContext& context, U32 indent, std::string_view label, const FlowspecKey& key,
              bool includeValueLength, const Parts&... parts ) {
   std::string& text = context.beginLine( indent );
   text += label;
   key.appendStrepCli( text, includeValueLength );
   Vek::TextWriter out( text );
   ( out << ... << parts ) << '\n';
   out.flush();
   context.endLine();
}

constexpr unsigned number( auto enumerator ) { return static_cast< U8 >( enumerator ); }

template < typename Members >
void dumpMembers( DumpContext& context, U32 indent, std::string_view name,
                  const Members& members ) {
   line( context, indent, name, " #", members.size() );
   for ( const auto* const member : members.sorted() ) {
      line( context, indent + 2, member->toStrep() );
   }
}

} // namespace

void MatchComponent::dumpState( DumpContext& context, U32 indent ) const {
   line( context, indent, "compType is ", number( compType_ ), ", prefix is ", prefix_ );
   dumpMembers( context, indent, "numericalRanges", numericalRange() );
   dumpMembers( context, indent, "ipBitMasks", ipBitMask() );
   dumpMembers( context, indent, "tcpBitMasks", tcpBitMask() );
}

void RuleConfig::dumpState( DumpContext& context, U32 indent ) const {
   keyLine( context, indent, "ruleKey: ", ruleKey_, false, ", ruleId: ", ruleId_ );
   keyLine( context, indent, "ruleKey with value length: ", ruleKey_, true );
   line( context, indent, "matchSets #", matchSet_.size() );
   for ( const auto& [type, component] : matchSet_ ) {
      component.dumpState( context, indent + 2 );
   }
   line( context, indent, "actionFieldSet is ", actionFieldSet_.value(), ", trafficAction is ",
         trafficAction_.value(), ", trafficRedirect is (vrf=", trafficRedirect_.vrfId(),
         ", addr=", trafficRedirect_.addr(), ", copy=", int{ trafficRedirect_.copy() },
         "), trafficMarkingDscp is ", trafficMarkingDscp_.value() );
}

void InfeasibleRule::dumpState( DumpContext& context, U32 indent ) const {
   keyLine( context, indent, "ruleKey: ", ruleKey_, false, ", ruleId: ", ruleId_ );
   line( context, indent, "matchCompType is ", number( matchCompType_ ) );
}

void VrfRuleConfig::dumpState( DumpContext& context, U32 indent ) const {
   line( context, indent, "vrfId is ", vrfId_, ", rules #", rule_.size() );
   for ( const auto& rule : rule_ ) {
      rule->dumpState( context, indent + 2 );
   }
   line( context, indent, "infeasibleRules #", infeasibleRule_.size() );
   for ( const auto& rule : infeasibleRule_ ) {
      rule->dumpState( context, indent + 2 );
   }
}

void Config::dumpState( DumpContext& context, U32 indent ) const {
   line( context, indent, "FlowspecConfig: vrfRuleConfigs #", vrfRuleConfig_.size() );
   for ( const auto* const member : vrfRuleConfig_.sorted() ) {
      member->second->dumpState( context, indent + 2 );
   }
}

void RuleStatus::dumpState( DumpContext& context, U32 indent ) const {
   keyLine( context, indent, "key: ", key_, false );
   line( context, indent, "statusCode ", number( statusCode_ ), ", errorReason ", errorReason_,
         ", version ", version_.stringValue() );
   line( context, indent,
         "resolvedNexthopInfo nexthopSet: ", resolvedNexthopInfo_.nexthopSetStrep() );
   const L3::ResolvedNexthopInfo::Vias active = resolvedNexthopInfo_.viasActive();
   line( context, indent, "resolvedNexthopInfo viasActive #", active.size() );
   for ( const L3::Via& via : active ) {
      line( context, indent + 2, via.address, ", ", via.intf, ", ", via.mplsLabel );
   }
}

void VrfRuleStatus::dumpState( DumpContext& context, U32 indent ) const {
   line( context, indent, "vrfId is ", vrfId_, ", ruleStatuses #", ruleStatus_.size() );
   for ( const auto& status : ruleStatus_ ) {
      status->dumpState( context, indent + 2 );
   }
}

void UnsupportedQual::dumpState( DumpContext& context, U32 indent ) const {
   line( context, indent, "AF ", addressFamily_ );
   for ( const auto& [compType, reason] : qual_ ) {
      line( context, indent + 2, stringValue( compType ), " --> ", reason );
   }
   std::string& text = context.beginLine( indent + 2 );
   Vek::TextWriter out( text );
   out << "Unsupported actions: 0x";
   out.hex( unsupportedActions_.value() ) << '\n';
   out.flush();
   context.endLine();
}

void Status::dumpState( DumpContext& context, U32 indent ) const {
   line( context, indent, "FlowspecStatus: vrfRuleStatuses #", vrfRuleStatus_.size() );
   for ( const auto* const member : vrfRuleStatus_.sorted() ) {
      member->second->dumpState( context, indent + 2 );
   }
   line( context, indent, "Unsupported AF quals: #", unsupportedQual_.size() );
   for ( const auto* const member : unsupportedQual_.sorted() ) {
      member->second.dumpState( context, indent + 2 );
   }
}

} // namespace Flowspec
