#include "forms/KeyJson.h"

#include "forms/JsonMembers.h"

#include <limits>

namespace Forms {

using namespace Flowspec;

namespace {

using namespace JsonMembers;

Zorv::IpGenPrefix readPrefix( const Json& object, const char* name ) {
   const Json& json = member( object, "", name );
   if ( json.is_null() ) {
      return {};
   }
   if ( !json.is_string() ) {
      fail( "'", std::string_view( name ), "' is neither null nor a string" );
   }
   const auto& text = json.get_ref< const Vek::String& >();
   const auto prefix = Zorv::IpGenPrefix::fromText( text );
   if ( !prefix ) {
      fail( "'", std::string_view( name ), "': '", text, "' is not a prefix" );
   }
   return *prefix;
}

void readHead( const Json& object, FlowspecKey& key ) {
   const Json& vrfId = member( object, "", "vrfId" );
   if ( !vrfId.is_null() ) {
      key.vrfIdIs( number( vrfId, "vrfId", std::numeric_limits< U32 >::max() ) );
   }
   const auto& familyText = string( member( object, "", "addressFamily" ), "addressFamily" );
   const auto family = Zorv::addressFamily( familyText );
   if ( !family ) {
      fail( "'addressFamily': '", familyText, "' is not an address family" );
   }
   key.addressFamilyIs( *family );
   key.destPrefixIs( readPrefix( object, "destPrefix" ) );
   key.srcPrefixIs( readPrefix( object, "srcPrefix" ) );
   forEachElement( member( object, "", "interfaceSet" ), "interfaceSet",
                   [&]( const Json& id, const Vek::String& name ) {
                      key.interfaceSetPush( static_cast< U16 >( number( id, name, 0xFFFF ) ) );
                   } );
}

void readTerms( const Json& object, FlowspecKey& key ) {
   U32 index = 0;
   forEachElement(
      member( object, "", "terms" ), "terms", [&]( const Json& term, const Vek::String& name ) {
         if ( !term.is_object() ) {
            fail( "'", name, "' is not an object" );
         }
         const Vek::String where = name + '.';
         checkMembers( term, where, { "type", "op", "value" } );
         const auto& typeName = string( member( term, where, "type" ), where + "type" );
         const Vek::Enumerator* const type = matchCompTypeInfo.find( std::string_view( typeName ) );
         if ( !type ) {
            fail( "'", where, "type': '", typeName, "' is not a component type" );
         }
         const MatchOpValResult decoded(
            static_cast< MatchCompType >( type->number ),
            static_cast< U8 >( number( member( term, where, "op" ), where + "op", 0xFF ) ), 0, 0 );
         if ( decoded.byteLength() == 8 ) {
            fail( "'", where, "op': 8-byte values are not supported" );
         }
         const U64 max = ( U64{ 1 } << 8 * decoded.byteLength() ) - 1;
         const U32 value = number( member( term, where, "value" ), where + "value", max );
         const auto next = key.trySetOpVal( index, decoded.matchType(), decoded.op(), value );
         if ( !next ) {
            fail( "'", name, "' ends above index 2047" );
         }
         index = *next;
      } );
}

void readWords( const Json& object, FlowspecKey& key ) {
   U32 index = 0;
   forEachElement(
      member( object, "", "words" ), "words", [&]( const Json& word, const Vek::String& name ) {
         const MatchOpVal value( number( word, name, std::numeric_limits< U32 >::max() ) );
         if ( index > MatchOpValIndex::max() ) {
            fail( "'", name, "' is above index 2047" );
         }
         key.matchOpValIs( index++, value );
      } );
}

} // namespace

void readKeyMembers( const Json& object, FlowspecKey& key ) {
   checkMembers(
      object, "",
      { "vrfId", "addressFamily", "destPrefix", "srcPrefix", "interfaceSet", "terms", "words" } );
   readHead( object, key );
   if ( object.contains( "terms" ) == object.contains( "words" ) ) {
      fail( "exactly one of 'terms' and 'words' is wanted" );
   }
   object.contains( "terms" ) ? readTerms( object, key ) : readWords( object, key );
}

std::optional< Vek::String > readKeyJson( std::string_view text, FlowspecKey& key ) {
   try {
      readKeyMembers( parsedObject( text, 3, "rule key" ), key );
   } catch ( const BadJson& bad ) {
      return bad.reason;
   }
   return std::nullopt;
}

} // namespace Forms
