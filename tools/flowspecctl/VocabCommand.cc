#include "Flowspec/vocab/FlowspecUtil.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/terminal/Table.h"

#include <algorithm>
#include <array>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;

namespace {

using Json = nlohmann::ordered_json;

Json components() {
   Json rows = Json::array();
   for ( const ComponentType& row : componentTypes ) {
      const bool isNumber = row.kind == ComponentKind::number;
      rows.push_back( {
         { "number", static_cast< U8 >( row.type ) },
         { "name", row.name },
         { "label", row.label },
         { "detailLabel", row.detailLabel },
         { "operator", row.hasTerms() ? Json( isNumber ? "numeric" : "bitmask" ) : Json() },
         { "maximum", isNumber ? Json( row.maximum() ) : Json() },
      } );
   }
   return rows;
}

Json dscpNames() {
   Json rows = Json::array();
   for ( const DscpName& row : FlowspecUtil::dscpNames() ) {
      rows.push_back( { { "value", row.value }, { "name", row.name } } );
   }
   return rows;
}

Vek::String cellText( const Json& value ) {
   const Vek::String text = value.is_null()     ? ""
                            : value.is_string() ? value.get< Vek::String >()
                                                : value.dump();
   return text.empty() ? "-" : text;
}

// A column for each member of the rows, as wide as its widest text.
void appendTable( Vek::String& out, const Json& rows ) {
   std::vector< Table::Column > columns;
   std::vector< std::vector< Vek::String > > table( rows.size() );
   for ( const auto& item : rows.front().items() ) {
      std::size_t width = item.key().size();
      for ( std::size_t i = 0; i < rows.size(); ++i ) {
         width = std::max( width, table[i].emplace_back( cellText( rows[i][item.key()] ) ).size() );
      }
      columns.push_back( { item.key(), width } );
   }
   const Table layout( std::move( columns ) );
   layout.appendHeading( out );
   for ( const auto& cells : table ) {
      layout.appendRow( out, cells );
   }
}

void showVocabulary( bool json, Output& output ) {
   const Json components = Tools::components();
   const Json dscp = dscpNames();
   Vek::String& out = output.text();
   if ( json ) {
      out += Json{ { "components", components }, { "dscp", dscp } }.dump( 2 );
      out += '\n';
   } else {
      appendTable( out, components );
      out += '\n';
      appendTable( out, dscp );
   }
}

} // namespace

Run addVocab( CLI::App& command ) {
   const auto json = std::make_shared< bool >( false );
   command.add_flag( "--json", *json, "As one JSON object" );
   return [json]( Output& output ) {
      showVocabulary( *json, output );
      return true;
   };
}

} // namespace Tools
