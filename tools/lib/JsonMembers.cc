#include "tools/lib/JsonMembers.h"

#include <algorithm>
#include <set>

namespace Flowspec::Tools::JsonMembers {

namespace {

// Stops the parser where it would go on for no good: a second member of one name would silently win
// over the first, and nothing that is known nests its values deeply.
class ParseCheck {
public:
   ParseCheck( int maxDepth, std::string_view what ) : maxDepth_( maxDepth ), what_( what ) {}

   bool operator()( int depth, Json::parse_event_t event, Json& parsed ) {
      if ( depth > maxDepth_ ) {
         fail( "nested too deeply for a ", what_ );
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
   int maxDepth_;
   std::string_view what_;
   std::vector< std::set< Vek::String > > names_;
};

} // namespace

Json parsedObject( std::string_view text, int maxDepth, std::string_view what ) {
   Json json;
   try {
      json = Json::parse( text, ParseCheck( maxDepth, what ) );
   } catch ( const Json::exception& error ) {
      // "[json.exception.parse_error.101] parse error at ...": the first word is no help here.
      const std::string_view message = error.what();
      fail( "not JSON: ", message.substr( message.find( ' ' ) + 1 ) );
   }
   if ( !json.is_object() ) {
      fail( "not a JSON object" );
   }
   return json;
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

} // namespace Flowspec::Tools::JsonMembers
