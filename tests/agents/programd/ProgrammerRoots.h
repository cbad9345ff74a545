#pragma once

#include "agents/programd/Programmer.h"
#include "agents/programd/SoftwareTcam.h"
#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"

namespace TestSupport {

/// The roots, and what programs them; restarted with hardware that is empty.
class ProgrammerRoots : public testing::Test {
protected:
   struct Agent {
      Agent( const ProgrammerRoots& test, const Dataplane::Profile& profile )
         : tcam( profile ),
           programmer( { test.config_, test.bgp_ }, test.cli_, tcam, test.status_, test.counter_ ) {
      }

      Agents::SoftwareTcam tcam;
      Agents::Programmer programmer;
   };

   void restart( const Dataplane::Profile& profile = testProfile() ) {
      agent_ = std::make_unique< Agent >( *this, profile );
   }
   void process( double now = 0 ) {
      agent_->programmer.process( now );
      EXPECT_FALSE( agent_->programmer.changed() );
   }
   Vek::Ptr< Flowspec::RuleConfig > add( const Flowspec::FlowspecKey& key,
                                         std::string_view actions = "" ) {
      auto rule = config_->vrfRuleConfigIs( key.vrfId() )->ruleIs( key );
      fill( *rule, actions );
      return rule;
   }
   Vek::Ptr< Flowspec::RuleStatus > statusOf( const Flowspec::FlowspecKey& key ) const {
      const auto vrf = status_->vrfRuleStatus( key.vrfId() );
      return vrf ? vrf->ruleStatus( key ) : nullptr;
   }
   void enable( U64 intf, const char* families, const Vek::String& vrf = "" ) {
      Flowspec::IpVersion versions;
      versions.stringValueIs( families );
      cli_->enabledIntfIs( Flowspec::InterfaceEnableConfig( Zorv::IntfId( intf ), versions, vrf ) );
   }
   void setsOf( U64 intf, std::initializer_list< U16 > sets ) {
      Flowspec::FlowspecIntfInterfaceSetConfig config{ Zorv::IntfId( intf ) };
      config.interfaceSetIs( Flowspec::FlowspecIntfSetId() );
      for ( const U16 set : sets ) {
         config.interfaceSetIs( Flowspec::FlowspecIntfSetId( set ) );
      }
      cli_->intfInterfaceSetConfigIs( config );
   }
   void send( U64 intf ) {
      const auto packet = Match::parsePacket( packetBytes( {} ) ); // to 10.1.2.3
      agent_->tcam.process( Zorv::IntfId( intf ), packet.value(), 100 );
   }
   std::set< Zorv::IntfId > active( U32 vrf,
                                    Zorv::AddressFamily family = Zorv::AddressFamily::ipv4 ) const {
      const auto status = status_->vrfRuleStatus( vrf );
      const auto interfaces = status ? status->activeIntfPerAf( family ) : nullptr;
      return interfaces ? std::set( interfaces->intf().begin(), interfaces->intf().end() )
                        : std::set< Zorv::IntfId >();
   }
   Vek::String error( U32 vrf, U64 intf,
                      Zorv::AddressFamily family = Zorv::AddressFamily::ipv4 ) const {
      return status_->vrfRuleStatus( vrf )->intfError(
         Flowspec::IntfErrorKey( Zorv::IntfId( intf ), family ) );
   }

   const Vek::Ptr< Flowspec::Config > config_ = Flowspec::configFactory( "config" );
   const Vek::Ptr< Flowspec::Config > bgp_ = Flowspec::configFactory( "bgp" );
   const Vek::Ptr< Flowspec::CliConfig > cli_ = Flowspec::cliConfigFactory( "cli" );
   const Vek::Ptr< Flowspec::Status > status_ = Flowspec::statusFactory( "status" );
   const Vek::Ptr< Flowspec::Counter > counter_ = Flowspec::counterFactory( "counter" );
   std::unique_ptr< Agent > agent_ = std::make_unique< Agent >( *this, testProfile() );
};

} // namespace TestSupport
