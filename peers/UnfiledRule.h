#pragma once

#include "Vek/entity/Entity.h"
#include "peers/PeerValues.h"

namespace Peers {

/// A rule that a peer announced and that is not filed: it was refused, or another one hides it.
/// Made by `Peer::refusedRuleIs`, `Peer::hiddenRuleIs` or `unfiledRuleFactory`.
class OSK_EXPORT UnfiledRule : public Vek::EntityOf< UnfiledRule > {
public:
   static constexpr std::string_view typeName = "Peers::UnfiledRule";
   static constexpr std::size_t rowCount = 3;
   static const Vek::TypeInfo& type();

   UnfiledRule( ByCreate by, const RouteKey& route ) : EntityOf( by ), route_( route ) {}

   const RouteKey& route() const { return route_; }

   /// Why it is not filed, in words for people.
   const Vek::String& reason() const { return reason_; }
   void reasonIs( const Vek::String& reason );

   /// Since when, for this reason. Seconds since the Unix epoch.
   double time() const { return time_; }
   void timeIs( double time );

   struct OSK_HIDDEN Table;

protected:
   ~UnfiledRule() override = default;

private:
   RouteKey route_;
   Vek::String reason_;
   double time_ = 0;
};

/// A new entity that no collection holds.
OSK_EXPORT Vek::Ptr< UnfiledRule > unfiledRuleFactory( const RouteKey& route );

} // namespace Peers
