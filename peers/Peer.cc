#include "peers/Peer.h"

#include "Vek/entity/EntityInfo.h"

namespace Peers {

struct Peer::Table {
   using T = Peer;
   static constexpr Vek::Rows rows{
      Vek::key< &T::name_ >( 258, "name" ),
      Vek::attr< &T::number_, &T::numberIs >( 259, "number" ),
      Vek::attr< &T::address_, &T::addressIs >( 260, "address" ),
      Vek::attr< &T::peerAs_, &T::peerAsIs >( 261, "peerAs" ),
      Vek::attr< &T::routerId_, &T::routerIdIs >( 262, "routerId" ),
      Vek::attr< &T::state_, &T::stateIs >( 263, "state" ),
      Vek::attr< &T::stateTime_, &T::stateTimeIs >( 264, "stateTime" ),
      Vek::attr< &T::flaps_, &T::flapsIs >( 265, "flaps" ),
      Vek::attr< &T::lastError_, &T::lastErrorIs >( 266, "lastError" ),
      Vek::attr< &T::lastErrorTime_, &T::lastErrorTimeIs >( 267, "lastErrorTime" ),
      Vek::attr< &T::capabilities_, &T::capabilitiesIs >( 268, "capabilities" ),
      Vek::attr< &T::holdTime_, &T::holdTimeIs >( 269, "holdTime" ),
      Vek::attr< &T::restartTime_, &T::restartTimeIs >( 270, "restartTime" ),
      Vek::coll< &T::family_, &T::familyIs, Vek::byKey( &T::familyDel ), &FamilyState::family >(
         271, "family" ),
      Vek::attr< &T::messagesIn_, &T::messagesInIs >( 272, "messagesIn" ),
      Vek::attr< &T::messagesOut_, &T::messagesOutIs >( 273, "messagesOut" ),
      Vek::attr< &T::rules_, &T::rulesIs >( 274, "rules" ),
      Vek::attr< &T::maxRules_, &T::maxRulesIs >( 275, "maxRules" ),
      Vek::attr< &T::refreshInTime_, &T::refreshInTimeIs >( 276, "refreshInTime" ),
      Vek::attr< &T::refreshOutTime_, &T::refreshOutTimeIs >( 277, "refreshOutTime" ),
      Vek::children< &T::refusedRule_, &T::refusedRuleIs, Vek::byKey( &T::refusedRuleDel ) >(
         278, "refusedRule" ),
      Vek::children< &T::hiddenRule_, &T::hiddenRuleIs, Vek::byKey( &T::hiddenRuleDel ) >(
         279, "hiddenRule" ),
      Vek::constant< &T::maxUnfiledRules >( 280, "maxUnfiledRules" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::child );
};

const Vek::TypeInfo& Peer::type() { return Table::info; }

void Peer::numberIs( U32 number ) { put< Table, &Peer::number_ >( number ); }
void Peer::addressIs( const Zorv::IpGenAddr& address ) { put< Table, &Peer::address_ >( address ); }
void Peer::peerAsIs( U32 peerAs ) { put< Table, &Peer::peerAs_ >( peerAs ); }
void Peer::routerIdIs( const Zorv::IpGenAddr& routerId ) {
   put< Table, &Peer::routerId_ >( routerId );
}
void Peer::stateIs( SessionState state ) { put< Table, &Peer::state_ >( state ); }
void Peer::stateTimeIs( double stateTime ) { put< Table, &Peer::stateTime_ >( stateTime ); }
void Peer::flapsIs( U64 flaps ) { put< Table, &Peer::flaps_ >( flaps ); }
void Peer::lastErrorIs( const Vek::String& lastError ) {
   put< Table, &Peer::lastError_ >( lastError );
}
void Peer::lastErrorTimeIs( double lastErrorTime ) {
   put< Table, &Peer::lastErrorTime_ >( lastErrorTime );
}
void Peer::capabilitiesIs( const Capabilities& capabilities ) {
   put< Table, &Peer::capabilities_ >( capabilities );
}
void Peer::holdTimeIs( U16 holdTime ) { put< Table, &Peer::holdTime_ >( holdTime ); }
void Peer::restartTimeIs( U16 restartTime ) { put< Table, &Peer::restartTime_ >( restartTime ); }
void Peer::messagesInIs( const MessageCounts& messagesIn ) {
   put< Table, &Peer::messagesIn_ >( messagesIn );
}
void Peer::messagesOutIs( const MessageCounts& messagesOut ) {
   put< Table, &Peer::messagesOut_ >( messagesOut );
}
void Peer::rulesIs( const RuleCounts& rules ) { put< Table, &Peer::rules_ >( rules ); }
void Peer::maxRulesIs( U32 maxRules ) { put< Table, &Peer::maxRules_ >( maxRules ); }
void Peer::refreshInTimeIs( double refreshInTime ) {
   put< Table, &Peer::refreshInTime_ >( refreshInTime );
}
void Peer::refreshOutTimeIs( double refreshOutTime ) {
   put< Table, &Peer::refreshOutTime_ >( refreshOutTime );
}

FamilyState Peer::family( Family family ) const { return memberAt( family_, family ); }

void Peer::familyIs( const FamilyState& state ) {
   memberIs< Table, &Peer::family_ >( state.family, state );
}

void Peer::familyDel( Family family ) { memberDel< Table, &Peer::family_ >( family ); }

Peer::Families::const_iterator Peer::familyDel( Families::const_iterator at ) {
   return memberDelAt< Table, &Peer::family_ >( at );
}

void Peer::familyDelAll() { memberDelAll< Table, &Peer::family_ >(); }

Vek::Ptr< UnfiledRule > Peer::refusedRule( const RouteKey& route ) const {
   return childAt( refusedRule_, route );
}

Vek::Ptr< UnfiledRule > Peer::refusedRuleIs( const RouteKey& route ) {
   return childIs< Table, &Peer::refusedRule_ >( route, unfiledRuleFactory );
}

void Peer::refusedRuleDel( const RouteKey& route ) {
   childDel< Table, &Peer::refusedRule_ >( route );
}

Peer::UnfiledRules::const_iterator Peer::refusedRuleDel( UnfiledRules::const_iterator at ) {
   return childDelAt< Table, &Peer::refusedRule_ >( at );
}

void Peer::refusedRuleDelAll() { childDelAll< Table, &Peer::refusedRule_ >(); }

Vek::Ptr< UnfiledRule > Peer::hiddenRule( const RouteKey& route ) const {
   return childAt( hiddenRule_, route );
}

Vek::Ptr< UnfiledRule > Peer::hiddenRuleIs( const RouteKey& route ) {
   return childIs< Table, &Peer::hiddenRule_ >( route, unfiledRuleFactory );
}

void Peer::hiddenRuleDel( const RouteKey& route ) {
   childDel< Table, &Peer::hiddenRule_ >( route );
}

Peer::UnfiledRules::const_iterator Peer::hiddenRuleDel( UnfiledRules::const_iterator at ) {
   return childDelAt< Table, &Peer::hiddenRule_ >( at );
}

void Peer::hiddenRuleDelAll() { childDelAll< Table, &Peer::hiddenRule_ >(); }

Vek::Ptr< Peer > peerFactory( const Vek::String& name ) { return Vek::create< Peer >( name ); }

} // namespace Peers
