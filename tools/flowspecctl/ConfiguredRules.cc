#include "tools/flowspecctl/ConfiguredRules.h"

#include "forms/Diagnostics.h"
#include "forms/Printable.h"
#include "peers/PeerTable.h"
#include "wire/Precedence.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

void addFile( const Vek::String& name, const Forms::RuleDefaults& defaults, bool& good,
              std::vector< ConfiguredRule >& rules ) {
   const RuleFile file = readRuleFile( name, defaults );
   for ( const RuleError& error : file.errors ) {
      good = false;
      if ( error.line == 0 ) {
         reportFile( name, printable( error.reason ) );
      } else {
         reportLine( name, error.line, printable( error.reason ), error.column );
      }
   }
   for ( const FiledRule& rule : file.rules ) {
      FlowspecKey key = rule.key;
      if ( !settleFamily( key ) ) {
         good = false;
         reportLine( name, rule.line, noFamily );
         continue;
      }
      rules.push_back( { key, rule.action,
                         Vek::concat( std::string_view( printable( name ) ), ':', rule.line ) } );
   }
}

void addSystemRules( const RuleSource& source, ConfiguredRules& configured ) {
   StateRoots roots{ Vek::log::Endpoint( source.system.endpoint ) };
   for ( const Vek::String& root : source.roots ) {
      roots.read( root );
   }
   roots.read( source.system.peers );
   roots.settle();
   bool found = false;
   for ( const Vek::String& root : source.roots ) {
      const auto config = roots.find< Config >( root );
      if ( !config ) {
         continue;
      }
      found = true;
      for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
         for ( const auto& rule : vrf->rule() ) {
            configured.rules.push_back( { rule->ruleKey(), actionOf( *rule ), printable( root ) } );
         }
      }
   }
   if ( !found ) {
      roots.get< Config >( source.roots.front() );
   }
   if ( const auto table = roots.find< Peers::PeerTable >( source.system.peers ) ) {
      for ( const auto& [name, peer] : table->peer() ) {
         configured.peers.push_back( peer->address() );
      }
   }
}

} // namespace

bool settleFamily( FlowspecKey& key ) {
   const Zorv::IpGenPrefix& prefix = key.destPrefix().empty() ? key.srcPrefix() : key.destPrefix();
   if ( key.addressFamily() == Zorv::AddressFamily::none && !prefix.empty() ) {
      key.addressFamilyIs( prefix.family() );
   }
   return key.addressFamily() != Zorv::AddressFamily::none;
}

void addRuleSource( CLI::App& command, RuleSource& source ) {
   command.add_option( "--rules", source.files, "Files of rules, in place of the running system" )
      ->type_name( "FILE" )
      ->expected( 1 )
      ->take_all()
      ->allow_extra_args( false );
   addSystem( command, source.system, { peersRoot } );
   command
      .add_option( configRoot.option, source.roots,
                   "Name of a root that holds rules; may be given several times" )
      ->type_name( "NAME" )
      ->capture_default_str()
      ->expected( 1 )
      ->take_all()
      ->allow_extra_args( false );
}

ConfiguredRules configuredRules( const RuleSource& source, const Forms::RuleDefaults& defaults,
                                 bool& good ) {
   ConfiguredRules configured;
   if ( source.alone ) {
      return configured;
   }
   for ( const Vek::String& file : source.files ) {
      addFile( file, defaults, good, configured.rules );
   }
   if ( source.files.empty() ) {
      addSystemRules( source, configured );
   }
   std::ranges::stable_sort( configured.rules, []( const auto& a, const auto& b ) {
      return Wire::precedes( a.key, b.key );
   } );
   return configured;
}

} // namespace Tools
