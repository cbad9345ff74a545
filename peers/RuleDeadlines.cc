#include "peers/RuleDeadlines.h"

#include "Vek/entity/EntityInfo.h"

namespace Peers {

struct RuleDeadlines::Table {
   using T = RuleDeadlines;
   static constexpr Vek::Rows rows{
      Vek::coll< &T::deadline_, &T::deadlineIs, Vek::byKey( &T::deadlineDel ) >( 258, "deadline" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& RuleDeadlines::type() { return Table::info; }

double RuleDeadlines::deadline( const Flowspec::FlowspecKey& key ) const {
   return memberAt( deadline_, key );
}

void RuleDeadlines::deadlineIs( const Flowspec::FlowspecKey& key, double time ) {
   memberIs< Table, &RuleDeadlines::deadline_ >( key, time );
}

void RuleDeadlines::deadlineDel( const Flowspec::FlowspecKey& key ) {
   memberDel< Table, &RuleDeadlines::deadline_ >( key );
}

RuleDeadlines::Deadlines::const_iterator
RuleDeadlines::deadlineDel( Deadlines::const_iterator at ) {
   return memberDelAt< Table, &RuleDeadlines::deadline_ >( at );
}

void RuleDeadlines::deadlineDelAll() { memberDelAll< Table, &RuleDeadlines::deadline_ >(); }

Vek::Ptr< RuleDeadlines > ruleDeadlinesFactory( const Vek::String& name ) {
   return Vek::create< RuleDeadlines >( name );
}

} // namespace Peers
