#pragma once

#include "Flowspec/vocab/HwRuleProgrammingStatus.h"
#include "Flowspec/vocab/MatchCompType.h"

#include <span>

namespace Flowspec {

/// A DSCP value (0 to 63) and the name of its per-hop behaviour.
struct DscpName {
   U32 value;
   std::string_view name;
};

/// Look-ups of labels and names. A value without state: all instances are equal.
class OSK_EXPORT FlowspecUtil {
public:
   static constexpr std::string_view typeName = "Flowspec::FlowspecUtil";
   static const Vek::TypeInfo& typeInfo();

   /// The short label of a component type, such as "DP"; empty for the two prefix types.
   /// A type above 13 fails the assertion "compType < numComponentTypes".
   static Vek::String compTypeToLabel( MatchCompType compType );

   /// The readable label, such as "Destination Port"; the same assertion.
   static Vek::String compTypeToDetailLabel( MatchCompType compType );

   /// The name of a DSCP value, such as "ef" for 46; empty when it has none.
   static Vek::String dscpMeaningFromValue( U32 value );

   /// All DSCP names, ascending by value (RFC 2474, RFC 2597, RFC 3246).
   static std::span< const DscpName > dscpNames();

   /// The first interface-set segment of `text`: from "IFSET:=" up to and including the next ";".
   /// Empty when there is none, or no ";" after it.
   static Vek::String findInterfaceSet( std::string_view text );

   /// A programming status in words for people, such as "Unsupported Match". A number without a
   /// name fails the assertion "false && \"Unexpected status code\"".
   static Vek::String statusCodeToStrep( HwRuleProgrammingStatus statusCode );

   bool operator==( const FlowspecUtil& ) const = default;
};

} // namespace Flowspec
