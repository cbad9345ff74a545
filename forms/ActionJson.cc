#include "forms/ActionJson.h"

#include "Flowspec/vocab/FlowspecUtil.h"
#include "forms/JsonMembers.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Forms {

using namespace Flowspec;

// The forms below list what an action is made of.
static_assert( Vek::listsRows< ActionFieldSet, 8 > );
static_assert( Vek::listsRows< TrafficAction, 2 > );
static_assert( Vek::listsRows< TrafficRedirect, 5 > );

namespace {

using namespace JsonMembers;

constexpr U32 maxDscp = 63;

const Json& object( const Json& json, const Vek::String& name ) {
   if ( !json.is_object() ) {
      fail( "'", name, "' is not an object" );
   }
   return json;
}

bool flag( const Json& json, const Vek::String& where, const char* name ) {
   const auto found = json.find( name );
   if ( found == json.end() ) {
      return false;
   }
   if ( !found->is_boolean() ) {
      fail( "'", where, std::string_view( name ), "' is neither true nor false" );
   }
   return found->get< bool >();
}

float rate( const Json& json, const Vek::String& name ) {
   constexpr double max = std::numeric_limits< float >::max();
   const double value = json.is_number() ? json.get< double >() : -1;
   if ( value < 0 || value > max ) {
      fail( "'", name, "' is not a number from 0 to 3.4e38" );
   }
   return static_cast< float >( value );
}

void readRateLimit( const Json& json, RuleAction& action ) {
   const Vek::String name = "action.rateLimit";
   checkMembers( object( json, name ), name + '.', { "bytes", "packets" } );
   if ( json.size() != 1 ) {
      fail( "exactly one of '", name, ".bytes' and '", name, ".packets' is wanted" );
   }
   const auto only = json.begin();
   action.rateLimit = rate( *only, name + '.' + only.key() );
   action.fields.trafficRateIs( only.key() == "bytes" );
   action.fields.trafficRatePktIs( only.key() == "packets" );
}

U32 dscpOf( const Json& json, const Vek::String& name ) {
   if ( !json.is_string() ) {
      return number( json, name, maxDscp );
   }
   const auto& text = string( json, name );
   const auto names = FlowspecUtil::dscpNames();
   const auto row = std::ranges::find( names, std::string_view( text ), &DscpName::name );
   if ( row == names.end() ) {
      fail( "'", name, "': '", text, "' is not the name of a DSCP" );
   }
   return row->value;
}

Zorv::IpGenAddr address( const Json& json, const Vek::String& name ) {
   const auto& text = string( json, name );
   const auto found = Zorv::IpGenAddr::fromText( text );
   if ( !found ) {
      fail( "'", name, "': '", text, "' is not an address" );
   }
   return *found;
}

SrTePolicy::PolicyKey policyKey( const Json& json, const Vek::String& name ) {
   const Vek::String where = name + '.';
   checkMembers( object( json, name ), where, { "color", "endpoint" } );
   const U32 color =
      number( member( json, where, "color" ), where + "color", std::numeric_limits< U32 >::max() );
   if ( color == 0 ) {
      fail( "'", where, "color' is 0, which is not a color" );
   }
   return { color, address( member( json, where, "endpoint" ), where + "endpoint" ) };
}

Vrf::VrfIdMap::VrfId vrfId( const Json& json, const Vek::String& name ) {
   const U32 id = number( json, name, std::numeric_limits< U32 >::max() );
   if ( id == Vrf::VrfIdMap::invalid() ) {
      fail( "'", name, "' is ", id, ", which is not a VRF" );
   }
   return id;
}

TrafficRedirect redirectOf( const Json& json ) {
   const Vek::String name = "action.redirect";
   const Vek::String where = name + '.';
   checkMembers( object( json, name ), where, { "vrf", "addr", "srTePolicy", "copy" } );
   TrafficRedirect redirect;
   redirect.copyIs( flag( json, where, "copy" ) );
   int targets = 0;
   if ( const auto vrf = json.find( "vrf" ); vrf != json.end() ) {
      redirect.typeIs( TrafficRedirectType::vrf );
      redirect.vrfIdIs( vrfId( *vrf, where + "vrf" ) );
      ++targets;
   }
   if ( const auto addr = json.find( "addr" ); addr != json.end() ) {
      redirect.typeIs( TrafficRedirectType::addr );
      redirect.addrIs( address( *addr, where + "addr" ) );
      ++targets;
   }
   if ( const auto policy = json.find( "srTePolicy" ); policy != json.end() ) {
      redirect.typeIs( TrafficRedirectType::srTePolicy );
      redirect.srTePolicyKeyIs( policyKey( *policy, where + "srTePolicy" ) );
      ++targets;
   }
   if ( targets != 1 ) {
      fail( "exactly one of '", where, "vrf', '", where, "addr' and '", where,
            "srTePolicy' is wanted" );
   }
   return redirect;
}

RuleAction actionFrom( const Json& json ) {
   const Vek::String name = "action";
   const Vek::String where = "action.";
   checkMembers( object( json, name ), where,
                 { "drop", "rateLimit", "markDscp", "redirect", "sample", "continue" } );
   RuleAction action;
   action.fields.trafficDropIs( flag( json, where, "drop" ) );
   for ( const char* const other : { "rateLimit", "markDscp", "redirect" } ) {
      if ( action.fields.trafficDrop() && json.contains( other ) ) {
         fail( "'action.", std::string_view( other ), "' contradicts 'action.drop'" );
      }
   }
   if ( const auto limit = json.find( "rateLimit" ); limit != json.end() ) {
      readRateLimit( *limit, action );
   }
   if ( const auto mark = json.find( "markDscp" ); mark != json.end() ) {
      action.markDscp = Zorv::IpTos( static_cast< U8 >( dscpOf( *mark, where + "markDscp" ) ) );
      action.fields.trafficMarkingIs( true );
   }
   if ( const auto redirect = json.find( "redirect" ); redirect != json.end() ) {
      action.redirect = redirectOf( *redirect );
      action.fields.trafficRedirectIs( true );
   }
   action.trafficAction.sampleAndLogIs( flag( json, where, "sample" ) );
   action.trafficAction.continueMatchIs( flag( json, where, "continue" ) );
   action.fields.trafficActionIs( static_cast< bool >( action.trafficAction ) );
   return action;
}

// Whole rates, as nearly all are, go without a fraction.
Json rateJson( float rate ) {
   constexpr float tooLarge = 0x1p64F;
   if ( rate >= 0 && rate < tooLarge && rate == std::trunc( rate ) ) {
      return static_cast< U64 >( rate );
   }
   return static_cast< double >( rate );
}

Json dscpJson( Zorv::IpTos dscp ) {
   Vek::String name = FlowspecUtil::dscpMeaningFromValue( dscp.value() );
   return name.empty() ? Json( dscp.value() ) : Json( std::move( name ) );
}

Json redirectJson( const TrafficRedirect& redirect ) {
   Json json = Json::object();
   switch ( redirect.type() ) {
   case TrafficRedirectType::vrf:
      json["vrf"] = redirect.vrfId();
      break;
   case TrafficRedirectType::addr:
      json["addr"] = redirect.addr().stringValue();
      break;
   case TrafficRedirectType::srTePolicy:
      json["srTePolicy"] = { { "color", redirect.srTePolicyKey().color() },
                             { "endpoint", redirect.srTePolicyKey().endpoint().stringValue() } };
      break;
   }
   if ( redirect.copy() ) {
      json["copy"] = true;
   }
   return json;
}

Vek::String targetText( const TrafficRedirect& redirect ) {
   switch ( redirect.type() ) {
   case TrafficRedirectType::vrf:
      return Vek::concat( "VRF ", redirect.vrfId() );
   case TrafficRedirectType::addr:
      return redirect.addr().stringValue();
   case TrafficRedirectType::srTePolicy:
      return Vek::concat( "policy ", redirect.srTePolicyKey().color(), ' ',
                          redirect.srTePolicyKey().endpoint() );
   }
   return Vek::concat( "target of type ", static_cast< U8 >( redirect.type() ) );
}

} // namespace

