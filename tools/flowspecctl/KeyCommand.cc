#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"
#include "forms/Doubts.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/LineCommand.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleWriter.h"

#include <algorithm>
#include <deque>
#include <unordered_set>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

struct KeyOptions {
   Form from = Form::cli;
   std::vector< Form > to; // empty: as `from`
   Sort sort;
   bool canonical = false;
   bool unique = false;
   bool strict = false;
   bool json = false;
   bool table = false;
   RuleDefaults defaults;
   std::vector< Vek::String > equivalent; // two rules, or none
   std::vector< Vek::String > files;
};

// Rules that cannot be written as they come: they are to be sorted, or compared with later ones.
struct Kept {
   Rule rule;
   Place place;
};

struct RuleHash {
   std::size_t operator()( const Rule* rule ) const { return rule->key.hash(); }
};
struct RuleEqual {
   bool operator()( const Rule* a, const Rule* b ) const { return *a == *b; }
};

std::vector< Form > formsOf( const KeyOptions& options ) {
   const bool rd = info( options.from ).hasRd;
   if ( options.json ) {
      std::vector< Form > all;
      for ( const FormInfo& form : forms() ) {
         const bool isNlri = form.form == Form::nlri || form.form == Form::nlriVpn;
         if ( !isNlri && !form.isDialect && ( !form.hasRd || rd || options.defaults.rd ) ) {
            all.push_back( form.form );
         }
      }
      return all;
   }
   if ( !options.to.empty() ) {
      return options.to;
   }
   if ( options.table ) {
      return { rd ? Form::rd : Form::cli, rd ? Form::rdDetail : Form::detail, Form::words };
   }
   return { options.from };
}

class KeyCommand : public LineCommand {
public:
   KeyCommand( const KeyOptions& options, Output& output )
      : LineCommand( options.files, output, spansLines( options.from ) ), options_( options ),
        writer_( { formsOf( options ), options.json, options.table, hasFiles() }, output ) {}

private:
   void take( const Place& place, std::string_view line ) override {
      options_.defaults.reset( rule_ );
      if ( const auto fault = readRuleAt( options_.from, line, rule_ ) ) {
         return badLine( placeOf( place, *fault ), lineOf( line, *fault ), fault->reason );
      }
      if ( const auto doubt = Forms::doubt( options_.from, line, rule_ ) ) {
         if ( options_.strict ) {
            return badLine( placeOf( place, *doubt ), line, doubt->reason );
         }
         warn( placeOf( place, *doubt ), doubt->reason, line );
      }
      Reason reason = options_.canonical ? makeCanonical( rule_.key ) : std::nullopt;
      if ( !reason ) {
         reason = writer_.unwritable( rule_ );
      }
      if ( reason ) {
         badLine( place, line, *reason );
      } else if ( options_.sort.order != Order::input || options_.unique ) {
         keep( place );
      } else {
         writer_.good( place, rule_ );
      }
   }

   void badLine( const Place& place, std::string_view line, std::string_view message ) override {
      fail();
      writer_.bad( place, line, message );
   }

   void keep( const Place& place ) {
      if ( options_.unique && seen_.contains( &rule_ ) ) {
         return;
      }
      kept_.push_back( { rule_, place } );
      if ( options_.unique ) {
         seen_.insert( &kept_.back().rule );
      }
      if ( options_.sort.order == Order::input ) {
         writer_.good( place, rule_ );
      }
   }

   void end() override {
      if ( options_.sort.order == Order::input ) {
         return;
      }
      std::vector< const Kept* > order;
      order.reserve( kept_.size() );
      for ( const Kept& kept : kept_ ) {
         order.push_back( &kept );
      }
      std::stable_sort( order.begin(), order.end(), [&]( const Kept* a, const Kept* b ) {
         return isBefore( options_.sort.order, a->rule.key, b->rule.key );
      } );
      for ( const Kept* const kept : order ) {
         writer_.good( kept->place, kept->rule );
      }
   }

   const KeyOptions& options_;
   RuleWriter writer_;
   Rule rule_; // in work; its memory is used again
   std::deque< Kept > kept_;
   std::unordered_set< const Rule*, RuleHash, RuleEqual > seen_;
};

