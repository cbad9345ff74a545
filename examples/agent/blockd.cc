// Drops the packets to the addresses and prefixes of a file, and prints what becomes of the rules.
#include "Flowspec/config/Config.h"
#include "Flowspec/config/MatchSetBuilder.h"
#include "Flowspec/status/Status.h"
#include "Vek/mount/Mount.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <iostream>
#include <map>
#include <system_error>

namespace {

using namespace Flowspec;
using Vek::log::Endpoint;
using Vek::log::Mount;

volatile std::sig_atomic_t stopped = 0;

// Files a rule: what it matches first, what it does last, so that it never drops too much.
void fileRule( VrfRuleConfig& rules, const Zorv::IpGenPrefix& prefix ) {
   FlowspecKey key;
   key.vrfIdIs( rules.vrfId() );
   key.addressFamilyIs( prefix.family() );
   key.destPrefixIs( prefix );
   std::vector< MatchComponent > components;
   if ( const auto error = matchSetFromKey( key, components ) ) {
      throw std::runtime_error( error->message );
   }
   const Vek::Ptr< RuleConfig > rule = rules.ruleIs( key );
   matchSetReplace( *rule, components );
   ActionFieldSet actions;
   actions.trafficDropIs( true );
   rule->actionFieldSetIs( actions );
}

void fileRules( VrfRuleConfig& rules, const std::string& path ) {
   std::ifstream file( path );
   std::string line;
   for ( int number = 1; std::getline( file, line ); ++number ) {
      if ( line.empty() || line.starts_with( '#' ) ) {
         continue;
      }
      const bool isAddress = line.find( '/' ) == line.npos;
      const auto allBits = line.find( ':' ) == line.npos ? "/32" : "/128";
      const auto prefix = Zorv::IpGenPrefix::fromText( isAddress ? line + allBits : line );
      if ( !prefix ) {
         const std::string place = path + ':' + std::to_string( number );
         throw std::runtime_error( place + ": '" + line + "' is neither address nor prefix" );
      }
      fileRule( rules, *prefix );
   }
   if ( !file.eof() ) {
      throw std::system_error( errno, std::generic_category(), "cannot read " + path );
   }
}

// Prints the status of rules whenever it changes.
class StatusPrinter final : public Vek::Observer {
public:
   explicit StatusPrinter( const VrfRuleConfig& rules ) : rules_( rules ) {}
   void onChange( const Vek::Change& change ) override {
      if ( change.field.name == "vrfRuleStatus" ) {
         const auto& status = static_cast< const Status& >( change.entity );
         if ( const auto vrf = status.vrfRuleStatus( rules_.vrfId() ) ) {
            ofVrf_ = vrf->observe( *this );
         }
      } else if ( change.field.name == "ruleStatus" ) {
         const auto& key = change.keyAs< FlowspecKey >();
         const auto rule = static_cast< const VrfRuleStatus& >( change.entity ).ruleStatus( key );
         if ( rule && rules_.rule( key ) ) {
            ofRule_[key] = rule->observe( *this );
         }
      } else if ( change.field.name == "statusCode" ) {
         const auto& rule = static_cast< const RuleStatus& >( change.entity );
         std::cout << rule.key().destPrefix() << ": " << rule.statusCode() << std::endl;
      }
   }

private:
   const VrfRuleConfig& rules_;
   Vek::Observation ofVrf_;
   std::map< FlowspecKey, Vek::Observation, FlowspecKeyOrder > ofRule_;
};

void run( const std::string& path, const Endpoint& endpoint, const std::string& root ) {
   const auto config = configFactory( root );
   Mount writer( endpoint, "blockd", *config );
   std::vector< Mount* > mounts{ &writer };
   const auto rules = config->vrfRuleConfigIs( 0 );
   fileRules( *rules, path );
   Vek::Directory directory;
   const auto status = directory.create( "Flowspec::Status", "flowspec/status" );
   StatusPrinter printer( *rules );
   const Vek::Observation ofRoot = status->observe( printer );
   Mount reader( endpoint, "blockd", status->name(), directory );
   mounts.push_back( &reader );
   while ( !stopped ) {
      Mount::wait( mounts, std::chrono::seconds( 1 ) );
      for ( Mount* const mount : mounts ) {
         const std::string before = mount->error();
         mount->process();
         if ( const std::string& now = mount->error(); now != before ) {
            std::cerr << mount->root() << ": " << ( now.empty() ? "mounted" : now ) << std::endl;
         }
      }
   }
}

} // namespace

int main( int argc, char** argv ) {
   const std::string endpoint = argc > 2 ? argv[2] : "/run/flowspec/statedb.sock";
   const std::string fault =
      argc < 2 || argc > 4 ? "usage: blockd FILE [ENDPOINT [ROOT]]" : Endpoint::fault( endpoint );
   if ( !fault.empty() ) {
      std::cerr << "blockd: " << fault << std::endl;
      return 2;
   }
   std::signal( SIGTERM, []( int ) { stopped = 1; } );
   std::signal( SIGINT, []( int ) { stopped = 1; } );
   try {
      run( argv[1], Endpoint( endpoint ), argc > 3 ? argv[3] : "blockd/config" );
   } catch ( const std::exception& error ) {
      std::cerr << "blockd: " << error.what() << std::endl;
      return 1;
   }
}
