#include "tools/flowspecctl/system/CounterRates.h"
#include "tools/flowspecctl/system/CounterRefresh.h"
#include "tools/flowspecctl/system/RuleText.h"
#include "tools/terminal/Screen.h"
#include "tools/terminal/Terminal.h"

#include <algorithm>
#include <cmath>

namespace Tools {

using namespace Flowspec;

namespace {

constexpr unsigned headLines = 3;
constexpr U64 rowsWithoutScreen = 10;

struct TopOptions {
   SystemOptions system;
   RuleFilter filter;
   U64 interval = 2; // seconds
   bool byPackets = false;
   std::optional< U64 > top;
   std::optional< U64 > count; // of pictures; without end when there is none
};

double rateOf( const Rates& rates, bool byPackets ) {
   return byPackets ? rates.packets : rates.bytes;
}

// Fills a field of a line; what is too long is cut, which two dots tell.
Vek::String padded( const Vek::String& text, std::size_t width ) {
   return text.size() <= width ? text + Vek::String( width - text.size(), ' ' )
                               : text.substr( 0, width - 2 ) + "..";
}

Vek::String rightAligned( const Vek::String& text, std::size_t width ) {
   return Vek::String( width - std::min( width, text.size() ), ' ' ) + text;
}

/// One picture: a line for each rule, the busiest first, with a bar that is to that of the first as
/// their rates are.
class Picture {
public:
   Picture( const TopOptions& options, const Counter& counter, std::size_t width )
      : options_( options ), counter_( counter ), width_( width ) {}

   Vek::String text( std::vector< CountedRule > rules, U64 rows ) const {
      Rates sum{};
      for ( const CountedRule& rule : rules ) {
         sum.packets += rule.rates ? rule.rates->packets : 0;
         sum.bytes += rule.rates ? rule.rates->bytes : 0;
      }
      Vek::String out = cut( Vek::concat( timeText( counter_.timestamp() ), "  ", rules.size(),
                                          " rules, ", rateText( sum.packets ), " packets/s, ",
                                          rateText( sum.bytes ), " bytes/s" ) );
      out += '\n';
      const Vek::String heading =
         "     VRF  family  " + padded( "rule", ruleWidth() ) + "   packets/s       bytes/s";
      out += cut( heading ) + "\n";
      keepTop( rules, rows, options_.byPackets ? busierByPackets : busierByBytes );
      const double most =
         rules.empty() || !rules[0].rates ? 0 : rateOf( *rules[0].rates, options_.byPackets );
      for ( const CountedRule& rule : rules ) {
         appendRow( out, rule, most );
      }
      return out;
   }

private:
   static constexpr std::size_t fixedWidth =
      8 + 2 + 6 + 2 + 2 + 10 + 2 + 12; // without rule and bar

   std::size_t barWidth() const { return ( width_ - fixedWidth ) / 3; }
   std::size_t ruleWidth() const {
      return width_ - fixedWidth - ( barWidth() == 0 ? 0 : barWidth() + 2 );
   }
   Vek::String cut( const Vek::String& line ) const { return line.substr( 0, width_ ); }

   void appendRow( Vek::String& out, const CountedRule& rule, double most ) const {
      const std::vector< Vek::String > cells = ruleCells( *rule.key );
      Vek::String line =
         Vek::concat( rightAligned( cells[0], 8 ), "  ", padded( cells[1], 6 ), "  ",
                      padded( cells[2], ruleWidth() ), "  ",
                      rightAligned( rule.rates ? rateText( rule.rates->packets ) : "-", 10 ), "  ",
                      rightAligned( rule.rates ? rateText( rule.rates->bytes ) : "-", 12 ) );
      if ( rule.rates && most > 0 ) {
         const double share = rateOf( *rule.rates, options_.byPackets ) / most;
         const auto length = std::llround( share * static_cast< double >( barWidth() ) );
         line += "  " + Vek::String( static_cast< std::size_t >( length ), '#' );
      }
      out += cut( line.substr( 0, line.find_last_not_of( ' ' ) + 1 ) ) + "\n";
   }

   const TopOptions& options_;
   const Counter& counter_;
   const std::size_t width_;
};

// Goes on until a signal ends the process, or for as many pictures as were asked for.
void top( const TopOptions& options, Output& output ) {
   StateRoots roots{ Vek::log::Endpoint( options.system.endpoint ) };
   roots.read( options.system.counter );
   roots.settle();
   std::optional< CounterReading > before( *refreshCounters( options.system, roots ) );
   Screen screen( output );
   for ( U64 shown = 0; !options.count || shown < *options.count; ++shown ) {
      roots.until( [] { return false; }, std::chrono::seconds( options.interval ) );
      const auto counter = refreshCounters( options.system, roots );
      const U64 room = screen.isTerminal() ? Screen::height() - headLines : rowsWithoutScreen;
      screen.show( Picture( options, *counter, lineWidth() )
                      .text( countedRules( *counter, before,
                                           [&]( const FlowspecKey& key ) {
                                              return options.filter.admits( key );
                                           } ),
                             std::min( options.top.value_or( room ),
                                       screen.isTerminal() ? room : ~U64{ 0 } ) ) );
      before.emplace( *counter );
   }
}

} // namespace

Run addTop( CLI::App& command ) {
   const auto options = std::make_shared< TopOptions >();
   addVrf( command, "Only rules of this VRF", options->filter.vrfId );
   addFamily( command, "Only rules of this address family", options->filter.family );
   addSystem( command, options->system, { counterRoot, cliConfigRoot } );
   const auto number = []( const Vek::String& text ) {
      const auto value = Vek::decimal( text, 86400 );
      return value && *value > 0 ? value : std::nullopt;
   };
   addOption( command, "--interval", "SECONDS", "How often counters are read; 2 when not given",
              number, "a whole number of seconds from 1 to 86400",
              [&interval = options->interval]( U64 value ) { interval = value; } );
   addOption(
      command, "--by", "bytes|packets", "What rules are sorted by; bytes when not given",
      []( const Vek::String& text ) {
         return text == "packets" ? std::optional( true )
                : text == "bytes" ? std::optional( false )
                                  : std::nullopt;
      },
      "bytes or packets", [&byPackets = options->byPackets]( bool value ) { byPackets = value; } );
   addTopCount( command, "--top",
                "Show the N busiest rules; as many as the screen has room for, or 10 "
                "without one, when not given",
                options->top );
   addOption( command, "--count", "N", "End after N pictures", number,
              "a whole number from 1 to 86400",
              [&count = options->count]( U64 value ) { count = value; } );
   return [options]( Output& output ) {
      top( *options, output );
      return true;
   };
}

} // namespace Tools
