#include "forms/dialects/RuleJson.h"

#include "forms/ActionJson.h"
#include "forms/JsonMembers.h"
#include "forms/KeyJson.h"
#include "forms/dialects/Cursor.h"

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

void readObject( Json object, Rule& rule ) {
   takeMember( object, "action", [&]( const Json& json ) {
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
   if ( const Json action = Forms::actionJson( rule.action );
        !action.empty() && !context.matchOnly ) {
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