std::optional< Vek::String > readAction( const Json& json, RuleAction& action ) {
   try {
      action = actionFrom( json );
   } catch ( const BadJson& bad ) {
      return bad.reason;
   }
   return std::nullopt;
}

Json actionJson( const RuleAction& action ) {
   Json json = Json::object();
   if ( action.fields.trafficDrop() ) {
      json["drop"] = true;
   }
   if ( action.fields.trafficRate() ) {
      json["rateLimit"]["bytes"] = rateJson( action.rateLimit );
   }
   if ( action.fields.trafficRatePkt() ) {
      json["rateLimit"]["packets"] = rateJson( action.rateLimit );
   }
   if ( action.fields.trafficMarking() ) {
      json["markDscp"] = dscpJson( action.markDscp );
   }
   if ( action.fields.trafficRedirect() ) {
      json["redirect"] = redirectJson( action.redirect );
   }
   if ( action.trafficAction.sampleAndLog() ) {
      json["sample"] = true;
   }
   if ( action.trafficAction.continueMatch() ) {
      json["continue"] = true;
   }
   return json;
}

Vek::String actionText( const RuleAction& action ) {
   Vek::String text;
   const auto add = [&]( const auto&... parts ) {
      text += Vek::concat( std::string_view( text.empty() ? "" : ", " ), parts... );
   };
   const ActionFieldSet fields = action.fields;
   if ( fields.invalid() ) {
      add( "invalid" );
   }
   if ( fields.trafficDrop() ) {
      add( "drop" );
   }
   if ( fields.trafficRate() ) {
      add( "at most ", rateJson( action.rateLimit ).dump(), " bytes/s" );
   }
   if ( fields.trafficRatePkt() ) {
      add( "at most ", rateJson( action.rateLimit ).dump(), " packets/s" );
   }
   if ( fields.trafficMarking() ) {
      const Vek::String name = FlowspecUtil::dscpMeaningFromValue( action.markDscp.value() );
      add( "mark ", name.empty() ? Vek::concat( action.markDscp.value() ) : name );
   }
   if ( fields.trafficRedirect() ) {
      add( std::string_view( action.redirect.copy() ? "copy to " : "to " ),
           targetText( action.redirect ) );
   }
   if ( action.trafficAction.sampleAndLog() ) {
      add( "sample" );
   }
   if ( action.trafficAction.continueMatch() ) {
      add( "continue" );
   }
   return text.empty() ? "permit" : text;
}

} // namespace Forms
