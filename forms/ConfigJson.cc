#include "forms/ConfigJson.h"

#include "forms/Printable.h"

#include <algorithm>

namespace Forms {

namespace {

using JsonMembers::BadJson;
using JsonMembers::Json;
using JsonMembers::Lines;
using JsonMembers::parsedObject;

// The line of a value, or of the nearest around it that is there.
U64 lineOf( Vek::String name, const Lines& lines ) {
   for ( ;; ) {
      if ( const auto at = lines.find( name ); at != lines.end() ) {
         return at->second;
      }
      const std::size_t last = name.find_last_of( ".[" );
      name.resize( last == name.npos ? 0 : last );
   }
}

} // namespace

struct ConfigValue::File {
   Lines lines;
   std::vector< ConfigFault > faults;
};

U64 ConfigValue::line() const { return lineOf( name_, file_.lines ); }

Vek::String ConfigValue::memberName( std::string_view member ) const {
   return Vek::concat( name_, name_.empty() ? "" : ".", member );
}

U64 ConfigValue::memberLine( std::string_view member ) const {
   return lineOf( memberName( member ), file_.lines );
}

void ConfigValue::attempt( const std::function< void() >& read ) const {
   try {
      read();
   } catch ( ConfigFault& fault ) {
      fault.reason = printable( fault.reason );
      file_.faults.push_back( std::move( fault ) );
   }
}

U64 ConfigValue::number( U64 min, U64 max ) const {
   if ( !json_.is_number_unsigned() || json_.get< U64 >() < min || json_.get< U64 >() > max ) {
      fail( "not a number from ", min, " to ", max );
   }
   return json_.get< U64 >();
}

bool ConfigValue::flag() const {
   if ( !json_.is_boolean() ) {
      fail( "neither true nor false" );
   }
   return json_.get< bool >();
}

const Vek::String& ConfigValue::text() const {
   if ( !json_.is_string() ) {
      fail( "not a text" );
   }
   return json_.get_ref< const Vek::String& >();
}

bool ConfigValue::members( std::initializer_list< Member > known ) const {
   if ( !json_.is_object() ) {
      fail( "not an object" );
   }
   const std::size_t before = file_.faults.size();
   for ( const auto& item : json_.items() ) {
      if ( std::ranges::none_of(
              known, [&]( const Member& member ) { return item.key() == member.name; } ) ) {
         attempt( [&] { failAt( item.key(), "unknown member" ); } );
      }
   }
   for ( const Member& member : known ) {
      attempt( [&] {
         if ( const auto found = json_.find( member.name ); found != json_.end() ) {
            member.read( ConfigValue( *found, memberName( member.name ), file_ ) );
         } else if ( member.isRequired ) {
            failAt( member.name, "missing" );
         }
      } );
   }
   return file_.faults.size() == before;
}

void ConfigValue::elements( const std::function< void( const ConfigValue& ) >& read ) const {
   if ( !json_.is_array() ) {
      fail( "not a list" );
   }
   std::size_t index = 0;
   for ( const Json& element : json_ ) {
      attempt(
         [&] { read( ConfigValue( element, Vek::concat( name_, '[', index, ']' ), file_ ) ); } );
      ++index;
   }
}

std::vector< ConfigFault > readConfig( std::string_view json, int maxDepth, std::string_view what,
                                       const std::function< void( const ConfigValue& ) >& read ) {
   ConfigValue::File file;
   try {
      const Json root = parsedObject( json, maxDepth, what, file.lines );
      const ConfigValue value( root, "", file );
      value.attempt( [&] { read( value ); } );
   } catch ( const BadJson& bad ) {
      return { { bad.line, printable( bad.reason ) } };
   }
   std::ranges::stable_sort( file.faults, {}, &ConfigFault::line );
   return std::move( file.faults );
}

} // namespace Forms
