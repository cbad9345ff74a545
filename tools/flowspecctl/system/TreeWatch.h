#pragma once

#include "Vek/entity/Entity.h"
#include "Vek/log/StreamType.h"

#include <unordered_map>

namespace Tools {

/// Writes the changes of trees of entities of any types, a line each:
///
/// `2026-11-22T01:25:10.123Z flowspec/status VrfRuleStatus 0, InterfaceSet 3: intf + intf1`
///
/// the root, the way to the entity, and what happened: an attribute with its value, a member of a
/// collection that came ("+"), with its value, that has another value ("="), or went ("-"). As JSON
/// an object with members `time` (seconds since the Unix epoch), `root`, `path`, `field`, `change`
/// ("set", "added", "changed", "removed"), and, where there are, `key` and `value`, as text.
class TreeWatch final : public Vek::Observer {
public:
   TreeWatch( Vek::String& out, bool json ) : out_( out ), json_( json ) {}
   TreeWatch( const TreeWatch& ) = delete;
   TreeWatch& operator=( const TreeWatch& ) = delete;
   ~TreeWatch() = default;

   /// Watches a root and all that is below it; `initial`: and writes what is there.
   void watch( Vek::NamedEntity& root, bool initial );

   void onChange( const Vek::Change& change ) override;

private:
   enum class What : U8 { set, added, changed, removed };

   void add( Vek::Entity& entity, bool initial );
   void drop( const Vek::Entity& entity );
   void write( const Vek::Entity& entity, const Vek::Field& field, What what, const void* key,
               const void* value );
   Vek::String pathTo( const Vek::Entity& entity, const Vek::NamedEntity*& root );

   Vek::String& out_;
   const bool json_;
   Vek::log::StreamTypes types_;
   std::unordered_map< const Vek::Entity*, Vek::Observation > observations_;
};

} // namespace Tools
