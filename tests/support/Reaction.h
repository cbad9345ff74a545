#pragma once

#include "Vek/entity/Entity.h"

#include <functional>

namespace TestSupport {

/// Does something at each change of an entity.
class Reaction final : public Vek::Observer {
public:
   template < typename Action >
   Reaction( Vek::Entity& entity, Action action )
      : action_( std::move( action ) ), observation_( entity.observe( *this ) ) {}

   void onChange( const Vek::Change& change ) override {
      ++calls_;
      action_( change );
   }

   unsigned calls() const { return calls_; }
   Vek::Observation& observation() { return observation_; }

private:
   std::function< void( const Vek::Change& ) > action_;
   unsigned calls_ = 0;
   Vek::Observation observation_;
};

} // namespace TestSupport
