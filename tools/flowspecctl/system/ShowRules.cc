#include "Vek/text/Text.h"
#include "forms/ActionJson.h"
#include "forms/KeyJson.h"
#include "forms/Printable.h"
#include "forms/TimeText.h"
#include "peers/RuleDeadlines.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/system/CounterRates.h"
#include "tools/flowspecctl/system/CounterRefresh.h"
#include "tools/flowspecctl/system/RuleText.h"
#include "tools/state/StateRoots.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

// Each of the listings is a table or, with `json`, an object on each line, ascending by VRF and
// rule key.

struct CounterOptions : ListOptions {
   double interval = 0; ///< seconds between two readings, for rates; 0 for none
   std::optional< U64 > top;
};

/// A root that tells of rules, and the status where rules are chosen by that.
class RuleRoots {
public:
   RuleRoots( const ListOptions& options, const Vek::String& root )
      : filter_( options.filter ), roots_( Vek::log::Endpoint( options.system.endpoint ) ) {
      roots_.read( root );
      if ( !filter_.status.empty() && root != options.system.status ) {
         roots_.read( options.system.status );
      }
      roots_.settle();
      if ( !filter_.status.empty() ) {
         status_ = roots_.get< Status >( options.system.status );
      }
   }

   StateRoots& roots() { return roots_; }

   bool admits( const FlowspecKey& key ) const {
      const auto vrf = status_ ? status_->vrfRuleStatus( key.vrfId() ) : nullptr;
      const auto rule = vrf ? vrf->ruleStatus( key ) : nullptr;
      return filter_.admits( key, rule.get() );
   }

private:
   const RuleFilter& filter_;
   StateRoots roots_;
   Vek::Ptr< Status > status_;
};

/// The lines of one listing.
class Listing {
public:
   Listing( const ListOptions& options, Output& output, std::vector< Table::Column > columns )
      : options_( options ), output_( output ) {
      if ( !options.json ) {
         table_.emplace( ruleTable( std::move( columns ) ) );
         table_->appendHeading( output.text() );
      }
   }
   Listing( const Listing& ) = delete;
   Listing& operator=( const Listing& ) = delete;
   ~Listing() = default;

   /// A rule: with `members`, the text of further members of its object, each after a comma, or
   /// with `cells` after those of the key.
   template < typename Members, typename Cells >
   void rule( const FlowspecKey& key, Members members, Cells cells ) {
      Vek::String& out = output_.text();
      if ( options_.json ) {
         beginRuleJson( out, key );
         members( out );
         out += "}\n";
      } else {
         std::vector< Vek::String > row = ruleCells( key );
         cells( row );
         table_->appendRow( out, row );
      }
      output_.flushIfLarge();
   }

private:
   const ListOptions& options_;
   Output& output_;
   std::optional< Table > table_;
};

void appendStatusMembers( Vek::String& out, const RuleStatus& status ) {
   out += Vek::concat( R"(,"status":")", std::string_view( stringValue( status.statusCode() ) ),
                       R"(","reason":)" );
   appendJsonString( out, printable( status.errorReason() ) );
   out += Vek::concat( R"(,"version":")", status.version().stringValue(), '"' );
}

void appendCounterMembers( Vek::String& out, const CounterVersion& snapshot ) {
   const QosLib::ColoredCounters& counters = snapshot.coloredCounters();
   out += Vek::concat( R"(,"packets":)", counters.packetHits(), R"(,"bytes":)", counters.byteHits(),
                       R"(,"version":")", snapshot.version().stringValue(), '"' );
}

// A number as JSON has it; null for what is none.
Vek::String numberText( double number ) { return nlohmann::json( number ).dump(); }

/// Until when rules stay that expire.
class DeadlineTexts {
public:
   /// `deadlines` may be null: no rule expires.
   explicit DeadlineTexts( Vek::Ptr< Peers::RuleDeadlines > deadlines )
      : deadlines_( std::move( deadlines ) ) {}

