#pragma once

#include "Vek/entity/Entity.h"

#include <utility>
#include <vector>

namespace TestSupport {

/// The text of a value by its description.
inline Vek::String describedText( const Vek::ValueType& type, const void* value ) {
   Vek::String text;
   Vek::TextWriter out( text );
   type.write( out, value );
   out.flush();
   return text;
}

/// Records what one entity publishes while it lives, each change as a text: the field's id and
/// name, the member's key in brackets, and the old value, as in "260 matchSet[ipProto] was ...".
class ChangeRecorder final : public Vek::Observer {
public:
   explicit ChangeRecorder( Vek::Entity& entity ) : observation_( entity.observe( *this ) ) {}

   void onChange( const Vek::Change& change ) override {
      Vek::String text = Vek::concat( change.fieldId(), ' ', change.field.name );
      if ( change.key ) {
         text += Vek::concat( '[', describedText( *change.field.key, change.key ), ']' );
      }
      if ( change.oldValue ) {
         text += Vek::concat( " was ", describedText( *change.field.value, change.oldValue ) );
      }
      changes_.push_back( std::move( text ) );
   }

   /// What was published since the last call.
   std::vector< Vek::String > take() { return std::exchange( changes_, {} ); }

private:
   std::vector< Vek::String > changes_;
   Vek::Observation observation_;
};

} // namespace TestSupport
