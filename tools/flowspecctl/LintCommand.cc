#include "dataplane/PacketText.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/NftablesView.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleExplainer.h"
#include "tools/flowspecctl/RuleLint.h"

#include <set>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;

struct LintOptions {
   bool json = false;
   RuleDefaults defaults;
   LintBackend backend;
   std::vector< GuardedPackets > guarded;
   std::set< FindingKind > ignored;
   std::vector< Vek::String > files;
};

void appendText( Vek::String& out, const Finding& finding ) {
   const FindingRow& row = findingRow( finding.kind );
   out += printable( finding.file );
   for ( const U64 number : { finding.line, finding.column } ) {
      out += number == 0 ? Vek::String() : Vek::concat( ':', number );
   }
   out +=
      Vek::concat( ": ", row.level, ": ", std::string_view( finding.text ), " [", row.name, "]\n" );
}

void appendJson( Vek::String& out, const Finding& finding ) {
   const FindingRow& row = findingRow( finding.kind );
   Json json{ { "file", printable( finding.file ) },
              { "line", finding.line },
              { "level", row.level },
              { "kind", row.name },
              { "text", finding.text } };
   if ( finding.column != 0 ) {
      json["column"] = finding.column;
   }
   if ( finding.other ) {
      json["other"] = { { "file", printable( finding.other->first ) },
                        { "line", finding.other->second } };
   }
   if ( finding.packet ) {
      json["packet"] = Dataplane::packetText( *finding.packet );
   }
   out += json.dump();
   out += '\n';
}

bool lint( const LintOptions& options, Output& output ) {
   LintBackend backend = options.backend;
   if ( !backend.file.empty() ) {
      backend.profile = readProfile( backend.file );
      if ( !backend.profile ) {
         return false;
      }
   } else if ( backend.nftables ) {
      backend.profile = nftablesProfile();
   }
   Forms::RuleDefaults defaults;
   defaults.vrfId = options.defaults.vrfId.value_or( 0 );
   defaults.family = options.defaults.family;
   RuleLint lint( backend, options.guarded );
   for ( const Vek::String& file : options.files ) {
      lint.add( readRuleFile( file, defaults ) );
   }
   bool good = true;
   for ( const Finding& finding : lint.findings() ) {
      if ( options.ignored.contains( finding.kind ) ) {
         continue;
      }
      good = good && findingRow( finding.kind ).level == "note";
      options.json ? appendJson( output.text(), finding ) : appendText( output.text(), finding );
      output.flushIfLarge();
   }
   output.flush();
   return good;
}

Vek::String kindNames() {
   Vek::String names;
   for ( const FindingRow& row : findingKinds ) {
      names += Vek::concat( std::string_view( names.empty() ? "" : ", " ), row.name );
   }
   return names;
}

} // namespace

Run addLint( CLI::App& command ) {
   const auto options = std::make_shared< LintOptions >();
   command.add_flag( "--json", options->json, "Write an object for each finding" );
   addVrf( command, "VRF of rules whose form has none, 0 when not given", options->defaults.vrfId );
   addFamily( command, options->defaults );
   addProfile( command, options->backend.file );
   addBackend( command, options->backend.nftables );
   addGuarded( command, options->guarded );
   addOption( command, "--ignore", "KIND",
              "Leave out findings of a kind: " + kindNames() + "; may be given several times",
              findingKind, "a kind of findings",
              [&ignored = options->ignored]( FindingKind kind ) { ignored.insert( kind ); } )
      ->take_all()
      ->trigger_on_parse();
   command.add_option( "FILE", options->files, "Files of rules, as configd reads them" )
      ->required()
      ->type_name( "" );
   command.footer( "Exit status: 0 when nothing but notes was found, 1 for warnings and errors, 2 "
                   "for wrong usage." );
   return [options]( Output& output ) { return lint( *options, output ); };
}

} // namespace Tools
