#include "forms/dialects/RuleJson.h"

#include "forms/ActionJson.h"
#include "forms/JsonMembers.h"
#include "forms/KeyJson.h"
#include "forms/TimeText.h"
#include "forms/dialects/Cursor.h"

#include <limits>

namespace Forms {

namespace {

using namespace Forms::JsonMembers;
using Zorv::AddressFamily;

// Of the color in the policy of a redirect of an action.
constexpr int maxDepth = 4;

U64 ruleIdOf( const Json& json ) {
   if ( !json.is_number_unsigned() ) {
      fail( "'ruleId' is not a whole number from 0 to 18446744073709551615" );
   }
   return json.get< U64 >();
}

Zorv::RouteDistinguisher rdOf( const Json& json ) {
   const Vek::String& text = string( json, "rd" );
   const auto rd = Zorv::RouteDistinguisher::fromText( text );
   if ( !rd ) {
      fail( "'rd': '", text, "' is not a route distinguisher" );
   }
   return *rd;
}

// Calls `read( value )` with a member that a rule has beside its key, and takes it out.
template < typename Read >
void takeMember( Json& object, const char* name, Read read ) {
   if ( const auto found = object.find( name ); found != object.end() ) {
      read( *found );
      object.erase( found );
   }
}

Expiry expiryOf( const Json& json ) {
   const auto* const text = json.get_ptr< const Json::string_t* >();
   const auto time = text ? timeFromText( *text ) : std::nullopt;
   if ( time ) {
      return { .isTime = true, .seconds = time->time_since_epoch() };
   }
   const U64 seconds = json.is_number_unsigned() ? json.get< U64 >() : 0;
   if ( seconds == 0 || seconds > std::numeric_limits< U32 >::max() ) {
      fail( "'action.expires' is neither a whole number of seconds from 1 to 4294967295 nor a time "
            "such as 2026-11-22T23:05:00Z" );
   }
   return { .isTime = false, .seconds = std::chrono::seconds( seconds ) };
}

Json expiryJson( const Expiry& expires ) {
   return expires.isTime ? Json( textOfTime( std::chrono::sys_seconds( expires.seconds ) ) )
                         : Json( expires.seconds.count() );
}

void readObject( Json object, Rule& rule ) {
   takeMember( object, "action", [&]( Json& json ) {
      if ( json.is_object() ) {
         takeMember( json, "expires",
                     [&]( const Json& expires ) { rule.expires = expiryOf( expires ); } );
      }
      if ( auto reason = Forms::readAction( json, rule.action ) ) {
         throw BadJson{ *std::move( reason ) };
      }
   } );
   takeMember( object, "ruleId", [&]( const Json& json ) { rule.ruleId = ruleIdOf( json ); } );
   takeMember( object, "rd", [&]( const Json& json ) { rule.rd = rdOf( json ); } );
   if ( const auto found = object.find( "addressFamily" );
        found != object.end() && found->is_null() ) {
      *found = stringValue( AddressFamily::none );
   }
   Forms::readKeyMembers( object, rule.key );
}

} // namespace

void readRuleJson( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& ) {
   try {
      readObject( parsedObject( text.rest(), maxDepth, "rule" ), rule );
   } catch ( const BadJson& bad ) {
      Fault fault = text.faultAt( text.offset(), bad.reason );
      fault.column = 0;
      throw fault;
   }
   if ( rule.key.addressFamily() == AddressFamily::none ) {
      rule.key.addressFamilyIs( context.family );
   }
   text.takeUntil( "" );
}

void appendRuleJson( const Rule& rule, const Context& context, Vek::String& out ) {
   if ( auto reason = Forms::unwritableJson( rule.key ) ) {
      throw Inexpressible{ *std::move( reason ) };
   }
   Forms::appendKeyJson( out, rule.key );
   out.pop_back();
   Json action = Forms::actionJson( rule.action );
   if ( rule.expires ) {
      action["expires"] = expiryJson( *rule.expires );
   }
   if ( !action.empty() && !context.matchOnly ) {
      out += R"(,"action":)" + action.dump();
   }
   if ( rule.ruleId ) {
      out += Vek::concat( R"(,"ruleId":)", *rule.ruleId );
   }
   if ( rule.rd ) {
      out += Vek::concat( R"(,"rd":")", *rule.rd, '"' );
   }
   out += '}';
}

} // namespace Forms
