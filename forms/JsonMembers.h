#pragma once

#include "Osk/Types.h"
#include "Vek/text/Text.h"

#include <initializer_list>
#include <map>

#include <nlohmann/json.hpp>

/// Reading JSON objects whose members are known, with complaints that name the member.
namespace Forms::JsonMembers {

using Json = nlohmann::json;

/// What is wrong, in words that name the member. Raised by everything below.
struct BadJson {
   Vek::String reason;
   U64 line = 1; ///< of a text of several lines; known to `parsedObject` only
};

/// The lines that the values of a text begin in, from 1 on, by the values' names: "" for all of it,
/// "ipv4.actions[1]" for the second element of a member's member.
using Lines = std::map< Vek::String, U64 >;

template < typename... Parts >
[[noreturn]] void fail( const Parts&... parts ) {
   throw BadJson{ Vek::concat( parts... ) };
}

/// The one object that all of `text` is. Values are nested at most `maxDepth` deep, and no object
/// has two members of one name; `what` names what the object should be.
Json parsedObject( std::string_view text, int maxDepth, std::string_view what );
/// The same of a text of several lines, which tells the lines of the values. Comments as in C++ are
/// passed over.
Json parsedObject( std::string_view text, int maxDepth, std::string_view what, Lines& lines );

/// Every member of `object` is among `known`. Here and below `where` comes before names.
void checkMembers( const Json& object, const Vek::String& where,
                   std::initializer_list< std::string_view > known );

/// The member, which must be there.
const Json& member( const Json& object, const Vek::String& where, const char* name );

/// A whole number from 0 to `max`.
U32 number( const Json& json, const Vek::String& name, U64 max );
const Vek::String& string( const Json& json, const Vek::String& name );
const Json& array( const Json& json, const Vek::String& name );

/// Calls `read( element, name )` for each element of an array.
template < typename Read >
void forEachElement( const Json& json, const Vek::String& name, Read read ) {
   std::size_t position = 0;
   for ( const Json& element : array( json, name ) ) {
      read( element, Vek::concat( name, '[', position++, ']' ) );
   }
}

} // namespace Forms::JsonMembers
