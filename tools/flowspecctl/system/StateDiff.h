#pragma once

#include "Vek/entity/Directory.h"
#include "Vek/log/StreamType.h"

namespace Tools {

/// Writes what differs between two states of a root of any type, a line each:
///
/// `flowspec/status VrfRuleStatus 0, RuleStatus 0;ipv4;10.1.0.0/16;*;: statusCode unprocessed ->
/// programmed` `flowspec/config VrfRuleConfig 0: rule - 0;ipv4;10.2.0.0/16;*;`
///
/// the root, the way to the entity, and its field with both values; of a collection the member that
/// only the second state has ("+"), with its value, that only the first has ("-"), or that has
/// another value ("="). What is below a child that one state lacks is not listed. As JSON an object
/// with members `root`, `path`, `field`, `change` ("set", "added", "removed", "changed"), and,
/// where there are, `key`, `old` and `new`, as text. Members come in the order of their keys, the
/// added ones of a collection last.
class StateDiff {
public:
   StateDiff( Vek::String& out, bool json ) : out_( out ), json_( json ) {}

   /// Compares two roots of one type and writes them under the name of the first.
   void compare( const Vek::NamedEntity& first, const Vek::NamedEntity& second );

   /// Writes that only one side has a root: `flowspec/config: -`, or with "+".
   void onlyFirst( const Vek::String& root );
   void onlySecond( const Vek::String& root );

   /// How many differences there were.
   U64 count() const { return count_; }

private:
   struct Difference;

   void compareEntities( const Vek::Entity& first, const Vek::Entity& second );
   void compareAttribute( const Vek::Field& row, const Vek::Entity& first,
                          const Vek::Entity& second );
   void compareMembers( const Vek::Field& row, const Vek::Entity& first,
                        const Vek::Entity& second );
   void compareChild( const Vek::Field& row, const Vek::Entity* first, const Vek::Entity* second );
   void descend( const Vek::Entity& first, const Vek::Entity& second );
   void write( std::string_view field, const Difference& difference );

   Vek::String& out_;
   const bool json_;
   Vek::log::StreamTypes types_;
   Vek::String root_; ///< that is compared, and
   Vek::String path_; ///< the way to the entity
   U64 count_ = 0;
};

} // namespace Tools
