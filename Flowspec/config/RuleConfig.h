#pragma once

#include "Flowspec/config/MatchComponent.h"
#include "Flowspec/config/TrafficActions.h"
#include "Flowspec/key/FlowspecKey.h"
#include "Osk/DumpContext.h"
#include "Vek/collections/FlatMap.h"
#include "Vek/entity/Entity.h"
#include "Zorv/IpTos.h"

#include <initializer_list>

namespace Flowspec {

/// One configured rule: its key, its match set (the key taken apart, one component a type) and its
/// actions. Made by `VrfRuleConfig::ruleIs` or `ruleConfigFactory`; every change is published.
class OSK_EXPORT RuleConfig : public Vek::EntityOf< RuleConfig > {
public:
   using MatchSet = Vek::FlatMap< MatchCompType, MatchComponent >;

   static constexpr std::string_view typeName = "Flowspec::RuleConfig";
   static constexpr std::size_t rowCount = 11;
   static const Vek::TypeInfo& type();

   RuleConfig( ByCreate by, const FlowspecKey& ruleKey ) : EntityOf( by ), ruleKey_( ruleKey ) {}

   const FlowspecKey& ruleKey() const { return ruleKey_; }

   U64 ruleId() const { return ruleId_; }
   void ruleIdIs( U64 ruleId );

   /// The components, ascending by the number of their type.
   const MatchSet& matchSet() const { return matchSet_; }
   /// The component of a type, until the match set changes; an empty one of type `invalid` when
   /// there is none.
   const MatchComponent& matchSet( MatchCompType compType ) const;
   /// A copy of it.
   MatchComponent matchSetGet( MatchCompType compType ) const { return matchSet( compType ); }
   /// Stores the component under its own type; publishes nothing when an equal one is stored.
   void matchSetIs( const MatchComponent& component );
   void matchSetDel( MatchCompType compType );
   /// Removes the member at `at` and returns the place where to go on.
   MatchSet::const_iterator matchSetDel( MatchSet::const_iterator at );
   void matchSetDelAll();

   /// Which of the action attributes are in force.
   ActionFieldSet actionFieldSet() const { return actionFieldSet_; }
   void actionFieldSetIs( ActionFieldSet actionFieldSet );
   TrafficAction trafficAction() const { return trafficAction_; }
   void trafficActionIs( TrafficAction trafficAction );
   const TrafficRedirect& trafficRedirect() const { return trafficRedirect_; }
   void trafficRedirectIs( const TrafficRedirect& trafficRedirect );
   Zorv::IpTos trafficMarkingDscp() const { return trafficMarkingDscp_; }
   void trafficMarkingDscpIs( Zorv::IpTos trafficMarkingDscp );
   /// In the unit of the action that is in force: bytes or packets per second (RFC 8955 section 7).
   float trafficRateLimit() const { return trafficRateLimit_; }
   void trafficRateLimitIs( float trafficRateLimit );

   /// The type of the component that cannot hold together with the others, or `invalid` when all
   /// can: TCP flags want TCP, ICMP type and code want ICMP (of the key's family), ports want TCP
   /// or UDP, and none of the three stands beside another but TCP flags and ports. Of several the
   /// first in this order, with ports in that of their types.
   MatchCompType infeasibleMatchInMatchSet() const;

   /// Makes the protocol that the other components imply explicit: replaces the `ipProto`
   /// component by what is left of TCP, UDP or ICMP. Returns `invalid`; or, with the match set
   /// unchanged, what `infeasibleMatchInMatchSet` finds.
   MatchCompType sanitizeMatchSet();

   /// Writes the rule, its components and its actions, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~RuleConfig() override = default;

private:
   const FlowspecKey ruleKey_;
   U64 ruleId_ = 0;
   MatchSet matchSet_;
   ActionFieldSet actionFieldSet_;
   TrafficAction trafficAction_;
   TrafficRedirect trafficRedirect_;
   Zorv::IpTos trafficMarkingDscp_;
   float trafficRateLimit_ = 0;
};

/// Whether the rule can match any of `protocols`: true when its match set has no `ipProto`
/// component, or when a valid range of that component contains one of them.
OSK_EXPORT bool ruleConfigIpProtoContains( const RuleConfig& rule,
                                           std::span< const U32 > protocols );
inline bool ruleConfigIpProtoContains( const RuleConfig& rule,
                                       std::initializer_list< U32 > protocols ) {
   return ruleConfigIpProtoContains( rule, std::span( protocols.begin(), protocols.size() ) );
}

/// A new rule that no collection holds.
OSK_EXPORT Vek::Ptr< RuleConfig > ruleConfigFactory( const FlowspecKey& ruleKey );
/// The same by its constructor form.
inline Vek::Ptr< RuleConfig > RuleConfigIs( const FlowspecKey& ruleKey ) {
   return ruleConfigFactory( ruleKey );
}

/// "<matchSets=2;actionFieldSet=trafficDrop>". A null rule fails the assertion "rule != nullptr".
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const RuleConfig* rule );
inline std::ostream& operator<<( std::ostream& out, const Vek::Ptr< const RuleConfig >& rule ) {
   return out << rule.get();
}

} // namespace Flowspec
