#include "dataplane/Profile.h"

#include "forms/JsonMembers.h"
#include "forms/Printable.h"

#include <algorithm>

namespace Dataplane {

namespace {

using Forms::JsonMembers::BadJson;
using Forms::JsonMembers::Json;
using Forms::JsonMembers::Lines;
using Forms::JsonMembers::parsedObject;
using Zorv::AddressFamily;

// The interfaces are a list of objects in the profile's.
constexpr int maxDepth = 3;

// What is wrong with a member.
struct Fault {
   Vek::String member;
   Vek::String reason;
};

template < typename... Parts >
[[noreturn]] void fail( const Vek::String& member, const Parts&... parts ) {
   throw Fault{ member, Vek::concat( member, member.empty() ? "" : ": ", parts... ) };
}

// The line of a member, or of the nearest around it that is there.
U64 lineOf( Vek::String member, const Lines& lines ) {
   for ( ;; ) {
      if ( const auto at = lines.find( member ); at != lines.end() ) {
         return at->second;
      }
      const std::size_t last = member.find_last_of( ".[" );
      member.resize( last == member.npos ? 0 : last );
   }
}

// The name of a member, or of an element, of what has a name.
Vek::String memberName( const Vek::String& parent, std::string_view member ) {
   return Vek::concat( parent, parent.empty() ? "" : ".", member );
}
Vek::String elementName( const Vek::String& parent, std::size_t index ) {
   return Vek::concat( parent, '[', index, ']' );
}

const Json& object( const Json& json, const Vek::String& name,
                    std::initializer_list< std::string_view > members ) {
   if ( !json.is_object() ) {
      fail( name, "not an object" );
   }
   for ( const auto& [member, value] : json.items() ) {
      if ( std::ranges::find( members, member ) == members.end() ) {
         fail( memberName( name, member ), "unknown member" );
      }
   }
   return json;
}

const Json& required( const Json& json, const Vek::String& parent, const char* member ) {
   if ( !json.contains( member ) ) {
      fail( memberName( parent, member ), "missing" );
   }
   return json.at( member );
}

const Json& array( const Json& json, const Vek::String& name ) {
   if ( !json.is_array() ) {
      fail( name, "not a list" );
   }
   return json;
}

U64 number( const Json& json, const Vek::String& name, U64 max ) {
   if ( !json.is_number_unsigned() || json.get< U64 >() > max ) {
      fail( name, "not a number from 0 to ", max );
   }
   return json.get< U64 >();
}

// Values that are names, of which each stands for the bits that `read` gives; none is an error.
template < typename Set, typename Read >
Set names( const Json& json, const Vek::String& name, const char* what, Read read ) {
   Set set;
   std::size_t index = 0;
   for ( const Json& value : array( json, name ) ) {
      const Vek::String element = elementName( name, index++ );
      if ( !value.is_string() ) {
         fail( element, "not a text" );
      }
      const Set bits = read( value.get< Vek::String >() );
      if ( bits.none() ) {
         fail( element, "'", value.get< Vek::String >(), "' is not a known ", what );
      }
      set |= bits;
   }
   return set;
}

Profile::Qualifiers qualifierNamed( std::string_view name ) {
   const Vek::Enumerator* const row = Flowspec::matchCompTypeInfo.find( name );
   return row && row->number != 0 ? Profile::Qualifiers().set( row->number )
                                  : Profile::Qualifiers();
}

Profile::Family familyOf( const Json& json, const Vek::String& name ) {
   object( json, name, { "qualifiers", "actions" } );
   return { names< Profile::Qualifiers >( required( json, name, "qualifiers" ),
                                          memberName( name, "qualifiers" ), "component type",
                                          qualifierNamed ),
            names< Actions >( required( json, name, "actions" ), memberName( name, "actions" ),
                              "action", actionsNamed ) };
}

U32 vrfNumber( const Json& json, const Vek::String& name ) {
   const U32 vrf = static_cast< U32 >( number( json, name, 0xFFFF'FFFF ) );
   if ( vrf == Vrf::VrfIdMap::invalid() ) {
      fail( name, vrf, " is not a VRF" );
   }
   return vrf;
}

} // namespace

class ProfileReader {
public:
   static Profile read( const Json& json ) {
      object( json, "", { "capacity", "interfaceSets", "ipv4", "ipv6", "interfaces", "vrfs" } );
      Profile profile;
      profile.capacity_ = number( required( json, "", "capacity" ), "capacity", ~U64{ 0 } );
      profile.interfaceSets_ = static_cast< U32 >(
         number( required( json, "", "interfaceSets" ), "interfaceSets", 0xFFFF'FFFF ) );
      for ( const AddressFamily family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
         const Vek::String name = Zorv::stringValue( family );
         if ( json.contains( name ) ) {
            profile.families_[family] = familyOf( json.at( name ), name );
         }
      }
      if ( json.contains( "interfaces" ) ) {
         readInterfaces( json.at( "interfaces" ), profile );
      }
      if ( json.contains( "vrfs" ) ) {
         readVrfs( json.at( "vrfs" ), profile );
      }
      return profile;
   }

private:
   static void readInterfaces( const Json& json, Profile& profile ) {
      std::size_t index = 0;
      for ( const Json& value : array( json, "interfaces" ) ) {
         const Vek::String name = elementName( "interfaces", index++ );
         object( value, name, { "intf", "vrf" } );
         const Zorv::IntfId intf(
            number( required( value, name, "intf" ), memberName( name, "intf" ), ~U64{ 0 } ) );
         const U32 vrf = vrfNumber( required( value, name, "vrf" ), memberName( name, "vrf" ) );
         if ( !profile.interfaces_.emplace( intf, vrf ).second ) {
            fail( memberName( name, "intf" ), intf.value(), " is listed twice" );
         }
      }
   }

   static void readVrfs( const Json& json, Profile& profile ) {
      if ( !json.is_object() ) {
         fail( "vrfs", "not an object" );
      }
      for ( const auto& [name, value] : json.items() ) {
         if ( name.empty() ) {
            fail( "vrfs", "a name is empty" );
         }
         profile.vrfs_[name] = vrfNumber( value, memberName( "vrfs", name ) );
      }
   }
};

Profile Profile::read( std::string_view json ) {
   using Forms::printable;
   Lines lines;
   try {
      return ProfileReader::read( parsedObject( json, maxDepth, "profile", lines ) );
   } catch ( const BadJson& bad ) {
      throw ProfileError( bad.line, printable( bad.reason ) );
   } catch ( const Fault& fault ) {
      throw ProfileError( lineOf( fault.member, lines ), printable( fault.reason ) );
   }
}

const Profile::Family* Profile::family( AddressFamily family ) const {
   const auto at = families_.find( family );
   return at == families_.end() ? nullptr : &at->second;
}

std::optional< Profile::VrfId > Profile::vrfOf( Zorv::IntfId intf ) const {
   const auto at = interfaces_.find( intf );
   return at == interfaces_.end() ? std::nullopt : std::optional( at->second );
}

std::optional< Profile::VrfId > Profile::vrfNamed( const Vek::String& name ) const {
   const auto at = vrfs_.find( name );
   return at == vrfs_.end() ? std::nullopt : std::optional( at->second );
}

} // namespace Dataplane
