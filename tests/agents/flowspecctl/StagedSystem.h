#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gmock/gmock.h>

namespace TestSupport {

/// A state database, and the agents of a system as far as they have something to say.
class StagedSystem : public testing::Test {
protected:
   StagedSystem() { EXPECT_TRUE( tellAll() ); }

   static Flowspec::FlowspecKey key( const char* valueText ) {
      Flowspec::FlowspecKey key;
      EXPECT_FALSE( Flowspec::readStringValue( valueText, key ) ) << valueText;
      return key;
   }

   /// Lets the agents tell the database all.
   bool tellAll() {
      return until( { &configWriter, &statusWriter, &counterWriter }, [&] {
         return configWriter.allSent() && statusWriter.allSent() && counterWriter.allSent();
      } );
   }

   /// Runs flowspecctl on the system as the agents have it.
   Result ctl( std::vector< Vek::String > arguments ) {
      EXPECT_TRUE( tellAll() );
      return ctlAsItIs( std::move( arguments ) );
   }
   Result ctlAsItIs( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.end(), { "--socket", database.endpoint().text() } );
      return flowspecctl( std::move( arguments ) );
   }

   Database database;
   Vek::Ptr< Flowspec::Config > config = Flowspec::configFactory( "flowspec/config" );
   Vek::Ptr< Flowspec::Status > status = Flowspec::statusFactory( "flowspec/status" );
   Vek::Ptr< Flowspec::Counter > counter = Flowspec::counterFactory( "flowspec/counter" );
   Vek::log::Mount configWriter{ database.endpoint(), "configd", *config };
   Vek::log::Mount statusWriter{ database.endpoint(), "programd", *status };
   Vek::log::Mount counterWriter{ database.endpoint(), "programd", *counter };
};

} // namespace TestSupport
