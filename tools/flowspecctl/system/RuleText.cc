#include "tools/flowspecctl/system/RuleText.h"

#include "Vek/text/Text.h"
#include "forms/KeyJson.h"
#include "forms/Printable.h"
#include "tools/terminal/Terminal.h"

#include <algorithm>
#include <ctime>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

Table ruleTable( std::vector< Table::Column > others ) {
   std::vector< Table::Column > columns{ { "VRF", 8, true }, { "family", 6 }, { "rule", 0 } };
   columns.insert( columns.end(), others.begin(), others.end() );
   return { lineWidth(), std::move( columns ) };
}

std::vector< Vek::String > ruleCells( const FlowspecKey& key ) {
   Vek::String rule;
   std::string_view separator = interfaceSetAnchor;
   for ( const U16 id : key.interfaceSet() ) {
      rule += Vek::concat( std::exchange( separator, "," ), id );
   }
   rule += rule.empty() ? "" : ";";
   key.appendStrepCli( rule, false );
   return { Vek::concat( key.vrfId() ), stringValue( key.addressFamily() ), std::move( rule ) };
}

void beginRuleJson( Vek::String& out, const FlowspecKey& key ) {
   out += R"({"key":)";
   if ( unwritableJson( key ) ) {
      out += "null";
   } else {
      appendKeyJson( out, key );
   }
   out += R"(,"cli":")";
   key.appendStrepCli( out, false );
   out += '"';
}

Vek::String statusText( const RuleStatus& status ) {
   Vek::String text = stringValue( status.statusCode() );
   if ( !status.errorReason().empty() ) {
      text += Vek::concat( ": ", std::string_view( printable( status.errorReason() ) ) );
   }
   return text;
}

Vek::String timeText( double seconds ) {
   if ( !( seconds > 0 ) ) { // nor for what is no number
      return "never";
   }
   const auto whole = static_cast< std::time_t >( std::min( seconds, 0x1p40 ) );
   std::tm time{};
   ::gmtime_r( &whole, &time );
   char text[40];
   return { text, std::strftime( text, sizeof text, "%F %T UTC", &time ) };
}

} // namespace Tools