   void appendMembers( Vek::String& out, const FlowspecKey& key ) const {
      if ( const double deadline = of( key ); deadline > 0 ) {
         const std::chrono::sys_seconds time{ std::chrono::seconds( std::llround( deadline ) ) };
         out += Vek::concat( R"(,"expires":")", textOfTime( time ), R"(","secondsLeft":)",
                             left( deadline ) );
      }
   }

   Vek::String text( const FlowspecKey& key ) const {
      const double deadline = of( key );
      return deadline > 0 ? Vek::concat( ", ", left( deadline ), " s left" ) : "";
   }

private:
   // 0 for none. What an agent tells is within the times that have a text.
   double of( const FlowspecKey& key ) const {
      const double deadline = deadlines_ ? deadlines_->deadline( key ) : 0;
      return deadline > 0 ? std::min( deadline, 253'402'300'799.0 ) : 0;
   }

   long long left( double deadline ) const {
      return std::llround( std::max( deadline - now_, 0.0 ) );
   }

   const Vek::Ptr< Peers::RuleDeadlines > deadlines_;
   const double now_ =
      std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
         .count();
};

void showRules( const ListOptions& options, Output& output ) {
   RuleRoots rules( options, options.system.config );
   const auto config = rules.roots().get< Config >( options.system.config );
   const Vek::String deadlineRoot = options.system.config + "-deadlines";
   rules.roots().read( deadlineRoot );
   rules.roots().settle();
   const DeadlineTexts deadlines( rules.roots().find< Peers::RuleDeadlines >( deadlineRoot ) );
   Listing listing( options, output, { { "action", 30 } } );
   for ( const auto* const vrf : config->vrfRuleConfig().sorted() ) {
      for ( const auto& rule : vrf->second->rule() ) {
         if ( rules.admits( rule->ruleKey() ) ) {
            const RuleAction action = actionOf( *rule );
            listing.rule(
               rule->ruleKey(),
               [&]( Vek::String& out ) {
                  out += Vek::concat( R"(,"ruleId":)", rule->ruleId(), R"(,"action":)",
                                      actionJson( action ).dump() );
                  deadlines.appendMembers( out, rule->ruleKey() );
               },
               [&]( std::vector< Vek::String >& row ) {
                  row.push_back( actionText( action ) + deadlines.text( rule->ruleKey() ) );
               } );
         }
      }
      for ( const auto& rule : vrf->second->infeasibleRule() ) {
         if ( rules.admits( rule->ruleKey() ) ) {
            const Vek::String component = stringValue( rule->matchCompType() );
            listing.rule(
               rule->ruleKey(),
               [&]( Vek::String& out ) {
                  out += Vek::concat( R"(,"ruleId":)", rule->ruleId(), R"(,"infeasible":")",
                                      component, '"' );
                  deadlines.appendMembers( out, rule->ruleKey() );
               },
               [&]( std::vector< Vek::String >& row ) {
                  row.push_back( "matches no packet: " + component +
                                 deadlines.text( rule->ruleKey() ) );
               } );
         }
      }
   }
   output.flush();
}

void showStatus( const ListOptions& options, Output& output ) {
   RuleRoots rules( options, options.system.status );
   const auto status = rules.roots().get< Status >( options.system.status );
   Listing listing( options, output, { { "status", 40 } } );
   for ( const auto* const vrf : status->vrfRuleStatus().sorted() ) {
      for ( const auto& rule : vrf->second->ruleStatus() ) {
         if ( options.filter.admits( rule->key(), rule.get() ) ) {
            listing.rule(
               rule->key(), [&]( Vek::String& out ) { appendStatusMembers( out, *rule ); },
               [&]( std::vector< Vek::String >& row ) { row.push_back( statusText( *rule ) ); } );
         }
      }
   }
   output.flush();
}

