#include "agents/peerd/policy/ImportPolicy.h"

namespace Peerd {

std::optional< U16 > ImportPolicy::match( const Flowspec::FlowspecKey& key,
                                          const Flowspec::RuleAction& action ) const {
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      if ( terms[i].condition.holds( key, action ) ) {
         return static_cast< U16 >( i );
      }
   }
   return std::nullopt;
}

} // namespace Peerd
