#include "tests/agents/peerd/RunningPeerd.h"

#include <gmock/gmock.h>

namespace {

using namespace TestSupport;

Vek::String ruleLine( std::string_view prefix, std::string_view action ) {
   return Vek::concat( R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":")", prefix,
                       R"(","srcPrefix":null,"interfaceSet":[],"terms":[],"action":)", action,
                       "}\n" );
}

// configd and a peerd make a controller, whose rules another peerd takes and programd programs.
struct ControllerTest : testing::Test {
   ControllerTest() {
      const Folder& folder = database.folder();
      const Vek::String config = folder.file(
         "controller.json",
         Vek::concat( R"({"localAs":64500,"routerId":"127.0.0.12","peers":[{"name":"router",)"
                      R"("address":"127.0.0.21","port":)",
                      router.listens.port,
                      R"(,"localAddress":"127.0.0.12","as":64500,"families":["ipv4-flow"],)"
                      R"("connectRetryTime":1,"export":[)"
                      R"({"match":{"destinations":["203.0.113.0/24"]},"announce":false},)"
                      R"({"announce":true}]}]})" ) );
      configd = start( { CONFIGD, "--socket", database.endpoint().text(), rules() }, "configd" );
      peerd =
         start( { PEERD, "--socket", database.endpoint().text(), "--config", config }, "peerd" );
   }

   Vek::String rules( std::string_view more = "" ) const {
      return database.folder().file(
         "rules.jsonl", Vek::concat( ruleLine( "192.0.2.1/32", R"({"drop":true})" ),
                                     ruleLine( "203.0.113.1/32", R"({"drop":true})" ), more ) );
   }

   std::unique_ptr< Process > start( std::vector< Vek::String > command, const char* name ) const {
      return std::make_unique< Process >( std::move( command ),
                                          database.folder().path() + '/' + name + "-errors" );
   }

   RunningPeerd router;
   Database database;
   std::unique_ptr< Process > configd;
   std::unique_ptr< Process > peerd;
};

TEST_F( ControllerTest, WhatItsPolicyAnnouncesIsProgrammedOnTheRouter ) {
   const auto dropped = keyOf( "0;ipv4;192.0.2.1/32;*;" );
   const auto limited = keyOf( "0;ipv4;192.0.2.2/32;*;" );
   ASSERT_TRUE( router.until( [&] { return router.rule( dropped ) != nullptr; } ) )
      << peerd->errors() << router.process->errors();
   EXPECT_TRUE(
      router.until( [&] { return router.rule( dropped )->actionFieldSet().trafficDrop(); } ) );
   EXPECT_EQ( router.rules(), 1U );

   // A change is announced by itself.
   rules( ruleLine( "192.0.2.2/32", R"({"rateLimit":{"bytes":1000}})" ) );
   ASSERT_TRUE( router.until( [&] { return router.rule( limited ) != nullptr; } ) );
   EXPECT_TRUE(
      router.until( [&] { return router.rule( limited )->trafficRateLimit() == 1000.0F; } ) );

   // And programmed there.
   Process programd( { PROGRAMD, "--socket", router.database.endpoint().text(), "--config",
                       "flowspec/bgp", "examples/profile.json" },
                     router.database.folder().path() + "/programd-errors" );
   Vek::Directory directory;
   Vek::log::Mount status( router.database.endpoint(), "test", "flowspec/status", directory );
   EXPECT_TRUE( until( { &status },
                       [&] {
                          const auto root = directory.entity( "flowspec/status" );
                          const auto vrf =
                             root
                                ? static_cast< const Flowspec::Status& >( *root ).vrfRuleStatus( 0 )
                                : nullptr;
                          return vrf && vrf->ruleStatus().size() == 2;
                       } ) )
      << programd.errors();

   rules();
   EXPECT_TRUE( router.until( [&] { return router.rules() == 1; } ) );
   configd.reset();
   peerd->signal( SIGTERM );
   EXPECT_EQ( peerd->wait(), 0 );
   EXPECT_TRUE( router.until( [&] { return router.rules() == 0; } ) );
}

} // namespace
