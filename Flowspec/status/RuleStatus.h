#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/vocab/HwRuleProgrammingStatus.h"
#include "L3/ResolvedNexthopInfo.h"
#include "Osk/DumpContext.h"
#include "Osk/UniqueId.h"
#include "QosLib/ColoredCounters.h"
#include "Vek/entity/Entity.h"

namespace Flowspec {

/// What became of one rule in hardware, as the agent that programs it reports. Made by
/// `VrfRuleStatus::ruleStatusIs` or `ruleStatusFactory`; every change is published.
class OSK_EXPORT RuleStatus : public Vek::EntityOf< RuleStatus > {
public:
   static constexpr std::string_view typeName = "Flowspec::RuleStatus";
   static constexpr std::size_t rowCount = 11;
   static const Vek::TypeInfo& type();

   RuleStatus( ByCreate by, const FlowspecKey& key ) : EntityOf( by ), key_( key ) {}

   /// The rule's key, by either name.
   const FlowspecKey& key() const { return key_; }
   const FlowspecKey& ruleKey() const { return key_; }

   HwRuleProgrammingStatus statusCode() const { return statusCode_; }
   void statusCodeIs( HwRuleProgrammingStatus statusCode );

   /// Why, in words of the agent that programs.
   const Vek::String& errorReason() const { return errorReason_; }
   void errorReasonIs( const Vek::String& errorReason );

   const QosLib::ColoredCounters& coloredCounters() const { return coloredCounters_; }
   void coloredCountersIs( const QosLib::ColoredCounters& coloredCounters );

   /// The packet hits of `coloredCounters`; a change is published as one of `coloredCounters`.
   U64 packetCount() const { return coloredCounters_.packetHits(); }
   void packetCountIs( U64 packetCount );
   /// The byte hits, likewise.
   U64 byteCount() const { return coloredCounters_.byteHits(); }
   void byteCountIs( U64 byteCount );

   /// Which version of the configuration was programmed; drawn afresh for a new status.
   Osk::UniqueId version() const { return version_; }
   void versionIs( Osk::UniqueId version );

   /// What the next hops of a redirect resolved to.
   const L3::ResolvedNexthopInfo& resolvedNexthopInfo() const { return resolvedNexthopInfo_; }
   void resolvedNexthopInfoIs( const L3::ResolvedNexthopInfo& resolvedNexthopInfo );

   /// Whether the rule is in hardware: `programmed` or `programmedWithFailures`.
   bool isProgrammed() const {
      return static_cast< U8 >( static_cast< U8 >( statusCode_ ) - 1 ) < 2;
   }

   /// Writes the status, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~RuleStatus() override = default;

private:
   const FlowspecKey key_;
   HwRuleProgrammingStatus statusCode_ = unprocessed;
   Vek::String errorReason_;
   QosLib::ColoredCounters coloredCounters_;
   Osk::UniqueId version_;
   L3::ResolvedNexthopInfo resolvedNexthopInfo_;
};

/// A new status, `unprocessed`, that no collection holds.
OSK_EXPORT Vek::Ptr< RuleStatus > ruleStatusFactory( const FlowspecKey& key );
/// The same by its constructor form.
inline Vek::Ptr< RuleStatus > RuleStatusIs( const FlowspecKey& key ) {
   return ruleStatusFactory( key );
}

} // namespace Flowspec
