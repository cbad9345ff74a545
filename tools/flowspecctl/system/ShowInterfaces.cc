#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/state/StateRoots.h"
#include "tools/terminal/Table.h"
#include "tools/terminal/Terminal.h"

#include <map>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;
using Zorv::AddressFamily;
using Zorv::IntfId;
using VrfId = Vrf::VrfIdMap::VrfId;

/// What is known of one address family on one interface.
struct IntfRow {
   std::optional< VrfId > vrfId; ///< as the agent that programs reports; none when it does not
   Vek::String error;
};
using IntfRows = std::map< std::pair< IntfId, AddressFamily >, IntfRow >;

IntfRows reported( const Status& status ) {
   IntfRows rows;
   for ( const auto& [vrfId, vrf] : status.vrfRuleStatus() ) {
      for ( const auto& [family, active] : vrf->activeIntfPerAf() ) {
         for ( const IntfId intf : active->intf() ) {
            rows[{ intf, family }].vrfId = vrfId;
         }
      }
      for ( const auto& [key, error] : vrf->intfError() ) {
         rows[{ key.intfId(), key.addressFamily() }] = { vrfId, printable( error ) };
      }
   }
   return rows;
}

// What operators enabled and nobody reports of.
void addEnabled( const CliConfig& cli, IntfRows& rows ) {
   for ( const auto& [intf, config] : cli.enabledIntf() ) {
      if ( config.ipVersion().ipv4() ) {
         rows.try_emplace( { intf, AddressFamily::ipv4 } );
      }
      if ( config.ipVersion().ipv6() ) {
         rows.try_emplace( { intf, AddressFamily::ipv6 } );
      }
   }
}

std::vector< U16 > setsOf( const CliConfig* cli, IntfId intf ) {
   std::vector< U16 > sets;
   if ( cli ) {
      const FlowspecIntfInterfaceSetConfig config = cli->intfInterfaceSetConfig( intf );
      for ( const FlowspecIntfSetId id : config.interfaceSet() ) {
         if ( id.intfSetId() ) {
            sets.push_back( *id.intfSetId() );
         }
      }
   }
   return sets;
}

template < typename List, typename Text >
Vek::String joined( const List& list, Text text ) {
   Vek::String all;
   for ( const auto& element : list ) {
      all += Vek::concat( std::string_view( all.empty() ? "" : "," ), text( element ) );
   }
   return all;
}

Vek::String numbers( const std::vector< U16 >& list ) {
   return joined( list, []( U16 number ) { return number; } );
}

std::vector< IntfId > membersOf( const InterfaceSet& set ) {
   std::vector< IntfId > members;
   for ( const IntfId* const intf : set.intf().sorted() ) {
      members.push_back( *intf );
   }
   return members;
}

Json namesOf( const std::vector< IntfId >& intfs ) {
   Json names = Json::array();
   for ( const IntfId intf : intfs ) {
      names.push_back( intf.stringValue() );
   }
   return names;
}

bool admits( const RuleFilter& filter, AddressFamily family, const IntfRow& row ) {
   return ( !filter.vrfId || filter.vrfId == row.vrfId ) &&
          ( !filter.family || filter.family == family );
}

void interfacesJson( const IntfRows& rows, const CliConfig* cli, const Status& status,
                     Vek::String& out ) {
   for ( const auto& [key, row] : rows ) {
      const auto& [intf, family] = key;
      out += Json{ { "intf", intf.stringValue() },
                   { "addressFamily", stringValue( family ) },
                   { "vrfId", row.vrfId ? Json( *row.vrfId ) : Json() },
                   { "active", row.vrfId && row.error.empty() },
                   { "error", row.error },
                   { "interfaceSet", setsOf( cli, intf ) } }
                .dump() +
             '\n';
   }
   for ( const auto* const set : status.interfaceSet().sorted() ) {
      out +=
         Json{ { "interfaceSet", set->first }, { "intf", namesOf( membersOf( *set->second ) ) } }
            .dump() +
         '\n';
   }
}