void showCounters( const CounterOptions& options, Output& output ) {
   RuleRoots rules( options, options.system.counter );
   StateRoots& roots = rules.roots();
   auto counter = roots.get< Counter >( options.system.counter );
   const bool withRates = options.interval > 0;
   std::optional< CounterReading > before;
   if ( withRates ) {
      counter = refreshCounters( options.system, roots );
      before.emplace( *counter );
      roots.until( [] { return false; },
                   std::chrono::milliseconds( std::llround( options.interval * 1000 ) ) );
      counter = refreshCounters( options.system, roots );
   }
   std::vector< CountedRule > counted = countedRules(
      *counter, before, [&]( const FlowspecKey& key ) { return rules.admits( key ); } );
   if ( options.top ) {
      keepTop( counted, *options.top, busierByBytes );
   }
   std::vector< Table::Column > columns{ { "packets", 12, true }, { "bytes", 15, true } };
   if ( withRates ) {
      columns.insert( columns.end(), { { "packets/s", 10, true }, { "bytes/s", 12, true } } );
   }
   Listing listing( options, output, std::move( columns ) );
   for ( const CountedRule& rule : counted ) {
      const QosLib::ColoredCounters& counters = rule.now->coloredCounters();
      const std::optional< Rates >& rates = rule.rates;
      listing.rule(
         *rule.key,
         [&]( Vek::String& out ) {
            appendCounterMembers( out, *rule.now );
            out += Vek::concat( R"(,"timestamp":)", numberText( counter->timestamp() ) );
            if ( withRates ) {
               out += Vek::concat(
                  R"(,"packetsPerSecond":)", rates ? numberText( rates->packets ) : "null",
                  R"(,"bytesPerSecond":)", rates ? numberText( rates->bytes ) : "null" );
            }
         },
         [&]( std::vector< Vek::String >& row ) {
            row.push_back( Vek::concat( counters.packetHits() ) );
            row.push_back( Vek::concat( counters.byteHits() ) );
            if ( withRates ) {
               row.push_back( rates ? rateText( rates->packets ) : "-" );
               row.push_back( rates ? rateText( rates->bytes ) : "-" );
            }
         } );
   }
   if ( !options.json ) {
      output.text() +=
         Vek::concat( "\nread from hardware: ", timeText( counter->timestamp() ), '\n' );
   }
   output.flush();
}

std::optional< HwRuleProgrammingStatus > statusCode( std::string_view text ) {
   for ( const Vek::Enumerator& row : hwRuleProgrammingStatusRows ) {
      if ( row.name == text ) {
         return static_cast< HwRuleProgrammingStatus >( row.number );
      }
   }
   return std::nullopt;
}

// One second where there is no text.
std::optional< double > seconds( const Vek::String& text ) {
   const auto number = text.empty() ? U64{ 1 } : Vek::decimal( text, 86400 );
   return number && *number > 0 ? std::optional( static_cast< double >( *number ) ) : std::nullopt;
}

void addStatus( CLI::App& command, RuleFilter& filter ) {
   addOption( command, "--status", "CODE,...", "Only rules with one of these status codes",
              listOf( statusCode ), "a list of status codes, such as programmed",
              [&]( const auto& codes ) { filter.status = codes; } );
}

} // namespace

Run addShowRules( CLI::App& command ) {
   const auto options = std::make_shared< ListOptions >();
   addListing( command, *options, { configRoot, statusRoot } );
   addStatus( command, options->filter );
   return [options]( Output& output ) {
      showRules( *options, output );
      return true;
   };
}

Run addShowStatus( CLI::App& command ) {
   const auto options = std::make_shared< ListOptions >();
   addListing( command, *options, { statusRoot } );
   addStatus( command, options->filter );
   return [options]( Output& output ) {
      showStatus( *options, output );
      return true;
   };
}

Run addShowCounters( CLI::App& command ) {
   const auto options = std::make_shared< CounterOptions >();
   addListing( command, *options, { counterRoot, statusRoot, cliConfigRoot } );
   addOption( command, "--rate", "SECONDS",
              "Read them now and once more after that time, 1 when not given, and show the rates "
              "between",
              seconds, "a whole number of seconds from 1 to 86400",
              [&interval = options->interval]( double value ) { interval = value; } )
      ->expected( 0, 1 );
   addTopCount( command, "--top",
                "Only the N rules with most bytes, by the second with --rate, from the "
                "first on",
                options->top );
   addStatus( command, options->filter );
   return [options]( Output& output ) {
      showCounters( *options, output );
      return true;
   };
}

} // namespace Tools
