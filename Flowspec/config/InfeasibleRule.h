#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "Osk/DumpContext.h"
#include "Vek/entity/Entity.h"

namespace Flowspec {

/// A rule that no packet can match, and the component that makes it so. Made by
/// `VrfRuleConfig::infeasibleRuleIs`.
class OSK_EXPORT InfeasibleRule : public Vek::EntityOf< InfeasibleRule > {
public:
   static constexpr std::string_view typeName = "Flowspec::InfeasibleRule";
   static constexpr std::size_t rowCount = 4;
   static const Vek::TypeInfo& type();

   InfeasibleRule( ByCreate by, const FlowspecKey& ruleKey )
      : EntityOf( by ), ruleKey_( ruleKey ) {}

   const FlowspecKey& ruleKey() const { return ruleKey_; }

   U64 ruleId() const { return ruleId_; }
   void ruleIdIs( U64 ruleId );

   /// What `RuleConfig::sanitizeMatchSet` returned.
   MatchCompType matchCompType() const { return matchCompType_; }
   void matchCompTypeIs( MatchCompType matchCompType );

   /// Writes the rule and the component's number, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~InfeasibleRule() override = default;

private:
   FlowspecKey ruleKey_;
   U64 ruleId_ = 0;
   MatchCompType matchCompType_ = invalid;
};

/// A new infeasible rule that no collection holds.
OSK_EXPORT Vek::Ptr< InfeasibleRule > infeasibleRuleFactory( const FlowspecKey& ruleKey );
/// The same by its constructor form.
inline Vek::Ptr< InfeasibleRule > InfeasibleRuleIs( const FlowspecKey& ruleKey ) {
   return infeasibleRuleFactory( ruleKey );
}

} // namespace Flowspec
