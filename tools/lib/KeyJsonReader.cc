#include "tools/lib/KeyJson.h"

#include <algorithm>
#include <limits>
#include <set>

#include <nlohmann/json.hpp>

namespace Flowspec::Tools {

namespace {

using Json = nlohmann::json;

// What is wrong, in words that name the member.
struct BadJson {
   Vek::String reason;
};

template < typename... Parts >
[[noreturn]] void fail( const Parts&... parts ) {
   throw BadJson{ Vek::concat( parts... ) };
}

// Stops the parser where it would go on for no good: a second member of one name would silently win
// over the first, and no key nests its values deeper than the members of a term.
class ParseCheck {
public:
   bool operator()( int depth, Json::parse_event_t event, Json& parsed ) {
      if ( depth > 3 ) {
         fail( "nested too deeply for a rule key" );
      }
      if ( event == Json::parse_event_t::object_start ) {
         names_.emplace_back();
      } else if ( event == Json::parse_event_t::object_end ) {
         names_.pop_back();
      } else if ( event == Json::parse_event_t::key ) {
         const auto& name = parsed.get_ref< const Vek::String& >();
         if ( !names_.back().insert( name ).second ) {
            fail( "member '", name, "' is there twice" );
         }
      }
      return true;
   }

private:
   std::vector< std::set< Vek::String > > names_;
};

Json parsed( std::string_view text ) {
   try {
      return Json::parse( text, ParseCheck() );
   } catch ( const Json::exception& error ) {
      // "[json.exception.parse_error.101] parse error at ...": the first word is no help here.
      const std::string_view what = error.what();
      fail( "not JSON: ", what.substr( what.find( ' ' ) + 1 ) );
   }
}

void checkMembers( const Json& object, const Vek::String& where,
                   std::initializer_list< std::string_view > known ) {
   for ( const auto& item : object.items() ) {
      if ( std::find( known.begin(), known.end(), item.key() ) == known.end() ) {
         fail( "unknown member '", where, item.key(), "'" );
      }
   }
}

const Json& member( const Json& object, const Vek::String& where, const char* name ) {
   const auto found = object.find( name );
   if ( found == object.end() ) {
      fail( "member '", where, std::string_view( name ), "' is missing" );
   }
   return *found;
}

U32 number( const Json& json, const Vek::String& name, U64 max ) {
   if ( !json.is_number_unsigned() || json.get< U64 >() > max ) {
      fail( "'", name, "' is not a whole number from 0 to ", max );
   }
   return json.get< U32 >();
}

const Vek::String& string( const Json& json, const Vek::String& name ) {
   if ( !json.is_string() ) {
      fail( "'", name, "' is not a string" );
   }
   return json.get_ref< const Vek::String& >();
}

const Json& array( const Json& json, const Vek::String& name ) {
   if ( !json.is_array() ) {
      fail( "'", name, "' is not an array" );
   }
   return json;
}

// Calls `read( element, name )` for each element.
template < typename Read >
void forEach( const Json& object, const char* name, Read read ) {
   std::size_t position = 0;
   for ( const Json& element : array( member( object, "", name ), name ) ) {
      read( element, Vek::concat( std::string_view( name ), '[', position++, ']' ) );
   }
}

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
   forEach( object, "interfaceSet", [&]( const Json& id, const Vek::String& name ) {
      key.interfaceSetPush( static_cast< U16 >( number( id, name, 0xFFFF ) ) );
   } );
}

void readTerms( const Json& object, FlowspecKey& key ) {
   U32 index = 0;
   forEach( object, "terms", [&]( const Json& term, const Vek::String& name ) {
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
   forEach( object, "words", [&]( const Json& word, const Vek::String& name ) {
      const MatchOpVal value( number( word, name, std::numeric_limits< U32 >::max() ) );
      if ( index > MatchOpValIndex::max() ) {
         fail( "'", name, "' is above index 2047" );
      }
      key.matchOpValIs( index++, value );
   } );
}

} // namespace

std::optional< Vek::String > readKeyJson( std::string_view text, FlowspecKey& key ) {
   try {
      const Json json = parsed( text );
      if ( !json.is_object() ) {
         fail( "not a JSON object" );
      }
      checkMembers( json, "",
                    { "vrfId", "addressFamily", "destPrefix", "srcPrefix", "interfaceSet", "terms",
                      "words" } );
      readHead( json, key );
      if ( json.contains( "terms" ) == json.contains( "words" ) ) {
         fail( "exactly one of 'terms' and 'words' is wanted" );
      }
      json.contains( "terms" ) ? readTerms( json, key ) : readWords( json, key );
   } catch ( const BadJson& bad ) {
      return bad.reason;
   }
   return std::nullopt;
}

} // namespace Flowspec::Tools
