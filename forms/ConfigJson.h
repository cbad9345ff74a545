#pragma once

#include "forms/JsonMembers.h"

#include <functional>
#include <vector>

/// Reading a file that is one JSON object: a value at a time, each with its name and its line, and
/// all that is wrong with it at once.
namespace Forms {

/// What is wrong with a file, where a member is in it: "peers[1].holdTime: not a number from 0 to
/// 65535". Of a member that is missing the line is that of the object that lacks it.
struct ConfigFault {
   U64 line;
   Vek::String reason; ///< printable

   bool operator==( const ConfigFault& ) const = default;
};

/// One value of the file. What is not as it is asked for raises something that `members`,
/// `elements` and `readConfig` make a fault of; they then go on with the next value.
class ConfigValue {
public:
   /// How a member of an object is read.
   struct Member {
      const char* name;
      std::function< void( const ConfigValue& ) > read;
      bool isRequired = false;
   };

   const Vek::String& name() const { return name_; }
   U64 line() const;

   /// Ends the reading of this value: "NAME: " and these parts are what is wrong with it.
   template < typename... Parts >
   [[noreturn]] void fail( const Parts&... parts ) const {
      throw ConfigFault{ line(), Vek::concat( name_, name_.empty() ? "" : ": ", parts... ) };
   }
   /// The same for a member, one that is missing too.
   template < typename... Parts >
   [[noreturn]] void failAt( std::string_view member, const Parts&... parts ) const {
      throw ConfigFault{ memberLine( member ),
                         Vek::concat( memberName( member ), ": ", parts... ) };
   }

   /// A whole number from `min` to `max`.
   U64 number( U64 min, U64 max ) const;
   bool flag() const;
   const Vek::String& text() const;

   /// Reads the members of an object in the order of `known`; others are faults. Whether nothing
   /// was wrong with any of them.
   bool members( std::initializer_list< Member > known ) const;
   /// Reads each element of a list.
   void elements( const std::function< void( const ConfigValue& ) >& read ) const;
   /// The value itself, an object or not, for a reader of JSON.
   const nlohmann::json& json() const { return json_; }

private:
   friend std::vector< ConfigFault >
   readConfig( std::string_view json, int maxDepth, std::string_view what,
               const std::function< void( const ConfigValue& ) >& read );

   struct File;

   ConfigValue( const nlohmann::json& json, Vek::String name, File& file )
      : json_( json ), name_( std::move( name ) ), file_( file ) {}

   Vek::String memberName( std::string_view member ) const;
   U64 memberLine( std::string_view member ) const;
   void attempt( const std::function< void() >& read ) const;

   const nlohmann::json& json_;
   const Vek::String name_;
   File& file_;
};

/// Reads all of `json`, nested at most `maxDepth` deep; `what` names what it should be. All that is
/// wrong, in the order of the lines; empty when nothing is.
[[nodiscard]] std::vector< ConfigFault >
readConfig( std::string_view json, int maxDepth, std::string_view what,
            const std::function< void( const ConfigValue& ) >& read );

} // namespace Forms
