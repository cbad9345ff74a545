#include "agents/configd/Filing.h"

#include "agents/filing/RuleFiler.h"
#include "forms/FieldBounds.h"

#include <algorithm>
#include <iterator>

namespace Agents {

using namespace Flowspec;
using namespace Forms;

namespace {

using VrfId = Vrf::VrfIdMap::VrfId;

// A rule and the position of its file.
struct Planned {
   const FiledRule* rule;
   std::size_t file;

   const FlowspecKey& key() const { return rule->key; }
};
using Group = std::span< const Planned >;

// One application of rules to a configuration.
class Run {
public:
   Run( const Vek::Ptr< Config >& config, std::span< const RuleFile > files )
      : config_( *config ), filer_( config ), files_( files ) {}

   Filed run() {
      plan();
      dropOtherVrfs();
      for ( auto begin = planned_.begin(); begin != planned_.end(); ) {
         const VrfId vrfId = begin->key().vrfId();
         const auto end = std::find_if( begin, planned_.end(), [&]( const Planned& planned ) {
            return planned.key().vrfId() != vrfId;
         } );
         fileVrf( vrfId, Group( begin, end ) );
         begin = end;
      }
      filed_.errors = inOrder( bad_ );
      filed_.warnings = inOrder( doubtful_ );
      return std::move( filed_ );
   }

private:
   // All rules in the order of their keys, each key once.
   void plan() {
      for ( std::size_t file = 0; file < files_.size(); ++file ) {
         for ( const FiledRule& rule : files_[file].rules ) {
            planned_.push_back( { &rule, file } );
         }
      }
      std::ranges::stable_sort( planned_, FlowspecKeyOrder(), &Planned::key );
      auto kept = planned_.begin();
      for ( const Planned& planned : planned_ ) {
         if ( kept != planned_.begin() && std::prev( kept )->key() == planned.key() ) {
            const Planned& first = *std::prev( kept );
            bad( planned, Vek::concat( "line ", planned.rule->line, " is the rule of ",
                                       files_[first.file].file, ':', first.rule->line, " again" ) );
         } else {
            *kept++ = planned;
         }
      }
      planned_.erase( kept, planned_.end() );
   }

   void dropOtherVrfs() {
      std::vector< VrfId > gone;
      for ( const auto* const member : config_.vrfRuleConfig().sorted() ) {
         const auto at =
            std::ranges::lower_bound( planned_, member->first, {}, []( const Planned& planned ) {
               return planned.key().vrfId();
            } );
         if ( at == planned_.end() || at->key().vrfId() != member->first ) {
            gone.push_back( member->first );
            filed_.removed += member->second->rule().size();
            filed_.removed += member->second->infeasibleRule().size();
         }
      }
      for ( const VrfId vrfId : gone ) {
         config_.vrfRuleConfigDel( vrfId );
      }
   }

   void fileVrf( VrfId vrfId, Group group ) {
      if ( const auto vrf = config_.vrfRuleConfig( vrfId ) ) {
         removeOthers( vrf->rule(), group, [&]( auto at ) { return vrf->ruleDel( at ); } );
         removeOthers( vrf->infeasibleRule(), group,
                       [&]( auto at ) { return vrf->infeasibleRuleDel( at ); } );
      }
      for ( const Planned& planned : group ) {
         fileRule( planned );
      }
      filer_.dropEmptyVrf( vrfId );
   }

   // Both are in the order of the keys.
   template < typename Rules, typename Remove >
   void removeOthers( const Rules& rules, Group group, Remove remove ) {
      auto wanted = group.begin();
      for ( auto at = rules.begin(); at != rules.end(); ) {
         const FlowspecKey& key = ( *at )->ruleKey();
         int order = 1;
         while ( wanted != group.end() &&
                 ( order = FlowspecKeyOrder::compare( wanted->key(), key ) ) < 0 ) {
            ++wanted;
         }
         if ( wanted != group.end() && order == 0 ) {
            ++wanted;
            ++at;
         } else {
            at = remove( at );
            ++filed_.removed;
         }
      }
   }

   void fileRule( const Planned& planned ) {
      using Outcome = Agents::RuleFiler::Outcome;
      auto result = filer_.file( planned.key(), planned.rule->action, planned.rule->ruleId );
      filed_.added += result.added;
      filed_.removed += result.removed;
      if ( result.outcome == Outcome::refused ) {
         bad( planned, std::move( result.reason ) );
         return;
      }
      ++( result.outcome == Outcome::feasible ? filed_.feasible : filed_.infeasible );
      if ( auto warning = Forms::beyondField( planned.key() ) ) {
         doubtful_.push_back( { planned, *std::move( warning ) } );
      }
   }

   // What is to be told of a rule.
   struct Remark {
      Planned planned;
      Vek::String reason;
   };

   void bad( const Planned& planned, Vek::String reason ) {
      bad_.push_back( { planned, std::move( reason ) } );
   }

   // By files, then by lines.
   std::vector< RuleError > inOrder( std::vector< Remark >& remarks ) const {
      std::ranges::sort( remarks, {}, []( const Remark& remark ) {
         return std::pair( remark.planned.file, remark.planned.rule->line );
      } );
      std::vector< RuleError > errors;
      for ( Remark& remark : remarks ) {
         errors.push_back( { files_[remark.planned.file].file, remark.planned.rule->line,
                             std::move( remark.reason ) } );
      }
      return errors;
   }

   Config& config_;
   Agents::RuleFiler filer_;
   std::span< const RuleFile > files_;
   std::vector< Planned > planned_;
   std::vector< Remark > bad_;
   std::vector< Remark > doubtful_;
   Filed filed_;
};

} // namespace

Filed Filing::apply( std::span< const RuleFile > files ) { return Run( config_, files ).run(); }

} // namespace Agents
