#pragma once

#include "Flowspec/key/FlowspecKeyReader.h"
#include "forms/ActionJson.h"
#include "tests/forms/dialects/RuleData.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace TestSupport {

/// One dialect, asked for texts that a test can state.
class OneDialect {
public:
   explicit OneDialect( std::string_view name ) : dialect_( *Forms::dialectOf( name ) ) {}

   /// What a text says: family, distinguisher, match, interface sets, action and remarks, such as
   /// "ipv4 10.0.0.0/8;*;DP:=80; -> drop"; or what is wrong with it, "1:7: expected a prefix".
   std::string read( std::string_view text,
                     Zorv::AddressFamily family = Zorv::AddressFamily::none ) const {
      Forms::Rule rule;
      std::vector< Forms::Fault > remarks;
      if ( const auto fault = readRule( dialect_, text, ruleContext( family ), rule, remarks ) ) {
         return Vek::concat( fault->line, ':', fault->column, ": ", fault->reason );
      }
      std::string said = stringValue( rule.key.addressFamily() ) + ' ';
      said += rule.rd ? rule.rd->stringValue() + ' ' : "";
      said += rule.key.toStrepCli( false );
      for ( const U16 id : rule.key.interfaceSet() ) {
         said += Vek::concat( " if ", id );
      }
      said += " -> " + Forms::actionText( rule.action );
      if ( !rule.kept.empty() || !rule.keptIpv6.empty() ) {
         said += Vek::concat( ", ", rule.kept.size() + rule.keptIpv6.size(), " kept" );
      }
      for ( const Forms::Fault& remark : remarks ) {
         said += Vek::concat( ", ", remark.line, ':', remark.column, ": ", remark.reason );
      }
      return said;
   }

   /// The text of a rule, or why there is none.
   std::string write( const Forms::Rule& rule ) const {
      Vek::String text;
      const auto reason = writeRule( dialect_, rule, ruleContext(), text );
      return reason ? "refused: " + *reason : text;
   }

   /// The text of a rule that permits, its match given in the command-line form.
   std::string write( std::string_view cli,
                      Zorv::AddressFamily family = Zorv::AddressFamily::ipv4 ) const {
      return write( rule( cli, family ) );
   }
   static Forms::Rule rule( std::string_view cli,
                            Zorv::AddressFamily family = Zorv::AddressFamily::ipv4 ) {
      Forms::Rule made;
      made.key.addressFamilyIs( family );
      EXPECT_FALSE( Flowspec::readStrCli( cli, false, made.key ) ) << cli;
      return made;
   }

   /// The text of a rule for 10.0.0.0/8 with the action that a JSON object says.
   std::string writeAction( std::string_view json, std::string_view cli = "10.0.0.0/8;*;",
                            Zorv::AddressFamily family = Zorv::AddressFamily::ipv4 ) const {
      Forms::Rule made = rule( cli, family );
      EXPECT_FALSE( Forms::readAction( nlohmann::json::parse( json ), made.action ) ) << json;
      return write( made );
   }

private:
   const Forms::Dialect& dialect_;
};

} // namespace TestSupport
