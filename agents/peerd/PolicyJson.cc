#include "agents/peerd/PolicyJson.h"

#include "forms/ActionJson.h"
#include "forms/dialects/RouteTargets.h"

#include <algorithm>
#include <limits>

namespace Peerd {

namespace {

using Flowspec::ActionFieldSet;
using Forms::ConfigValue;

constexpr std::size_t maxTerms = 65534;
constexpr U64 max32 = std::numeric_limits< U32 >::max();

U8 prefixLengthOf( const ConfigValue& value ) {
   return static_cast< U8 >( value.number( 0, 128 ) );
}

Zorv::AddressFamily familyOf( const ConfigValue& value ) {
   const auto family = Zorv::addressFamily( value.text() );
   if ( !family || *family == Zorv::AddressFamily::none ) {
      value.fail( "'", value.text(), "' is neither ipv4 nor ipv6" );
   }
   return *family;
}

// Component types as bits.
U32 typesOf( const ConfigValue& value ) {
   U32 types = 0;
   value.elements( [&]( const ConfigValue& element ) {
      const auto* const row = Flowspec::matchCompTypeInfo.find( element.text() );
      if ( !row || row->number == 0 ) {
         element.fail( "'", element.text(), "' is not a component type" );
      }
      types |= U32{ 1 } << row->number;
   } );
   return types;
}

ActionFieldSet actionsOf( const ConfigValue& value ) {
   ActionFieldSet actions;
   value.elements( [&]( const ConfigValue& element ) {
      const auto& names = ActionFieldSet::flagNames;
      const auto* const at = std::ranges::find( names, std::string_view( element.text() ) );
      if ( at == std::end( names ) || at == std::begin( names ) ) {
         element.fail( "'", element.text(), "' is not an action" );
      }
      actions.set( static_cast< ActionFieldSet::Field >( at - std::begin( names ) ) );
   } );
   return actions;
}

RuleCondition conditionOf( const ConfigValue& value ) {
   RuleCondition condition;
   value.members( {
      { "destinations", [&]( const ConfigValue& v ) { condition.destinations = prefixesOf( v ); } },
      { "minDestinationLength",
        [&]( const ConfigValue& v ) { condition.minDestinationLength = prefixLengthOf( v ); } },
      { "sources", [&]( const ConfigValue& v ) { condition.sources = prefixesOf( v ); } },
      { "minSourceLength",
        [&]( const ConfigValue& v ) { condition.minSourceLength = prefixLengthOf( v ); } },
      { "family", [&]( const ConfigValue& v ) { condition.family = familyOf( v ); } },
      { "with", [&]( const ConfigValue& v ) { condition.with = typesOf( v ); } },
      { "without", [&]( const ConfigValue& v ) { condition.without = typesOf( v ); } },
      { "actions", [&]( const ConfigValue& v ) { condition.actions = actionsOf( v ); } },
   } );
   return condition;
}

Vrf::VrfIdMap::VrfId vrfOf( const ConfigValue& value ) {
   const auto vrf = static_cast< U32 >( value.number( 0, max32 ) );
   if ( vrf == Vrf::VrfIdMap::invalid() ) {
      value.fail( vrf, " is not a VRF" );
   }
   return vrf;
}

std::vector< U16 > interfaceSetsOf( const ConfigValue& value ) {
   std::vector< U16 > sets;
   value.elements( [&]( const ConfigValue& element ) {
      sets.push_back( static_cast< U16 >(
         element.number( Flowspec::minInterfaceSetId, Flowspec::maxInterfaceSetId ) ) );
   } );
   std::ranges::sort( sets );
   sets.erase( std::unique( sets.begin(), sets.end() ), sets.end() );
   return sets;
}

Flowspec::RuleAction actionOf( const ConfigValue& value ) {
   Flowspec::RuleAction action;
   if ( const auto reason = Forms::readAction( value.json(), action ) ) {
      value.fail( *reason );
   }
   return action;
}

void readAccept( const ConfigValue& value, ImportTerm& term ) {
   if ( value.json().is_boolean() ) {
      if ( !value.flag() ) {
         value.fail( "a term that does not accept has 'refuse'" );
      }
      return;
   }
   value.members( {
      { "vrf", [&]( const ConfigValue& v ) { term.vrf = vrfOf( v ); } },
      { "vrfByRouteTarget", [&]( const ConfigValue& v ) { term.vrfByRouteTarget = v.flag(); } },
      { "interfaceSets",
        [&]( const ConfigValue& v ) { term.interfaceSets = interfaceSetsOf( v ); } },
      { "action", [&]( const ConfigValue& v ) { term.action = actionOf( v ); } },
   } );
   if ( term.vrf && term.vrfByRouteTarget ) {
      value.fail( "'vrf' and 'vrfByRouteTarget' exclude each other" );
   }
}

void readRefuse( const ConfigValue& value, ImportTerm& term ) {
   term.accepts = false;
   if ( !value.json().is_boolean() ) {
      term.reason = value.text();
   } else if ( !value.flag() ) {
      value.fail( "a term that does not refuse has 'accept'" );
   }
}

ImportTerm importTermOf( const ConfigValue& value ) {
   ImportTerm term;
   int outcomes = 0;
   const bool isGood = value.members( {
      { "match", [&]( const ConfigValue& v ) { term.condition = conditionOf( v ); } },
      { "accept",
        [&]( const ConfigValue& v ) {
           ++outcomes;
           readAccept( v, term );
        } },
      { "refuse",
        [&]( const ConfigValue& v ) {
           ++outcomes;
           readRefuse( v, term );
        } },
   } );
   if ( isGood && outcomes != 1 ) {
      value.fail( "exactly one of 'accept' and 'refuse' is wanted" );
   }
   return term;
}

std::vector< Wire::RouteTarget > routeTargetsOf( const ConfigValue& value ) {
   std::vector< Wire::RouteTarget > targets;
   value.elements( [&]( const ConfigValue& element ) {
      const auto target = Forms::routeTargetOf( element.text() );
      if ( !target ) {
         element.fail( "'", element.text(), "' is not a route target such as 65000:100" );
      }
      targets.push_back( *target );
   } );
   return targets;
}

Zorv::RouteDistinguisher distinguisherOf( const ConfigValue& value ) {
   const auto distinguisher = Zorv::RouteDistinguisher::fromText( value.text() );
   if ( !distinguisher || !*distinguisher ) {
      value.fail( "'", value.text(), "' is not a route distinguisher such as 65000:100" );
   }
   return *distinguisher;
}

} // namespace

std::vector< Zorv::IpGenPrefix > prefixesOf( const ConfigValue& value ) {
   std::vector< Zorv::IpGenPrefix > prefixes;
   value.elements( [&]( const ConfigValue& element ) {
      const auto prefix = Zorv::IpGenPrefix::fromText( element.text() );
      if ( !prefix ) {
         element.fail( "'", element.text(), "' is not a prefix such as 192.0.2.0/24" );
      }
      prefixes.push_back( *prefix );
   } );
   return prefixes;
}

ImportPolicy importPolicyOf( const ConfigValue& value ) {
   ImportPolicy policy;
   value.elements(
      [&]( const ConfigValue& element ) { policy.terms.push_back( importTermOf( element ) ); } );
   if ( policy.terms.size() > maxTerms ) {
      value.fail( "more than ", maxTerms, " terms" );
   }
   return policy;
}

std::vector< ExportTerm > exportTermsOf( const ConfigValue& value ) {
   std::vector< ExportTerm > terms;
   value.elements( [&]( const ConfigValue& element ) {
      ExportTerm& term = terms.emplace_back();
      element.members( {
         { "match", [&]( const ConfigValue& v ) { term.condition = conditionOf( v ); } },
         { "announce", [&]( const ConfigValue& v ) { term.announces = v.flag(); }, true },
      } );
   } );
   return terms;
}

void readGuards( const ConfigValue& value, GuardRails& guards ) {
   value.members( {
      { "everything", [&]( const ConfigValue& v ) { guards.everything = v.flag(); } },
      { "sessions", [&]( const ConfigValue& v ) { guards.sessions = v.flag(); } },
      { "destinations", [&]( const ConfigValue& v ) { guards.destinations = v.flag(); } },
      { "maxRules",
        [&]( const ConfigValue& v ) {
           guards.maxRules = static_cast< U32 >( v.number( 1, 10'000'000 ) );
        } },
      { "atMaxRules",
        [&]( const ConfigValue& v ) {
           if ( v.text() != "refuse" && v.text() != "cease" ) {
              v.fail( "'", v.text(), "' is neither refuse nor cease" );
           }
           guards.ceases = v.text() == "cease";
        } },
   } );
}

VrfTable vrfTableOf( const ConfigValue& value ) {
   VrfTable table;
   value.elements( [&]( const ConfigValue& element ) {
      VrfEntry entry;
      const bool isGood = element.members( {
         { "vrf", [&]( const ConfigValue& v ) { entry.vrf = vrfOf( v ); }, true },
         { "distinguisher",
           [&]( const ConfigValue& v ) { entry.distinguisher = distinguisherOf( v ); } },
         { "import", [&]( const ConfigValue& v ) { entry.importTargets = routeTargetsOf( v ); } },
         { "export", [&]( const ConfigValue& v ) { entry.exportTargets = routeTargetsOf( v ); } },
      } );
      if ( isGood && table.find( entry.vrf ) ) {
         element.failAt( "vrf", entry.vrf, " is listed twice" );
      }
      table.vrfs.push_back( std::move( entry ) );
   } );
   return table;
}

} // namespace Peerd
