#include "Vek/text/Text.h"
#include "forms/ActionJson.h"
#include "forms/Printable.h"
#include "peers/RuleOrigin.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/system/PeerText.h"
#include "tools/flowspecctl/system/RuleText.h"

#include <map>

namespace Tools {

using namespace Flowspec;
using Forms::printable;

namespace {

struct RouteOptions : ListOptions {
   std::optional< Vek::String > peer; ///< of any peer when there is none
};

/// Lists the rules that peers announced: those that are filed, and those that are not, with the
/// reason.
class Routes {
public:
   Routes( const RouteOptions& options, Output& output )
      : options_( options ), output_( output ),
        roots_( Vek::log::Endpoint( options.system.endpoint ) ) {
      const SystemOptions& system = options.system;
      roots_.read( system.bgp );
      roots_.read( system.peers );
      roots_.settle();
      table_ = roots_.find< Peers::PeerTable >( system.peers );
      // Peers that have announced nothing need not have a root of rules.
      config_ = table_ ? roots_.find< Config >( system.bgp ) : roots_.get< Config >( system.bgp );
      if ( options.peer && !table_ ) {
         table_ = roots_.get< Peers::PeerTable >( system.peers );
      }
      if ( options.peer ) {
         peerNamed( *table_, *options.peer );
      }
      if ( table_ ) {
         for ( const auto& [name, peer] : table_->peer() ) {
            names_.emplace( peer->number(), name );
         }
      }
   }

   void show() {
      Vek::String& out = output_.text();
      if ( !options_.json ) {
         shape_.appendHeading( out );
      }
      showFiled();
      if ( table_ && !options_.filter.vrfId ) {
         for ( const auto* const member : table_->peer().sorted() ) {
            const Peers::Peer& peer = *member->second;
            if ( !options_.peer || *options_.peer == peer.name() ) {
               showUnfiled( peer, "refused", peer.rules().refused, peer.refusedRule() );
               showUnfiled( peer, "hidden", peer.rules().hidden, peer.hiddenRule() );
            }
         }
      }
      if ( !options_.json ) {
         out += unlisted_;
      }
      output_.flush();
   }

private:
   void showFiled() {
      if ( !config_ ) {
         return;
      }
      for ( const auto* const vrf : config_->vrfRuleConfig().sorted() ) {
         for ( const auto& rule : vrf->second->rule() ) {
            const RuleAction action = actionOf( *rule );
            filed( rule->ruleKey(), rule->ruleId(), "filed", Forms::actionText( action ),
                   R"("action":)" + Forms::actionJson( action ).dump() );
         }
         for ( const auto& rule : vrf->second->infeasibleRule() ) {
            const Vek::String type = stringValue( rule->matchCompType() );
            filed( rule->ruleKey(), rule->ruleId(), "infeasible", "matches no packet: " + type,
                   Vek::concat( R"("infeasible":")", std::string_view( type ), '"' ) );
         }
      }
   }

   void filed( const FlowspecKey& key, U64 ruleId, std::string_view state, const Vek::String& text,
               const Vek::String& members ) {
      const auto at = names_.find( Peers::peerNumberOf( ruleId ) );
      const Vek::String peer = at == names_.end() ? Vek::String() : at->second;
      if ( !options_.filter.admits( key ) || ( options_.peer && *options_.peer != peer ) ) {
         return;
      }
      Vek::String& out = output_.text();
      if ( options_.json ) {
         beginRuleJson( out, key );
         out += Vek::concat(
            R"(,"peer":)",
            std::string_view( peer.empty() ? "null" : nlohmann::json( printable( peer ) ).dump() ),
            R"(,"state":")", state, R"(","ruleId":)", ruleId, ',', std::string_view( members ),
            "}\n" );
      } else {
         std::vector< Vek::String > cells = ruleCells( key );
         cells.push_back( peer.empty() ? "-" : printable( peer ) );
         cells.push_back( Vek::concat( state, ": ", std::string_view( text ) ) );
         shape_.appendRow( out, cells );
      }
      output_.flushIfLarge();
   }

   void showUnfiled( const Peers::Peer& peer, std::string_view state, U64 count,
                     const Peers::Peer::UnfiledRules& list ) {
      const auto& family = options_.filter.family;
      for ( const auto* const member : list.sorted() ) {
         const RouteText text = routeText( member->first );
         if ( family && *family != text.family ) {
            continue;
         }
         Vek::String& out = output_.text();
         const Peers::UnfiledRule& rule = *member->second;
         if ( options_.json ) {
            auto json = unfiledJson( rule );
            json["peer"] = printable( peer.name() );
            json["state"] = state;
            out += json.dump() + '\n';
         } else {
            shape_.appendRow(
               out,
               { { "-", stringValue( text.family ), text.rule, printable( peer.name() ),
                   Vek::concat( state, ": ", std::string_view( printable( rule.reason() ) ) ) } } );
         }
         output_.flushIfLarge();
      }
      if ( const U64 more = unlisted( count, list ) ) {
         unlisted_ +=
            Vek::concat( "and ", more, " more of ", std::string_view( printable( peer.name() ) ),
                         " that are ", state, '\n' );
      }
   }

   const RouteOptions& options_;
   Output& output_;
   StateRoots roots_;
   Vek::Ptr< Config > config_;
   Vek::Ptr< Peers::PeerTable > table_;
   std::map< U32, Vek::String > names_; ///< of peers, by their numbers
   const Table shape_ = ruleTable( { { "peer", 10 }, { "what became of it", 36 } } );
   Vek::String unlisted_; ///< lines for those that are not listed
};

} // namespace

Run addShowRoutes( CLI::App& command ) {
   const auto options = std::make_shared< RouteOptions >();
   addListing( command, *options, { bgpRoot, peersRoot } );
   command.add_option( "--peer", options->peer, "Only the rules of this peer" )
      ->type_name( "NAME" );
   return [options]( Output& output ) {
      Routes( *options, output ).show();
      return true;
   };
}

} // namespace Tools
