#pragma once

#include "Flowspec/config/Config.h"
#include "tests/support/ChangeRecorder.h"

namespace TestSupport {

/// Records what a configuration and all that is in it publish, from the moment that it is there:
/// the name of the type, and the rest as `ChangeRecorder` has it.
class TreeRecorder final : public Vek::Observer {
public:
   explicit TreeRecorder( Flowspec::Config& config ) {
      watch( config );
      for ( const auto& [vrfId, vrf] : config.vrfRuleConfig() ) {
         watchVrf( *vrf );
      }
   }

   void onChange( const Vek::Change& change ) override {
      Vek::String text =
         Vek::concat( change.entity.typeInfo().name.substr( 10 ), ' ', change.field.name );
      if ( change.key ) {
         text += Vek::concat( '[', describedText( *change.field.key, change.key ), ']' );
      }
      if ( change.removed ) {
         text += " gone";
      }
      if ( change.oldValue ) {
         text += Vek::concat( " was ", describedText( *change.field.value, change.oldValue ) );
      }
      changes_.push_back( std::move( text ) );
      if ( change.removed || change.field.kind != Vek::FieldKind::children ) {
         return;
      }
      if ( auto* const config = dynamic_cast< Flowspec::Config* >( &change.entity ) ) {
         watchVrf( *config->vrfRuleConfig( change.keyAs< Vrf::VrfIdMap::VrfId >() ) );
      } else if ( auto& vrf = dynamic_cast< Flowspec::VrfRuleConfig& >( change.entity );
                  change.field.name == "rule" ) {
         watch( *vrf.rule( change.keyAs< Flowspec::FlowspecKey >() ) );
      } else {
         watch( *vrf.infeasibleRule( change.keyAs< Flowspec::FlowspecKey >() ) );
      }
   }

   /// What was published since the last call.
   std::vector< Vek::String > take() { return std::exchange( changes_, {} ); }

private:
   void watch( Vek::Entity& entity ) { observations_.push_back( entity.observe( *this ) ); }

   void watchVrf( Flowspec::VrfRuleConfig& vrf ) {
      watch( vrf );
      for ( const auto& filed : vrf.rule() ) {
         watch( *filed );
      }
      for ( const auto& filed : vrf.infeasibleRule() ) {
         watch( *filed );
      }
   }

   std::vector< Vek::String > changes_;
   std::vector< Vek::Observation > observations_;
};

} // namespace TestSupport
