#include "Flowspec/config/MatchSetBuilder.h"
#include "fuzz/Check.h"

#include <set>

namespace {

using namespace Flowspec;

void checkRanges( const MatchComponent& component ) {
   if ( component.numericalRange().empty() ) {
      return;
   }
   const MatchCompType type = component.compType();
   Fuzz::require( type >= ipProto && type <= flowLabel && !isBitfieldType( type ),
                  "only numeric components have ranges" );
   const NumericalRange* before = nullptr;
   for ( const NumericalRange* const range : component.numericalRange().sorted() ) {
      Fuzz::require( range->isValid() && range->rangeMin() <= range->rangeMax(),
                     "a range is valid" );
      Fuzz::require( range->rangeMax() <= NumericalRange::matchCompTypeMax( type ),
                     "a range ends at the maximum of its component" );
      Fuzz::require( !before || before->rangeMax() + 1 < range->rangeMin(),
                     "ranges neither touch nor overlap" );
      before = range;
   }
}

template < typename Masks >
void checkMasks( MatchCompType wanted, const MatchComponent& component, const Masks& masks ) {
   Fuzz::require( masks.empty() || component.compType() == wanted,
                  "masks are those of the component's type" );
   Fuzz::require( masks.size() <= 4096, "the masks are not too many" );
   for ( const BitMask& mask : masks ) {
      Fuzz::require( ( mask.val() & ~mask.mask() ) == 0, "only bits that are tested have a value" );
   }
}

void check( const MatchComponent& component ) {
   checkRanges( component );
   checkMasks( fragment, component, component.ipBitMask() );
   checkMasks( tcpFlags, component, component.tcpBitMask() );
   const bool isPrefix = component.compType() == destPrefix || component.compType() == srcPrefix;
   Fuzz::require( isPrefix != component.prefix().empty(), "only prefix components have a prefix" );
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   FlowspecKey key;
   if ( readStrep( Fuzz::text( data, size ), key ) ) {
      return 0;
   }
   std::vector< MatchComponent > components{ MatchComponent( port ) };
   if ( const auto error = matchSetFromKey( key, components ) ) {
      Fuzz::require( !error->message.empty(), "an error has a message" );
      Fuzz::require( components.empty(), "there are no components beside an error" );
      return 0;
   }
   Fuzz::require( !unprintableTerm( key ), "a key that was taken apart can be printed" );
   std::set< MatchCompType > types;
   for ( const MatchComponent& component : components ) {
      Fuzz::require( types.insert( component.compType() ).second, "a type has one component" );
      check( component );
   }
   std::vector< MatchComponent > again;
   Fuzz::require( !matchSetFromKey( key, again ) && again == components,
                  "a second run gives the same" );
   const Vek::Ptr< RuleConfig > rule = ruleConfigFactory( key );
   matchSetReplace( *rule, components );
   Fuzz::require( rule->matchSet().size() == components.size(), "the rule has the components" );
   const MatchCompType infeasible = rule->infeasibleMatchInMatchSet();
   Fuzz::require( rule->sanitizeMatchSet() == infeasible, "sanitising agrees with the check" );
   Fuzz::require( rule->infeasibleMatchInMatchSet() == infeasible,
                  "sanitising leaves the verdict as it is" );
   return 0;
}
