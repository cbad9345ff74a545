#pragma once

#include "Vek/text/Text.h"
#include "agents/peerd/rib/RuleSink.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace TestSupport {

/// The actions that the tests ask for, in words.
inline std::string textOf( const Flowspec::RuleAction& action ) {
   if ( action.fields.trafficDrop() ) {
      return "drop";
   }
   if ( action.fields.trafficRate() ) {
      return Vek::concat( "rate ", static_cast< U64 >( action.rateLimit ) );
   }
   if ( action.fields.trafficRedirect() ) {
      return action.redirect.type() == Flowspec::TrafficRedirectType::vrf
                ? Vek::concat( "to VRF ", action.redirect.vrfId() )
                : Vek::concat( "to ", action.redirect.addr() );
   }
   return "permit";
}

/// Holds what is filed, and checks that changes are told as they are to be.
class FiledRules : public Peerd::RuleSink {
public:
   void begin() override {
      EXPECT_FALSE( inTransaction_ );
      inTransaction_ = true;
      filing_ = false;
      log_ += "( ";
   }
   void withdraw( const Flowspec::FlowspecKey& key ) override {
      EXPECT_TRUE( inTransaction_ );
      EXPECT_FALSE( filing_ ) << "what goes is told before what comes";
      EXPECT_EQ( rules_.erase( key.stringValue() ), 1U ) << key.stringValue();
      log_ += "-" + key.stringValue() + ' ';
   }
   void file( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action,
              Peerd::PeerId from ) override {
      EXPECT_TRUE( inTransaction_ );
      filing_ = true;
      const std::string text = Vek::concat( textOf( action ), " of ", from );
      rules_[key.stringValue()] = text;
      log_ += "+" + key.stringValue() + " " + text + ' ';
   }
   void commit() override {
      EXPECT_TRUE( inTransaction_ );
      inTransaction_ = false;
      log_ += ")";
   }

   /// Keys as their value text, with "ACTION of PEER".
   const std::map< std::string, std::string >& rules() const { return rules_; }

   /// What was told since the last call: "( -KEY +KEY ACTION of PEER )".
   std::string log() { return std::exchange( log_, {} ); }

private:
   std::map< std::string, std::string > rules_;
   std::string log_;
   bool inTransaction_ = false;
   bool filing_ = false;
};

} // namespace TestSupport
