#include "agents/configd/Filing.h"
#include "forms/ActionJson.h"
#include "forms/KeyJson.h"
#include "fuzz/Check.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace {

using namespace Flowspec;
using namespace Forms;
using namespace Agents;

// The lines of the input, of which the first byte chooses the form.
RuleFile readLines( std::string_view text ) {
   static constexpr const char* endings[] = { ".json",   ".cli",   ".cli-len",     ".rd",
                                              ".value",  ".diag",  ".bird",        ".nlri",
                                              ".exabgp", ".gobgp", ".exabgp-json", ".gobgp-json" };
   const std::size_t form = text.empty() ? 0 : static_cast< U8 >( text[0] ) % std::size( endings );
   text.remove_prefix( !text.empty() );
   RuleReader reader( "fuzz", *ruleForm( endings[form] ),
                      { .vrfId = 7, .family = Zorv::AddressFamily::ipv4 } );
   for ( U64 number = 1; !text.empty(); ++number ) {
      const std::string_view line = text.substr( 0, text.find( '\n' ) );
      reader.line( number, line );
      text.remove_prefix( std::min( text.size(), line.size() + 1 ) );
   }
   return reader.take();
}

// A rule written as JSON is the same rule.
void checkText( const FiledRule& rule ) {
   if ( Forms::unwritableJson( rule.key ) ) {
      return;
   }
   Vek::String text;
   Forms::appendKeyJson( text, rule.key );
   auto line = nlohmann::json::parse( text );
   line["action"] = Forms::actionJson( rule.action );
   line["ruleId"] = rule.ruleId;
   RuleReader reader( "again", *ruleForm( ".json" ), {} );
   reader.line( rule.line, line.dump() );
   const RuleFile again = reader.take();
   Fuzz::require( again.errors.empty() && again.rules.size() == 1 && again.rules[0] == rule,
                  "a rule reads back" );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const RuleFile files[] = { readLines( Fuzz::text( data, size ) ) };
   for ( const RuleError& error : files[0].errors ) {
      Fuzz::require( error.line != 0 && !error.reason.empty(), "an error has a line and words" );
   }
   for ( const FiledRule& rule : files[0].rules ) {
      Fuzz::require( rule.key.vrfId() != Vrf::VrfIdMap::invalid() &&
                        rule.key.addressFamily() != Zorv::AddressFamily::none,
                     "a rule has a VRF and a family" );
      checkText( rule );
   }
   const auto config = configFactory( "fuzz" );
   Filing filing( config );
   const Filed filed = filing.apply( files );
   Fuzz::require( filed.feasible + filed.infeasible + filed.errors.size() == files[0].rules.size(),
                  "every rule is filed or an error" );
   Fuzz::require( filed.added == filed.feasible + filed.infeasible && filed.removed == 0,
                  "all rules are new" );
   const Filed again = filing.apply( files );
   Fuzz::require( again.added == 0 && again.removed == 0, "nothing is new the second time" );
   const Filed none = filing.apply( {} );
   Fuzz::require( none.removed == filed.added && config->vrfRuleConfig().empty(),
                  "all rules go again" );
   return 0;
}
