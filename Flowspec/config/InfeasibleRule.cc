#include "Flowspec/config/InfeasibleRule.h"

#include "Flowspec/types/Types.h"

namespace Flowspec {

struct InfeasibleRule::Table {
   using T = InfeasibleRule;
   static constexpr Vek::Field rows[] = {
      Vek::key< &T::ruleKey_ >( 258, "ruleKey" ),
      Vek::attr< &T::ruleId_, &T::ruleIdIs >( 259, "ruleId" ),
      Vek::attr< &T::matchCompType_, &T::matchCompTypeIs >( 260, "matchCompType" ),
      Vek::operation< &T::dumpState >( 261, "dumpState", "context", "indent" ),
   };
   static_assert( Vek::idsAscend( rows ) );
   static inline constinit Mell::Slab slab{ sizeof( T ), alignof( T ) };
};

constinit const Vek::TypeInfo infeasibleRuleInfo = Vek::entityInfo< InfeasibleRule, FlowspecKey >(
   "Flowspec::InfeasibleRule", Vek::TypeKind::child, InfeasibleRule::Table::rows,
   InfeasibleRule::Table::slab, &Vek::Entity::baseInfo );

const Vek::TypeInfo& InfeasibleRule::type() { return infeasibleRuleInfo; }

void InfeasibleRule::ruleIdIs( U64 ruleId ) { put< Table, &InfeasibleRule::ruleId_ >( ruleId ); }

void InfeasibleRule::matchCompTypeIs( MatchCompType matchCompType ) {
   put< Table, &InfeasibleRule::matchCompType_ >( matchCompType );
}

Vek::Ptr< InfeasibleRule > infeasibleRuleFactory( const FlowspecKey& ruleKey ) {
   return Vek::create< InfeasibleRule >( ruleKey );
}

} // namespace Flowspec
