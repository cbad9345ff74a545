#include "forms/FilterJson.h"

#include "forms/JsonMembers.h"

namespace Forms {

namespace {

using namespace JsonMembers;
using namespace Classification;

// Calls `read( element, name )` for each element of an array that may be left out.
template < typename Read >
void forEachOf( const Json& object, const Vek::String& where, const char* name, Read read ) {
   if ( const auto found = object.find( name ); found != object.end() ) {
      forEachElement( *found, where + name, read );
   }
}

void checkObject( const Json& json, const Vek::String& name,
                  std::initializer_list< std::string_view > known ) {
   if ( !json.is_object() ) {
      fail( "'", name, "' is not an object" );
   }
   checkMembers( json, name + '.', known );
}

template < typename Range >
Range range( const Json& json, const Vek::String& name ) {
   if ( !json.is_array() ) {
      return Range( number( json, name, Range::max() ) );
   }
   if ( json.size() != 2 ) {
      fail( "'", name, "' is not a number or an array of two" );
   }
   const U32 low = number( json[0], name + "[0]", Range::max() );
   const U32 high = number( json[1], name + "[1]", Range::max() );
   if ( low > high ) {
      fail( "'", name, "' is upside down" );
   }
   return Range( low, high );
}

template < typename Range >
void readRanges( const Json& object, const Vek::String& where, const char* name,
                 std::set< Range >& ranges ) {
   forEachOf( object, where, name, [&]( const Json& json, const Vek::String& element ) {
      ranges.insert( range< Range >( json, element ) );
   } );
}

void readPrefixes( const Json& object, const char* name, std::set< Zorv::IpGenPrefix >& prefixes ) {
   forEachOf( object, "", name, [&]( const Json& json, const Vek::String& element ) {
      const auto& text = string( json, element );
      const auto prefix = Zorv::IpGenPrefix::fromText( text );
      if ( !prefix ) {
         fail( "'", element, "': '", text, "' is not a prefix" );
      }
      prefixes.insert( *prefix );
   } );
}

U8 byteMember( const Json& object, const Vek::String& where, const char* name ) {
   return static_cast< U8 >( number( member( object, where, name ), where + name, 0xFF ) );
}

void readProtocol( const Json& json, const Vek::String& name, StructuredFilter& filter ) {
   checkObject( json, name, { "protocol", "ports", "icmpTypes", "tcpFlags" } );
   const Vek::String where = name + '.';
   const auto protocol =
      range< ProtocolRange >( member( json, where, "protocol" ), where + "protocol" );
   const auto [at, added] = filter.proto.emplace( protocol, ProtoField() );
   if ( !added ) {
      fail( "'", where, "protocol' is there twice" );
   }
   ProtoField& field = at->second;
   forEachOf( json, where, "ports", [&]( const Json& ports, const Vek::String& element ) {
      checkObject( ports, element, { "srcPort", "destPort" } );
      PortField& port = field.port[Osk::UniqueId()];
      readRanges( ports, element + '.', "srcPort", port.sport );
      readRanges( ports, element + '.', "destPort", port.dport );
   } );
   forEachOf( json, where, "icmpTypes", [&]( const Json& icmp, const Vek::String& element ) {
      checkObject( icmp, element, { "type", "codes" } );
      const Vek::String in = element + '.';
      const auto type = range< IcmpTypeRange >( member( icmp, in, "type" ), in + "type" );
      readRanges( icmp, in, "codes", field.icmpType[type].icmpCode );
   } );
   forEachOf( json, where, "tcpFlags", [&]( const Json& flags, const Vek::String& element ) {
      checkObject( flags, element, { "flag", "mask" } );
      field.tcpFlagAndMask.insert( TcpFlagAndMask( byteMember( flags, element + '.', "flag" ),
                                                   byteMember( flags, element + '.', "mask" ) ) );
   } );
}

void readFragment( const Json& object, StructuredFilter& filter ) {
   const auto found = object.find( "fragment" );
   if ( found == object.end() || found->is_null() ) {
      return;
   }
   const auto& name = string( *found, "fragment" );
   const Vek::Enumerator* const type = fragmentTypeInfo.find( std::string_view( name ) );
   if ( !type ) {
      fail( "'fragment': '", name, "' is not a fragment type" );
   }
   filter.fragment = fragmentFactory( static_cast< FragmentType >( type->number ) );
}

} // namespace

std::optional< Vek::String > readFilterJson( std::string_view text,
                                             Vek::Ptr< const StructuredFilter >& filter ) {
   try {
      const Json json = parsedObject( text, 8, "filter" );
      checkMembers( json, "",
                    { "destPrefix", "srcPrefix", "protocols", "length", "dscp", "fragment" } );
      const Vek::Ptr< StructuredFilter > made = structuredFilterFactory();
      readPrefixes( json, "destPrefix", made->destPrefix );
      readPrefixes( json, "srcPrefix", made->srcPrefix );
      forEachOf( json, "", "protocols", [&]( const Json& protocol, const Vek::String& name ) {
         readProtocol( protocol, name, *made );
      } );
      readRanges( json, "", "length", made->length );
      readRanges( json, "", "dscp", made->dscp );
      readFragment( json, *made );
      filter = made;
   } catch ( const BadJson& bad ) {
      return bad.reason;
   }
   return std::nullopt;
}

} // namespace Forms
