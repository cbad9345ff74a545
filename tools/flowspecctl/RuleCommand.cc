#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"
#include "forms/dialects/RouteTargets.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/LineCommand.h"
#include "tools/flowspecctl/Options.h"

#include <algorithm>
#include <limits>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Forms::Context;
using Forms::Dialect;
using Forms::Fault;

struct RuleOptions {
   const Dialect* from = Forms::dialectOf( "json" );
   const Dialect* to = nullptr; // null: as `from`
   Context context;
   std::optional< Vrf::VrfIdMap::VrfId > vrfId;
   std::optional< Zorv::AddressFamily > family;
   Sort sort;
   bool canonical = false;
   std::vector< Vek::String > equivalent; // two rules, or none
   std::vector< Vek::String > files;
};

std::optional< Fault > readWhole( const RuleOptions& options, std::string_view text, Rule& rule,
                                  std::vector< Fault >& remarks ) {
   auto fault = Forms::readRule( *options.from, text, options.context, rule, remarks );
   if ( options.vrfId && rule.key.vrfId() == Vrf::VrfIdMap::invalid() ) {
      rule.key.vrfIdIs( *options.vrfId );
   }
   return fault;
}

class RuleCommand : public LineCommand {
public:
   RuleCommand( const RuleOptions& options, Output& output )
      : LineCommand( options.files, output, options.from->spansLines ), options_( options ),
        to_( options.to ? *options.to : *options.from ) {}

private:
   struct Kept {
      Rule rule;
      Place place;
   };

   void take( const Place& place, std::string_view text ) override {
      Rule rule;
      remarks_.clear();
      if ( const auto fault = readWhole( options_, text, rule, remarks_ ) ) {
         return report( placeOf( place, *fault ), fault->reason );
      }
      for ( const Fault& remark : remarks_ ) {
         warn( placeOf( place, remark ), remark.reason );
      }
      if ( const Reason reason = options_.canonical ? makeCanonical( rule.key ) : std::nullopt ) {
         report( place, *reason );
      } else if ( options_.sort.order == Order::input ) {
         write( place, rule );
      } else {
         kept_.push_back( { std::move( rule ), place } );
      }
   }

   void write( const Place& place, const Rule& rule ) {
      if ( const Reason reason = Forms::writeRule( to_, rule, options_.context, out() ) ) {
         report( place, *reason );
      } else {
         out() += '\n';
      }
   }

   void end() override {
      std::ranges::stable_sort( kept_, [&]( const Kept& a, const Kept& b ) {
         return isBefore( options_.sort.order, a.rule.key, b.rule.key );
      } );
      for ( const Kept& kept : kept_ ) {
         write( kept.place, kept.rule );
      }
   }

   const RuleOptions& options_;
   const Dialect& to_;
   std::vector< Fault > remarks_;
   std::vector< Kept > kept_; // to be sorted
};

// Tells whether the two rules of `--equivalent` do the same with the same packets.
bool compare( const RuleOptions& options, Output& output ) {
   Rule rules[2];
   std::vector< Fault > remarks;
   for ( std::size_t i = 0; i < 2; ++i ) {
      if ( const auto fault = readWhole( options, options.equivalent[i], rules[i], remarks ) ) {
         reportLine( i == 0 ? "<first rule>" : "<second rule>", fault->line, fault->reason,
                     fault->column );
         return false;
      }
      if ( rules[i].key.addressFamily() == Zorv::AddressFamily::none ) {
         throw std::runtime_error(
            "rules without an address family cannot be compared: give --family" );
      }
   }
   Vek::String where = difference( rules[0].key, rules[1].key );
   if ( where.empty() && rules[0].action != rules[1].action ) {
      where = "action";
   }
   output.text() += where.empty() ? "equivalent\n" : Vek::concat( "different: ", where, '\n' );
   return where.empty();
}

Vek::String dialectNames() {
   Vek::String names;
   for ( const Dialect& dialect : Forms::dialects() ) {
      names += Vek::concat( std::string_view( names.empty() ? "" : ", " ), dialect.name );
   }
   return names;
}

void addDialect( CLI::App& command, const char* name, const char* help, const Dialect*& dialect ) {
   addOption(
      command, name, "DIALECT", help,
      []( std::string_view text ) {
         const Dialect* const found = Forms::dialectOf( text );
         return found ? std::optional( found ) : std::nullopt;
      },
      "one of " + dialectNames(), [&]( const Dialect* found ) { dialect = found; } );
}

} // namespace

Run addRule( CLI::App& command ) {
   const auto options = std::make_shared< RuleOptions >();
   addDialect( command, "--from", "Dialect of the input, json when not given", options->from );
   addDialect( command, "--to", "Dialect of the output, that of the input when not given",
               options->to );
   addVrf( command, "VRF for rules that have none", options->vrfId );
   addFamily( command, "for rules that do not tell it", options->family );
   addOption(
      command, "--local-as", "NUMBER", "AS number whose interface sets are ours, 0 when not given",
      []( std::string_view text ) {
         return Vek::decimal( text, std::numeric_limits< U32 >::max() );
      },
      "a whole number from 0 to 4294967295",
      [&as = options->context.localAs]( U64 number ) { as = static_cast< U32 >( number ); } );
   command
      .add_option_function< std::vector< Vek::String > >(
         "--route-target",
         [&vrfs = options->context.vrfs]( const std::vector< Vek::String >& texts ) {
            for ( const Vek::String& text : texts ) {
               if ( !Forms::addRouteTarget( text, vrfs ) ) {
                  throw CLI::ValidationError( "--route-target",
                                              Vek::concat( "'", text,
                                                           "' is not a route target, '=' and "
                                                           "the number of a VRF" ) );
               }
            }
         },
         "The VRF that redirects to a route target mean, such as 65000:100=5" )
      ->type_name( "TARGET=VRF" )
      ->expected( 1 )
      ->allow_extra_args( false )
      ->multi_option_policy( CLI::MultiOptionPolicy::TakeAll );
   addSort( command, options->sort );
   addCanonical( command, options->canonical );
   addEquivalent( command, options->equivalent );
   addFiles( command, options->files );
   return [options]( Output& output ) {
      if ( !options->equivalent.empty() && !options->files.empty() ) {
         throw CLI::ValidationError(
            "--equivalent has its rules on the command line: it goes with no file" );
      }
      options->context.family = options->family.value_or( Zorv::AddressFamily::none );
      if ( !options->equivalent.empty() ) {
         return compare( *options, output );
      }
      if ( options->sort.file ) {
         options->files.insert( options->files.begin(), *options->sort.file );
      }
      return RuleCommand( *options, output ).run();
   };
}

} // namespace Tools
