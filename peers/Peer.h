#pragma once

#include "Vek/collections/HashMap.h"
#include "Zorv/IpGenAddr.h"
#include "peers/UnfiledRule.h"

namespace Peers {

/// A peer as it is configured, its session, and its rules. Made by `PeerTable::peerIs` or
/// `peerFactory`. Times are in seconds since the Unix epoch, 0 for never.
///
/// Its writer sets what counts messages and rules at most once a second, not with each message.
class OSK_EXPORT Peer : public Vek::EntityOf< Peer > {
public:
   using Families = Vek::HashMap< Family, FamilyState >;
   using UnfiledRules = Vek::HashMap< RouteKey, Vek::Ptr< UnfiledRule > >;

   static constexpr std::string_view typeName = "Peers::Peer";
   static constexpr std::size_t rowCount = 23;
   static const Vek::TypeInfo& type();

   /// The most members of `refusedRule`, and of `hiddenRule`, that a writer lists; `rules` counts
   /// those beyond them, too.
   static constexpr U32 maxUnfiledRules() { return 1000; }

   Peer( ByCreate by, const Vek::String& name ) : EntityOf( by ), name_( name ) {}

   const Vek::String& name() const { return name_; }

   /// Another one for each peer of a table, never 0: `peerNumberOf` gives it for a filed rule.
   U32 number() const { return number_; }
   void numberIs( U32 number );

   const Zorv::IpGenAddr& address() const { return address_; }
   void addressIs( const Zorv::IpGenAddr& address );
   U32 peerAs() const { return peerAs_; }
   void peerAsIs( U32 peerAs );
   /// As the peer said when the session began; empty before.
   const Zorv::IpGenAddr& routerId() const { return routerId_; }
   void routerIdIs( const Zorv::IpGenAddr& routerId );

   SessionState state() const { return state_; }
   void stateIs( SessionState state );
   /// Since when the session is established, or not.
   double stateTime() const { return stateTime_; }
   void stateTimeIs( double stateTime );
   /// How often an established session ended.
   U64 flaps() const { return flaps_; }
   void flapsIs( U64 flaps );
   /// Why a session ended, or none could be made, the last time, in words for people; "" when there
   /// was no error.
   const Vek::String& lastError() const { return lastError_; }
   void lastErrorIs( const Vek::String& lastError );
   double lastErrorTime() const { return lastErrorTime_; }
   void lastErrorTimeIs( double lastErrorTime );

   /// What was agreed when the session began. Without a session: nothing.
   const Capabilities& capabilities() const { return capabilities_; }
   void capabilitiesIs( const Capabilities& capabilities );
   /// In seconds; 0 when the session has none.
   U16 holdTime() const { return holdTime_; }
   void holdTimeIs( U16 holdTime );
   /// For how many seconds the rules of the peer are kept when it restarts.
   U16 restartTime() const { return restartTime_; }
   void restartTimeIs( U16 restartTime );
   const Families& family() const { return family_; }
   /// The state of a family; a default one when it was not agreed.
   FamilyState family( Family family ) const;
   /// Files the state under its own family; publishes nothing when an equal one is there.
   void familyIs( const FamilyState& state );
   void familyDel( Family family );
   /// Removes the member at `at` and returns the place where to go on.
   Families::const_iterator familyDel( Families::const_iterator at );
   void familyDelAll();

   const MessageCounts& messagesIn() const { return messagesIn_; }
   void messagesInIs( const MessageCounts& messagesIn );
   const MessageCounts& messagesOut() const { return messagesOut_; }
   void messagesOutIs( const MessageCounts& messagesOut );

   const RuleCounts& rules() const { return rules_; }
   void rulesIs( const RuleCounts& rules );
   /// The most rules that are taken of the peer; 0 when there is no limit.
   U32 maxRules() const { return maxRules_; }
   void maxRulesIs( U32 maxRules );

   /// The last requests in `PeerRequests` that were carried out: their own times.
   double refreshInTime() const { return refreshInTime_; }
   void refreshInTimeIs( double refreshInTime );
   double refreshOutTime() const { return refreshOutTime_; }
   void refreshOutTimeIs( double refreshOutTime );

   /// Rules that policy, a guard rail or their octets keep from being filed.
   const UnfiledRules& refusedRule() const { return refusedRule_; }
   /// The refused rule with a key, or null.
   Vek::Ptr< UnfiledRule > refusedRule( const RouteKey& route ) const;
   /// The refused rule with a key; created, without a reason, when there is none.
   Vek::Ptr< UnfiledRule > refusedRuleIs( const RouteKey& route );
   void refusedRuleDel( const RouteKey& route );
   /// Removes the member at `at` and returns the place where to go on.
   UnfiledRules::const_iterator refusedRuleDel( UnfiledRules::const_iterator at );
   void refusedRuleDelAll();

   /// Rules that are filed when a better one, of this peer or of another, goes.
   const UnfiledRules& hiddenRule() const { return hiddenRule_; }
   /// The hidden rule with a key, or null.
   Vek::Ptr< UnfiledRule > hiddenRule( const RouteKey& route ) const;
   /// The hidden rule with a key; created, without a reason, when there is none.
   Vek::Ptr< UnfiledRule > hiddenRuleIs( const RouteKey& route );
   void hiddenRuleDel( const RouteKey& route );
   /// Removes the member at `at` and returns the place where to go on.
   UnfiledRules::const_iterator hiddenRuleDel( UnfiledRules::const_iterator at );
   void hiddenRuleDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~Peer() override = default;

private:
   Vek::String name_;
   U32 number_ = 0;
   Zorv::IpGenAddr address_;
   U32 peerAs_ = 0;
   Zorv::IpGenAddr routerId_;
   SessionState state_ = SessionState::idle;
   double stateTime_ = 0;
   U64 flaps_ = 0;
   Vek::String lastError_;
   double lastErrorTime_ = 0;
   Capabilities capabilities_;
   U16 holdTime_ = 0;
   U16 restartTime_ = 0;
   Families family_;
   MessageCounts messagesIn_;
   MessageCounts messagesOut_;
   RuleCounts rules_;
   U32 maxRules_ = 0;
   double refreshInTime_ = 0;
   double refreshOutTime_ = 0;
   UnfiledRules refusedRule_;
   UnfiledRules hiddenRule_;
};

/// A new entity that no collection holds.
OSK_EXPORT Vek::Ptr< Peer > peerFactory( const Vek::String& name );

} // namespace Peers