void interfacesTable( const IntfRows& rows, const CliConfig* cli, const Status& status,
                      Vek::String& out ) {
   const Table table( lineWidth(), { { "interface", 12 },
                                     { "family", 6 },
                                     { "VRF", 8, true },
                                     { "rules are", 0 },
                                     { "interface sets", 20 } } );
   table.appendHeading( out );
   for ( const auto& [key, row] : rows ) {
      const auto& [intf, family] = key;
      const Vek::String applied = !row.vrfId          ? "not reported"
                                  : row.error.empty() ? "applied"
                                                      : "not applied: " + row.error;
      table.appendRow( out, { { intf.stringValue(), stringValue( family ),
                                row.vrfId ? Vek::concat( *row.vrfId ) : "-", applied,
                                numbers( setsOf( cli, intf ) ) } } );
   }
   if ( status.interfaceSet().size() > 0 ) {
      out += '\n';
      const Table sets( lineWidth(), { { "set in use", 12 }, { "interfaces", 0 } } );
      sets.appendHeading( out );
      for ( const auto* const set : status.interfaceSet().sorted() ) {
         sets.appendRow( out, { { Vek::concat( set->first ),
                                  joined( membersOf( *set->second ),
                                          []( IntfId intf ) { return intf.stringValue(); } ) } } );
      }
   }
}

std::vector< Vek::String > namesOf( ActionFieldSet actions ) {
   std::vector< Vek::String > names;
   for ( std::size_t i = 0; i < std::size( ActionFieldSet::flagNames ); ++i ) {
      if ( actions.value() >> i & 1 ) {
         names.emplace_back( ActionFieldSet::flagNames[i] );
      }
   }
   return names;
}

static_assert( Vek::listsRows< UnsupportedQual, 4 > );

void unsupportedJson( bool supported, std::span< const UnsupportedQual > shown, Vek::String& out ) {
   Json families = Json::array();
   for ( const UnsupportedQual& unsupported : shown ) {
      Json qualifiers = Json::object();
      for ( const auto& [type, reason] : unsupported.qual() ) {
         qualifiers[stringValue( type )] = printable( reason );
      }
      families.push_back( { { "addressFamily", stringValue( unsupported.addressFamily() ) },
                            { "qualifiers", qualifiers },
                            { "actions", namesOf( unsupported.unsupportedActions() ) } } );
   }
   out += Json{ { "flowspecSupported", supported }, { "unsupported", families } }.dump() + '\n';
}

void unsupportedTable( bool supported, std::span< const UnsupportedQual > shown,
                       Vek::String& out ) {
   if ( !supported ) {
      out += "Flow specification is not supported at all.\n\n";
   }
   const Table table( lineWidth(), { { "family", 6 }, { "what", 23 }, { "why", 0 } } );
   table.appendHeading( out );
   for ( const UnsupportedQual& unsupported : shown ) {
      const Vek::String family = stringValue( unsupported.addressFamily() );
      for ( const auto& [type, reason] : unsupported.qual() ) {
         table.appendRow( out,
                          { { family, "match " + stringValue( type ), printable( reason ) } } );
      }
      for ( const Vek::String& action : namesOf( unsupported.unsupportedActions() ) ) {
         table.appendRow( out, { { family, "action " + action, "" } } );
      }
   }
}

void showInterfaces( const ListOptions& options, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( options.system.endpoint ) };
   roots.read( options.system.status );
   roots.read( options.system.cliConfig );
   roots.settle();
   const auto status = roots.get< Status >( options.system.status );
   // Nobody may have configured anything yet.
   const auto cli = roots.find< CliConfig >( options.system.cliConfig );
   IntfRows rows = reported( *status );
   if ( cli ) {
      addEnabled( *cli, rows );
   }
   std::erase_if( rows, [&]( const auto& row ) {
      return !admits( options.filter, row.first.second, row.second );
   } );
   const auto write = options.json ? interfacesJson : interfacesTable;
   write( rows, cli.get(), *status, output.text() );
   output.flush();
}

void showUnsupported( const ListOptions& options, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( options.system.endpoint ) };
   roots.read( options.system.status );
   roots.settle();
   const auto status = roots.get< Status >( options.system.status );
   std::vector< UnsupportedQual > shown;
   for ( const auto* const member : status->unsupportedQual().sorted() ) {
      if ( !options.filter.family || options.filter.family == member->first ) {
         shown.push_back( member->second );
      }
   }
   if ( options.json ) {
      unsupportedJson( status->flowspecSupported(), shown, output.text() );
   } else {
      unsupportedTable( status->flowspecSupported(), shown, output.text() );
   }
   output.flush();
}

} // namespace

Run addShowInterfaces( CLI::App& command ) {
   const auto options = std::make_shared< ListOptions >();
   addListing( command, *options, { statusRoot, cliConfigRoot } );
   return [options]( Output& output ) {
      showInterfaces( *options, output );
      return true;
   };
}

Run addShowUnsupported( CLI::App& command ) {
   const auto options = std::make_shared< ListOptions >();
   addListing( command, *options, { statusRoot } );
   return [options]( Output& output ) {
      showUnsupported( *options, output );
      return true;
   };
}

} // namespace Tools
