#include "tools/lib/JsonMembers.h"

#include <algorithm>
#include <vector>

namespace Flowspec::Tools::JsonMembers {

namespace {

// Builds what the parser reads, and stops it where it would go on for no good: a second member of
// one name would silently win over the first, and nothing that is known nests its values deeply.
class Builder {
public:
   Builder( int maxDepth, std::string_view what )
      : maxDepth_( static_cast< std::size_t >( maxDepth ) ), what_( what ) {}

   bool null() { return add( nullptr ); }
   bool boolean( bool value ) { return add( value ); }
   bool number_integer( Json::number_integer_t value ) { return add( value ); }
   bool number_unsigned( Json::number_unsigned_t value ) { return add( value ); }
   bool number_float( Json::number_float_t value, const Json::string_t& ) { return add( value ); }
   bool string( Json::string_t& value ) { return add( std::move( value ) ); }
   bool binary( Json::binary_t& value ) { return add( std::move( value ) ); }

   bool start_object( std::size_t ) { return open( Json::object() ); }
   bool end_object() { return close(); }
   bool start_array( std::size_t ) { return open( Json::array() ); }
   bool end_array() { return close(); }

   bool key( Json::string_t& name ) {
      checkDepth();
      const auto [at, added] =
         open_.back()->get_ref< Json::object_t& >().try_emplace( std::move( name ) );
      if ( !added ) {
         fail( "member '", at->first, "' is there twice" );
      }
      member_ = &at->second;
      return true;
   }

   bool parse_error( std::size_t, const Vek::String&, const Json::exception& error ) {
      // "[json.exception.parse_error.101] parse error at ...": the first word is no help here.
      const std::string_view message = error.what();
      fail( "not JSON: ", message.substr( message.find( ' ' ) + 1 ) );
   }

   Json take() { return std::move( root_ ); }

private:
   void checkDepth() const {
      if ( open_.size() > maxDepth_ ) {
         fail( "nested too deeply for a ", what_ );
      }
   }

   // The value in its place.
   Json& place( Json&& value ) {
      checkDepth();
      if ( open_.empty() ) {
         return root_ = std::move( value );
      }
      if ( open_.back()->is_array() ) {
         return open_.back()->get_ref< Json::array_t& >().emplace_back( std::move( value ) );
      }
      return *member_ = std::move( value );
   }

   bool add( Json&& value ) {
      place( std::move( value ) );
      return true;
   }

   bool open( Json&& value ) {
      open_.push_back( &place( std::move( value ) ) );
      return true;
   }

   bool close() {
      open_.pop_back();
      return true;
   }

   std::size_t maxDepth_;
   std::string_view what_;
   Json root_;
   std::vector< Json* > open_;
   Json* member_ = nullptr; // of the innermost object, whose value is next
};

} // namespace

Json parsedObject( std::string_view text, int maxDepth, std::string_view what ) {
   Builder builder( maxDepth, what );
   Json::sax_parse( text, &builder );
   Json json = builder.take();
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
