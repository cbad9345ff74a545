#include "forms/dialects/Dialect.h"

#include "forms/dialects/Bird.h"
#include "forms/dialects/Cursor.h"
#include "forms/dialects/ExaBgp.h"
#include "forms/dialects/GoBgp.h"
#include "forms/dialects/NlriLine.h"
#include "forms/dialects/RuleJson.h"

#include <algorithm>

namespace Forms {

namespace {

constexpr Dialect rows[] = {
   { "bird", "BIRD: flow4 { ... } { ... }", true, true, true, false, readBird, appendBird },
   { "exabgp", "ExaBGP: announce flow route { ... }", true, true, true, false, readExaBgp,
     appendExaBgp },
   { "exabgp-json", "ExaBGP: the JSON message of an update", true, true, true, false,
     readExaBgpJson, appendExaBgpJson },
   { "gobgp", "GoBGP: gobgp global rib add ...", true, true, false, false, readGoBgp, appendGoBgp },
   { "gobgp-json", "GoBGP: a path of gobgp global rib -j", true, true, true, false, readGoBgpJson,
     appendGoBgpJson },
   { "nlri", "hexadecimal digits of an NLRI, and of communities", false, true, false, false,
     readNlriLine, appendNlriLine },
   { "nlri-vpn", "the same with a route distinguisher", false, true, false, false, readNlriVpnLine,
     appendNlriVpnLine },
   { "json", "the project's own JSON, as configd reads it", true, true, false, true, readRuleJson,
     appendRuleJson },
};

} // namespace

std::span< const Dialect > dialects() { return rows; }

const Dialect* dialectOf( std::string_view name ) {
   const auto* const row = std::ranges::find( rows, name, &Dialect::name );
   return row == std::end( rows ) ? nullptr : row;
}

std::optional< Fault > readRule( const Dialect& dialect, std::string_view text,
                                 const Context& context, Rule& rule,
                                 std::vector< Fault >& remarks ) {
   rule = {};
   Cursor cursor( text );
   try {
      cursor.skipBlanks();
      dialect.read( cursor, context, rule, remarks );
      cursor.skipBlanks();
      cursor.expectEnd();
   } catch ( Fault& fault ) {
      rule = {};
      return std::move( fault );
   }
   return std::nullopt;
}

std::optional< Vek::String > writeRule( const Dialect& dialect, const Rule& rule,
                                        const Context& context, Vek::String& out ) {
   if ( rule.expires && !dialect.tellsExpiry && !context.matchOnly ) {
      return Vek::concat( dialect.name, " has no word for a rule that expires" );
   }
   const std::size_t size = out.size();
   try {
      dialect.append( rule, context, out );
   } catch ( Inexpressible& why ) {
      out.resize( size );
      return std::move( why.reason );
   }
   return std::nullopt;
}

} // namespace Forms
