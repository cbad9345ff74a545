#include "agents/peerd/policy/ExportPolicy.h"

namespace Peerd {

bool ExportPolicy::announces( const Flowspec::FlowspecKey& key,
                              const Flowspec::RuleAction& action ) const {
   for ( const ExportTerm& term : terms ) {
      if ( term.condition.holds( key, action ) ) {
         return term.announces;
      }
   }
   return announcesOthers;
}

} // namespace Peerd