// Tells whether the two rules of `--equivalent` admit the same packets.
bool compare( const KeyOptions& options, Output& output ) {
   Rule rules[2];
   for ( std::size_t i = 0; i < 2; ++i ) {
      options.defaults.reset( rules[i] );
      if ( const auto fault = readRuleAt( options.from, options.equivalent[i], rules[i] ) ) {
         reportLine( i == 0 ? "<first rule>" : "<second rule>", std::max( fault->line, U64{ 1 } ),
                     fault->reason, fault->column );
         return false;
      }
      if ( rules[i].key.addressFamily() == Zorv::AddressFamily::none ) {
         throw std::runtime_error(
            "rules without an address family cannot be compared: give --family" );
      }
   }
   const Vek::String where = difference( rules[0].key, rules[1].key );
   output.text() += where.empty() ? "equivalent\n" : Vek::concat( "different: ", where, '\n' );
   return where.empty();
}

// The forms, and what a rule looks like.
Vek::String keyHelp() {
   Vek::String help =
      Vek::concat( "A rule, destination and source prefix and components, '*' being any prefix:\n"
                   "  10.1.0.0/16;*;IP:=6;DP:=80|>=8000&<=8080;TCP:2;\n\nComponents:" );
   for ( const ComponentType& row : componentTypes ) {
      if ( row.hasTerms() ) {
         help += Vek::concat( std::string_view( row.type == ipProto ? " " : ", " ), row.label, " (",
                              row.detailLabel, ')' );
      }
   }
   return Vek::concat( help, "\n\nForms that are read: ", formNames( true ),
                       "\nForms that are only written: detail, rd-detail, words\n\n" );
}

// What contradicts itself in the options.
Reason contradiction( const KeyOptions& options ) {
   const FormInfo& from = info( options.from );
   if ( options.json && ( options.table || !options.to.empty() ) ) {
      return "--json writes all forms: it goes with neither --to nor --table";
   }
   if ( options.defaults.rd && from.hasRd ) {
      return Vek::concat( "--rd is not for --from ", from.name, ": its rules have their own" );
   }
   if ( ( options.defaults.vrfId || options.defaults.family ) && from.hasInstance ) {
      return Vek::concat( "--vrf and --family are not for --from ", from.name,
                          ": its rules have their own" );
   }
   if ( !options.equivalent.empty() && !options.files.empty() ) {
      return "--equivalent has its rules on the command line: it goes with no file";
   }
   for ( const Form form : options.to ) {
      if ( info( form ).hasRd && !from.hasRd && !options.defaults.rd ) {
         return Vek::concat( "--to ", info( form ).name,
                             " needs a route distinguisher: give --rd, or rules with one" );
      }
   }
   return std::nullopt;
}

} // namespace

Run addKey( CLI::App& command ) {
   const auto options = std::make_shared< KeyOptions >();
   addFrom( command, options->from );
   addOption( command, "--to", "FORM,...",
              "Forms of the output, with tabs between them; that of the input when not given",
              listOf( formOf ), "a list of " + formNames( false ),
              [&to = options->to]( const std::vector< Form >& list ) { to = list; } );
   addSort( command, options->sort );
   addCanonical( command, options->canonical );
   addEquivalent( command, options->equivalent );
   command.add_flag( "--unique", options->unique, "Leave out rules that were there before" );
   addStrict( command, options->strict );
   command.add_flag( "--json", options->json, "Write an object with all forms for each line" );
   command.add_flag( "--table", options->table,
                     "Write the forms, or cli, detail, words, as a table" );
   addRd( command, options->defaults );
   addVrf( command, options->defaults );
   addFamily( command, options->defaults );
   addFiles( command, options->files );
   command.footer( Vek::concat( keyHelp(), command.get_footer() ) );
   return [options]( Output& output ) {
      if ( const Reason reason = contradiction( *options ) ) {
         throw CLI::ValidationError( *reason );
      }
      if ( !options->equivalent.empty() ) {
         return compare( *options, output );
      }
      if ( options->sort.file ) {
         options->files.insert( options->files.begin(), *options->sort.file );
      }
      return KeyCommand( *options, output ).run();
   };
}

} // namespace Tools
