#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/support/Dump.h"

#include <algorithm>
#include <regex>

namespace TestSupport {

/// What a reader has of the roots that the daemons and an operator write.
class StateReader {
public:
   explicit StateReader( const Vek::log::Endpoint& endpoint )
      : config_( endpoint, "test", "flowspec/config", directory_ ),
        cliConfig_( endpoint, "test", "flowspec/cliconfig", directory_ ),
        status_( endpoint, "test", "flowspec/status", directory_ ),
        counter_( endpoint, "test", "flowspec/counter", directory_ ) {
      // There from the start, so that they can be watched.
      directory_.create( "Flowspec::Config", config_.root() );
      directory_.create( "Flowspec::CliConfig", cliConfig_.root() );
      directory_.create( "Flowspec::Status", status_.root() );
      directory_.create( "Flowspec::Counter", counter_.root() );
   }

   Flowspec::Config& config() const { return root< Flowspec::Config >( config_ ); }
   Flowspec::CliConfig& cliConfig() const { return root< Flowspec::CliConfig >( cliConfig_ ); }
   Flowspec::Status& status() const { return root< Flowspec::Status >( status_ ); }
   Flowspec::Counter& counter() const { return root< Flowspec::Counter >( counter_ ); }

   std::vector< Vek::log::Mount* > mounts() {
      return { &config_, &cliConfig_, &status_, &counter_ };
   }

   /// The dumps of configuration and status, but for the versions, which are drawn.
   Vek::String text() const {
      static const std::regex version( ", version [0-9a-f]{16}" );
      return dump( config(), 0 ) + std::regex_replace( dump( status(), 0 ), version, "" );
   }

   /// Whether it has a status for each of the rules that are configured.
   bool isComplete() const {
      const auto rules = config().vrfRuleConfig( 0 );
      const auto statuses = status().vrfRuleStatus( 0 );
      return rules && statuses && rules->rule().size() == statuses->ruleStatus().size() &&
             std::ranges::none_of( statuses->ruleStatus(), []( const auto& rule ) {
                return rule->statusCode() == Flowspec::unprocessed;
             } );
   }

private:
   template < typename Root >
   Root& root( const Vek::log::Mount& mount ) const {
      return static_cast< Root& >( *directory_.entity( mount.root() ) );
   }

   Vek::Directory directory_;
   Vek::log::Mount config_;
   Vek::log::Mount cliConfig_;
   Vek::log::Mount status_;
   Vek::log::Mount counter_;
};

/// All daemons with the profile of the example and a file of rules, an operator who has enabled
/// both families on interface 1, and a reader. configd and programd run once they are started.
class System {
public:
   enum class Operator {
      stays,    ///< writes as long as the system is there
      commands, ///< is whoever runs commands
   };

   explicit System( Vek::String rules, Operator who = Operator::stays )
      : rules_( std::move( rules ) ) {
      if ( who == Operator::stays ) {
         cliWriter_.emplace( endpoint(), "test", *cli_ );
      }
      Flowspec::InterfaceEnableConfig enabled( Zorv::IntfId( 1 ) );
      Flowspec::IpVersion families;
      families.ipv4Is( true );
      families.ipv6Is( true );
      enabled.ipVersionIs( families );
      cli_->enabledIntfIs( enabled );
   }

   /// Ends those that are not to be started again at once.
   void killConfigd() { configd_.reset(); }
   void killProgramd() { programd_.reset(); }
   void restartDatabase() {
      database_.process().kill();
      database_.start();
   }
   void startConfigd() {
      configd_.reset();
      configd_ = start( { CONFIGD, "--socket", endpoint().text(), rules_ }, "configd" );
   }
   void startProgramd( const std::vector< Vek::String >& options = {} ) {
      std::vector< Vek::String > command{ PROGRAMD, "--socket", endpoint().text() };
      command.insert( command.end(), options.begin(), options.end() );
      command.push_back( "examples/system/profile.json" );
      programd_.reset();
      programd_ = start( std::move( command ), "programd" );
   }

   Vek::log::Endpoint endpoint() const { return database_.endpoint(); }
   const Process& programd() const { return *programd_; }
   const StateReader& reader() const { return reader_; }
   Flowspec::CliConfig& cli() { return *cli_; }

   std::vector< Vek::log::Mount* > mounts() {
      std::vector< Vek::log::Mount* > all = reader_.mounts();
      if ( cliWriter_ ) {
         all.push_back( &*cliWriter_ );
      }
      return all;
   }
   bool until( const std::function< bool() >& done ) {
      return TestSupport::until( mounts(), done );
   }

private:
   std::unique_ptr< Process > start( std::vector< Vek::String > command, const char* name ) const {
      return std::make_unique< Process >( std::move( command ),
                                          database_.folder().path() + '/' + name + "-errors" );
   }

   const Vek::String rules_;
   Database database_;
   std::unique_ptr< Process > configd_;
   std::unique_ptr< Process > programd_;
   const Vek::Ptr< Flowspec::CliConfig > cli_ = Flowspec::cliConfigFactory( "flowspec/cliconfig" );
   std::optional< Vek::log::Mount > cliWriter_;
   StateReader reader_{ endpoint() };
};

} // namespace TestSupport
