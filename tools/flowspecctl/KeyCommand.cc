#include "tools/flowspecctl/KeyCommand.h"

#include "Vek/Text.h"
#include "tools/flowspecctl/RuleWriter.h"

#include <algorithm>
#include <deque>
#include <unordered_set>

namespace Flowspec::Tools {

namespace {

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

class KeyRun : private LineSink {
public:
   KeyRun( const KeyOptions& options, Output& output )
      : options_( options ), output_( output ), input_( *this, output ),
        writer_( options, output ) {}

   bool run() {
      good_ = input_.read( options_.files ) && good_;
      if ( options_.sort ) {
         writeSorted();
      }
      output_.flush();
      return good_;
   }

private:
   void line( const Place& place, std::string_view line ) override {
      clear( rule_.key );
      rule_.rd = options_.rd;
      if ( options_.vrfId ) {
         rule_.key.vrfIdIs( *options_.vrfId );
      }
      if ( options_.family ) {
         rule_.key.addressFamilyIs( *options_.family );
      }
      Reason reason = readRule( options_.from, line, rule_ );
      if ( !reason ) {
         reason = writer_.unwritable( rule_ );
      }
      if ( reason ) {
         badLine( place, line, *reason );
      } else if ( options_.sort || options_.unique ) {
         keep( place );
      } else {
         writer_.good( place, rule_ );
      }
   }

   void badLine( const Place& place, std::string_view line, std::string_view message ) override {
      good_ = false;
      input_.clearProgress();
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
      if ( !options_.sort ) {
         writer_.good( place, rule_ );
      }
   }

   void writeSorted() {
      std::vector< const Kept* > order;
      order.reserve( kept_.size() );
      for ( const Kept& kept : kept_ ) {
         order.push_back( &kept );
      }
      std::stable_sort( order.begin(), order.end(), []( const Kept* a, const Kept* b ) {
         return FlowspecKeyOrder()( a->rule.key, b->rule.key );
      } );
      for ( const Kept* const kept : order ) {
         writer_.good( kept->place, kept->rule );
      }
   }

   const KeyOptions& options_;
   Output& output_;
   InputFiles input_;
   RuleWriter writer_;
   Rule rule_; // in work; its memory is used again
   std::deque< Kept > kept_;
   std::unordered_set< const Rule*, RuleHash, RuleEqual > seen_;
   bool good_ = true;
};

} // namespace

Reason contradiction( const KeyOptions& options ) {
   const FormInfo& from = info( options.from );
   if ( options.json && ( options.table || !options.to.empty() ) ) {
      return "--json writes all forms: it goes with neither --to nor --table";
   }
   if ( options.rd && from.hasRd ) {
      return Vek::concat( "--rd is not for --from ", from.name, ": its rules have their own" );
   }
   if ( ( options.vrfId || options.family ) && from.hasInstance ) {
      return Vek::concat( "--vrf and --family are not for --from ", from.name,
                          ": its rules have their own" );
   }
   for ( const Form form : options.to ) {
      if ( info( form ).hasRd && !from.hasRd && !options.rd ) {
         return Vek::concat( "--to ", info( form ).name,
                             " needs a route distinguisher: give --rd, or rules with one" );
      }
   }
   return std::nullopt;
}

bool runKey( const KeyOptions& options, Output& output ) { return KeyRun( options, output ).run(); }

} // namespace Flowspec::Tools
