#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "Vek/collections/HashMap.h"
#include "Vek/entity/Entity.h"

namespace Peers {

/// Until when rules that are filed are to stay: a root entity, created by its name, that of the
/// rules' root and `-deadlines`: `flowspec/config-deadlines` in a system. The agent that files the
/// rules writes it; it is not there until a rule expires some time. Rules without a member stay
/// until somebody removes them.
class OSK_EXPORT RuleDeadlines : public Vek::EntityOf< RuleDeadlines, Vek::NamedEntity > {
public:
   using Deadlines = Vek::HashMap< Flowspec::FlowspecKey, double >;

   static constexpr std::string_view typeName = "Peers::RuleDeadlines";
   static constexpr std::size_t rowCount = 1;
   static const Vek::TypeInfo& type();

   RuleDeadlines( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   /// When a rule is removed, by its whole key. Seconds since the Unix epoch.
   const Deadlines& deadline() const { return deadline_; }
   /// That of a rule; 0 when there is none.
   double deadline( const Flowspec::FlowspecKey& key ) const;
   void deadlineIs( const Flowspec::FlowspecKey& key, double time );
   void deadlineDel( const Flowspec::FlowspecKey& key );
   /// Removes the member at `at` and returns the place where to go on.
   Deadlines::const_iterator deadlineDel( Deadlines::const_iterator at );
   void deadlineDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~RuleDeadlines() override = default;

private:
   Deadlines deadline_;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< RuleDeadlines > ruleDeadlinesFactory( const Vek::String& name );

} // namespace Peers
