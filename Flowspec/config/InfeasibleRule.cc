#include "Flowspec/config/InfeasibleRule.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct InfeasibleRule::Table {
   using T = InfeasibleRule;
   static constexpr Vek::Rows rows{
      Vek::key< &T::ruleKey_ >( 258, "ruleKey" ),
      Vek::attr< &T::ruleId_, &T::ruleIdIs >( 259, "ruleId" ),
      Vek::attr< &T::matchCompType_, &T::matchCompTypeIs >( 260, "matchCompType" ),
      Vek::operation< &T::dumpState >( 261, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, FlowspecKey >( Vek::TypeKind::child );
};

const Vek::TypeInfo& InfeasibleRule::type() { return Table::info; }

void InfeasibleRule::ruleIdIs( U64 ruleId ) { put< Table, &InfeasibleRule::ruleId_ >( ruleId ); }

void InfeasibleRule::matchCompTypeIs( MatchCompType matchCompType ) {
   put< Table, &InfeasibleRule::matchCompType_ >( matchCompType );
}

Vek::Ptr< InfeasibleRule > infeasibleRuleFactory( const FlowspecKey& ruleKey ) {
   return Vek::create< InfeasibleRule >( ruleKey );
}

} // namespace Flowspec
