#pragma once

#include "agents/peerd/policy/ExportPolicy.h"
#include "agents/peerd/policy/PeerImport.h"
#include "agents/peerd/policy/VrfTable.h"
#include "forms/ConfigJson.h"

/// Policies in peerd's configuration. Each function raises what is wrong as `ConfigValue::fail`
/// does.
namespace Peerd {

std::vector< Zorv::IpGenPrefix > prefixesOf( const Forms::ConfigValue& value );

/// A list of terms, each with `match`, where wanted, and either `accept` or `refuse`.
ImportPolicy importPolicyOf( const Forms::ConfigValue& value );
/// A list of terms, each with `match`, where wanted, and `announce`.
std::vector< ExportTerm > exportTermsOf( const Forms::ConfigValue& value );
void readGuards( const Forms::ConfigValue& value, GuardRails& guards );
VrfTable vrfTableOf( const Forms::ConfigValue& value );

} // namespace Peerd
