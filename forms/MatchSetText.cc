#include "forms/MatchSetText.h"

#include "Vek/text/Text.h"

#include <nlohmann/json.hpp>

namespace Forms {

using namespace Flowspec;

namespace {

using Json = nlohmann::ordered_json;

Vek::String rangesText( const MatchComponent& component ) {
   Vek::String text;
   for ( const NumericalRange* const range : component.numericalRange().sorted() ) {
      text += Vek::concat( std::string_view( text.empty() ? "" : "," ), range->rangeMin() );
      if ( range->rangeMax() != range->rangeMin() ) {
         text += Vek::concat( '-', range->rangeMax() );
      }
   }
   return text;
}

template < typename Masks >
Vek::String masksText( const Masks& masks ) {
   Vek::String text;
   for ( const auto* const mask : masks.sorted() ) {
      const Vek::String bits = mask->toStrepCli();
      text += Vek::concat( std::string_view( text.empty() ? "" : " or " ),
                           std::string_view( bits.empty() ? "any" : bits ) );
   }
   return text;
}

template < typename Masks >
Json masksJson( const Masks& masks ) {
   Json json = Json::array();
   for ( const auto* const mask : masks.sorted() ) {
      json.push_back( { { "value", mask->val() }, { "mask", mask->mask() } } );
   }
   return json;
}

Json componentJson( const MatchComponent& component ) {
   if ( component.matchTypePrefix() ) {
      return component.prefix().stringValue();
   }
   if ( component.compType() == tcpFlags ) {
      return masksJson( component.tcpBitMask() );
   }
   if ( component.matchTypeBitMask() ) {
      return masksJson( component.ipBitMask() );
   }
   Json ranges = Json::array();
   for ( const NumericalRange* const range : component.numericalRange().sorted() ) {
      ranges.push_back( { range->rangeMin(), range->rangeMax() } );
   }
   return ranges;
}

} // namespace

Vek::String componentText( const MatchComponent& component ) {
   const Vek::String text = component.matchTypePrefix()        ? component.prefix().stringValue()
                            : component.compType() == tcpFlags ? masksText( component.tcpBitMask() )
                            : component.matchTypeBitMask()     ? masksText( component.ipBitMask() )
                                                               : rangesText( component );
   return text.empty() ? "nothing" : text;
}

Json matchSetJson( const RuleConfig::MatchSet& matchSet ) {
   Json json = Json::object();
   for ( const auto& [type, component] : matchSet ) {
      json[stringValue( type )] = componentJson( component );
   }
   return json;
}

} // namespace Forms
