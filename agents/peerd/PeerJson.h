#pragma once

#include "agents/peerd/PeerdConfig.h"

/// Values of peerd's configuration. Each function raises what is wrong as `ConfigValue::fail` does.
namespace Peerd {

U32 asNumberOf( const Forms::ConfigValue& value );
/// A BGP identifier, written as an IPv4 address.
U32 identifierOf( const Forms::ConfigValue& value );
U16 portOf( const Forms::ConfigValue& value );
/// An address of either family.
Zorv::IpGenAddr addressOf( const Forms::ConfigValue& value );

/// Reads the list of peers; all that is not of a peer is read already.
void readPeers( const Forms::ConfigValue& value, const Vek::String& folder, PeerdConfig& config );

} // namespace Peerd
