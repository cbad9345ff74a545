#include "agents/peerd/PeerdConfig.h"

#include "agents/peerd/PeerJson.h"
#include "agents/peerd/PolicyJson.h"
#include "forms/Diagnostics.h"
#include "forms/TextFile.h"

#include <filesystem>
#include <stdexcept>

namespace Peerd {

namespace {

using Forms::ConfigValue;

// A policy of a peer sets an action that redirects to a color and an endpoint.
constexpr int maxDepth = 10;

Bgp::SocketAddress socketAddressOf( const ConfigValue& value ) {
   Bgp::SocketAddress where;
   value.members(
      { { "address", [&]( const ConfigValue& v ) { where.address = addressOf( v ); }, true },
        { "port", [&]( const ConfigValue& v ) { where.port = portOf( v ); } } } );
   return where;
}

} // namespace

std::vector< Forms::ConfigFault > readPeerdConfig( std::string_view json, const Vek::String& folder,
                                                   PeerdConfig& config ) {
   return Forms::readConfig(
      json, maxDepth, "configuration of peerd", [&]( const ConfigValue& root ) {
         root.members( {
            { "localAs", [&]( const ConfigValue& v ) { config.localAs = asNumberOf( v ); }, true },
            { "routerId", [&]( const ConfigValue& v ) { config.routerId = identifierOf( v ); },
              true },
            { "clusterId", [&]( const ConfigValue& v ) { config.clusterId = identifierOf( v ); } },
            { "vrfs", [&]( const ConfigValue& v ) { config.vrfs = vrfTableOf( v ); } },
            { "listen",
              [&]( const ConfigValue& v ) {
                 v.elements( [&]( const ConfigValue& element ) {
                    config.listen.push_back( socketAddressOf( element ) );
                 } );
              } },
            { "peers", [&]( const ConfigValue& v ) { readPeers( v, folder, config ); }, true },
         } );
      } );
}

std::optional< PeerdConfig > readPeerdFile( const Vek::String& file ) {
   PeerdConfig config;
   const auto faults = readPeerdConfig(
      Forms::readTextFile( file ), std::filesystem::path( file ).parent_path().string(), config );
   if ( faults.empty() ) {
      return config;
   }
   std::size_t told = 0;
   for ( const Forms::ConfigFault& fault : faults ) {
      if ( told == maxFaults ) {
         Forms::reportFile( file, Vek::concat( faults.size() - told, " more errors" ) );
         break;
      }
      ++told;
      Forms::reportLine( file, fault.line, fault.reason );
   }
   return std::nullopt;
}

} // namespace Peerd
