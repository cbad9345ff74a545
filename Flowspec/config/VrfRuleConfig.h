#pragma once

#include "Flowspec/config/InfeasibleRule.h"
#include "Flowspec/config/RuleConfig.h"
#include "Vek/collections/OrderedMap.h"

namespace Flowspec {

/// The rules of one VRF, and those found infeasible. Made by `Config::vrfRuleConfigIs` or
/// `vrfRuleConfigFactory`. Owns its rules; a reader's reference keeps a removed one alive.
class OSK_EXPORT VrfRuleConfig : public Vek::EntityOf< VrfRuleConfig > {
public:
   /// Ascending by `FlowspecKeyOrder` of the rule keys.
   template < typename Child >
   struct RuleKeyOf {
      const FlowspecKey& operator()( const Vek::Ptr< Child >& child ) const {
         return child->ruleKey();
      }
   };
   using Rules =
      Vek::OrderedMap< Vek::Ptr< RuleConfig >, RuleKeyOf< RuleConfig >, FlowspecKeyOrder >;
   using InfeasibleRules =
      Vek::OrderedMap< Vek::Ptr< InfeasibleRule >, RuleKeyOf< InfeasibleRule >, FlowspecKeyOrder >;

   static constexpr std::string_view typeName = "Flowspec::VrfRuleConfig";
   static constexpr std::size_t rowCount = 4;
   static const Vek::TypeInfo& type();

   VrfRuleConfig( ByCreate by, Vrf::VrfIdMap::VrfId vrfId ) : EntityOf( by ), vrfId_( vrfId ) {}

   Vrf::VrfIdMap::VrfId vrfId() const { return vrfId_; }

   const Rules& rule() const { return rule_; }
   /// The rule with a key, or null.
   Vek::Ptr< RuleConfig > rule( const FlowspecKey& key ) const;
   /// The rule with a key; created, with its attributes at their defaults, when there is none.
   Vek::Ptr< RuleConfig > ruleIs( const FlowspecKey& key );
   void ruleDel( const FlowspecKey& key );
   /// Removes the rule at `at` and returns the one after it, as every `...Del` by iterator does: in
   /// a loop that deletes, `at = vrf->ruleDel( at )` takes the place of `++at`. All other iterators
   /// are invalid then; one that is used ends the process with the assertion "version ==
   /// collection.version()".
   Rules::const_iterator ruleDel( Rules::const_iterator at );
   void ruleDelAll();

   const InfeasibleRules& infeasibleRule() const { return infeasibleRule_; }
   /// The infeasible rule with a key, or null.
   Vek::Ptr< InfeasibleRule > infeasibleRule( const FlowspecKey& key ) const;
   /// The infeasible rule with a key; created when there is none. A key may be here and among
   /// the rules.
   Vek::Ptr< InfeasibleRule > infeasibleRuleIs( const FlowspecKey& key );
   void infeasibleRuleDel( const FlowspecKey& key );
   /// Removes the infeasible rule at `at` and returns the one after it.
   InfeasibleRules::const_iterator infeasibleRuleDel( InfeasibleRules::const_iterator at );
   void infeasibleRuleDelAll();

   /// Writes the VRF and its rules, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~VrfRuleConfig() override = default;

private:
   Vrf::VrfIdMap::VrfId vrfId_;
   Rules rule_;
   InfeasibleRules infeasibleRule_;
};

/// A new entity that no collection holds.
OSK_EXPORT Vek::Ptr< VrfRuleConfig > vrfRuleConfigFactory( Vrf::VrfIdMap::VrfId vrfId );
/// The same by its constructor form.
inline Vek::Ptr< VrfRuleConfig > VrfRuleConfigIs( Vrf::VrfIdMap::VrfId vrfId ) {
   return vrfRuleConfigFactory( vrfId );
}

} // namespace Flowspec
