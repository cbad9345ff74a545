#pragma once

#include "Classification/StructuredFilter.h"
#include "Vek/text/String.h"

#include <optional>

/// The JSON text of a structured filter, one object:
///
/// `{"destPrefix":["10.1.0.0/16"],"srcPrefix":[],"protocols":[{"protocol":6,"ports":[{"srcPort":[],
/// "destPort":[80,[8000,8080]]}],"icmpTypes":[],"tcpFlags":[{"flag":2,"mask":18}]}],
/// "length":[[64,1500]],"dscp":[46],"fragment":"anyFragment"}`
///
/// Every member may be left out; an empty one is no criterion. A range is a number, or an array of
/// its lowest and its highest value. `icmpTypes` holds objects of `type`, a range, and `codes`,
/// ranges. `fragment` is the name of a fragment type, or null.
namespace Forms {

/// Reads a filter. A reason, which names the member and what is wrong with it, when the text is
/// none; `filter` is then unchanged.
[[nodiscard]] std::optional< Vek::String >
readFilterJson( std::string_view text, Vek::Ptr< const Classification::StructuredFilter >& filter );

} // namespace Forms
