#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "Osk/UniqueId.h"
#include "QosLib/ColoredCounters.h"
#include "Vek/collections/HashMap.h"
#include "Vek/entity/Entity.h"

namespace Flowspec {

/// The traffic counters of one rule, and which programming of the rule counted. A plain value.
class OSK_EXPORT CounterVersion {
public:
   static constexpr std::string_view typeName = "Flowspec::CounterVersion";
   static const Vek::TypeInfo& typeInfo();

   /// All zero, under a version of its own: two default values differ.
   CounterVersion() = default;
   CounterVersion( const QosLib::ColoredCounters& coloredCounters, Osk::UniqueId version )
      : coloredCounters_( coloredCounters ), version_( version ) {}

   const QosLib::ColoredCounters& coloredCounters() const { return coloredCounters_; }
   void coloredCountersIs( const QosLib::ColoredCounters& coloredCounters ) {
      coloredCounters_ = coloredCounters;
   }

   /// As in `RuleStatus`.
   Osk::UniqueId version() const { return version_; }
   void versionIs( Osk::UniqueId version ) { version_ = version; }

   /// By counters, then version.
   bool operator==( const CounterVersion& ) const = default;

   struct OSK_HIDDEN Table;

private:
   QosLib::ColoredCounters coloredCounters_;
   Osk::UniqueId version_;
};

/// The counters of all rules as they were last read from hardware: a root entity, created by its
/// name.
class OSK_EXPORT Counter : public Vek::EntityOf< Counter, Vek::NamedEntity > {
public:
   using Snapshots = Vek::HashMap< FlowspecKey, CounterVersion >;

   static constexpr std::string_view typeName = "Flowspec::Counter";
   static const Vek::TypeInfo& type();

   Counter( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   /// By the whole rule key, in no order.
   const Snapshots& snapshot() const { return snapshot_; }
   /// The counters of a rule; a default value when there are none.
   CounterVersion snapshot( const FlowspecKey& key ) const;
   /// Inserts or replaces. An equal value costs a look-up and a comparison: nothing is published
   /// or allocated.
   void snapshotIs( const FlowspecKey& key, const CounterVersion& snapshot );
   void snapshotDel( const FlowspecKey& key );
   /// Removes the member at `at` and returns the place where to go on.
   Snapshots::const_iterator snapshotDel( Snapshots::const_iterator at );
   void snapshotDelAll();

   /// When the counters were last refreshed. Seconds since the Unix epoch.
   double timestamp() const { return timestamp_; }
   void timestampIs( double timestamp );

   struct OSK_HIDDEN Table;

protected:
   ~Counter() override = default;

private:
   Snapshots snapshot_;
   double timestamp_ = 0;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< Counter > counterFactory( const Vek::String& name );
/// The same by its constructor form.
inline Vek::Ptr< Counter > CounterIs( const Vek::String& name ) { return counterFactory( name ); }

} // namespace Flowspec
