#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <span>

namespace TestSupport {

/// Whether a rule matches a packet, of which `packet` has the bytes from the IP header on: a second
/// implementation that looks up each field in the bytes when it is asked for, and takes the terms
/// as RFC 8955 section 4.2.1 writes them.
bool slowMatches( const Flowspec::FlowspecKey& key, std::span< const U8 > packet );

} // namespace TestSupport
