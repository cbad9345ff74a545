#include "tests/wire/NlriData.h"

#include "Flowspec/vocab/MatchCompType.h"
#include "tests/support/Hex.h"

#include <fstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

namespace TestSupport {

namespace {

using namespace Flowspec;
using Json = nlohmann::json;

std::vector< Json > linesOf( const char* path ) {
   std::ifstream in( path );
   std::vector< Json > lines;
   for ( std::string line; std::getline( in, line ); ) {
      lines.push_back( Json::parse( line ) );
   }
   if ( lines.empty() ) {
      throw std::runtime_error( std::string( "nothing in " ) + path );
   }
   return lines;
}

U8 lengthCode( U64 octets ) { return octets == 1 ? 0 : octets == 2 ? 1 : 2; }

// The shortest length that a type should have.
U64 shortest( MatchCompType type, U64 value ) {
   return type == flowLabel || value > 0xFFFF ? 4 : value > 0xFF ? 2 : 1;
}

void addTerms( FlowspecKey& key, const Json& component ) {
   const auto type = static_cast< MatchCompType >( component.at( "type" ).get< U8 >() );
   const Json& terms = component.at( "terms" );
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      const Json& term = terms[i];
      const U64 value = term.at( "value" );
      unsigned op = i + 1 == terms.size() ? OpBits::endOfList : 0U;
      op |= i != 0 && term.at( "and" ).get< bool >() ? OpBits::andPrevious : 0U;
      if ( isBitmask( type ) ) {
         op |= term.at( "not" ).get< bool >() ? OpBits::invert : 0U;
         op |= term.at( "match" ).get< bool >() ? OpBits::match : 0U;
      } else {
         op |= term.at( "lt" ).get< bool >() ? OpBits::lt : 0U;
         op |= term.at( "gt" ).get< bool >() ? OpBits::gt : 0U;
         op |= term.at( "eq" ).get< bool >() ? OpBits::eq : 0U;
      }
      U64 octets = term.contains( "len" ) ? term["len"].get< U64 >() : shortest( type, value );
      if ( octets == 8 ) {
         octets = shortest( type, value );
      }
      key.setOpVal( key.matchOpVals(), type,
                    static_cast< U8 >( op | unsigned{ lengthCode( octets ) } << 4U ),
                    static_cast< U32 >( value ) );
   }
}

void setPrefix( NlriLine& line, bool destination, const std::string& text, unsigned offset ) {
   line.hasOffset |= offset != 0;
   const auto prefix = Zorv::IpGenPrefix::fromText( text );
   if ( !prefix ) {
      throw std::runtime_error( "not a prefix: " + text );
   }
   if ( destination ) {
      line.key.destPrefixIs( *prefix );
   } else {
      line.key.srcPrefixIs( *prefix );
   }
}

NlriLine nlriLine( const Json& json ) {
   NlriLine line;
   line.id = json.at( "id" );
   line.format = *Wire::NlriFormat::of( json.at( "afi" ), json.at( "safi" ) );
   line.octets = bytesOf( json.at( "hexNlri" ).get< std::string >() );
   line.validity = json.at( "validity" );
   for ( const Json& why : json.at( "why" ) ) {
      line.codes.push_back( why.at( "code" ) );
   }
   if ( !json.at( "rd" ).is_null() ) {
      line.rd = Zorv::RouteDistinguisher(
         std::stoull( json["rd"].at( "hex" ).get< std::string >(), nullptr, 16 ) );
   }
   if ( json.at( "components" ).is_null() ) {
      return line;
   }
   line.key.addressFamilyIs( line.format.family );
   for ( const Json& component : json["components"] ) {
      if ( component.contains( "prefix" ) ) {
         setPrefix( line, component.at( "type" ) == 1,
                    component["prefix"].get< std::string >() + '/' +
                       std::to_string( component.at( "length" ).get< unsigned >() ),
                    component.value( "offset", 0U ) );
      } else {
         addTerms( line.key, component );
      }
   }
   return line;
}

NlriLine ruleLine( const Json& json ) {
   NlriLine line;
   line.id = json.at( "id" );
   const bool ipv6 = json.at( "af" ) == "ipv6";
   line.format = { ipv6 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4,
                   !json.at( "rd" ).is_null() };
   line.octets = bytesOf( json.at( "hexNlri" ).get< std::string >() );
   line.validity = "valid";
   line.action = json.at( "action" ).dump();
   if ( line.format.vpn ) {
      line.rd = *Zorv::RouteDistinguisher::fromText( json["rd"].get< std::string >() );
   }
   line.key.addressFamilyIs( line.format.family );
   if ( !json.at( "dst" ).is_null() ) {
      setPrefix( line, true, json["dst"], json.value( "dstOffset", 0U ) );
   }
   if ( !json.at( "srcPrefix" ).is_null() ) {
      setPrefix( line, false, json["srcPrefix"], json.value( "srcOffset", 0U ) );
   }
   for ( const Json& component : json.at( "components" ) ) {
      addTerms( line.key, component );
   }
   return line;
}

template < typename Line >
std::vector< NlriLine > read( const char* path, Line line ) {
   std::vector< NlriLine > lines;
   for ( const Json& json : linesOf( path ) ) {
      lines.push_back( line( json ) );
   }
   return lines;
}

} // namespace

const std::vector< NlriLine >& nlriLines() {
   static const auto lines = read( "tests/data/nlri.jsonl", nlriLine );
   return lines;
}

const std::vector< NlriLine >& ruleLines() {
   static const auto lines = read( "tests/data/rules.jsonl", ruleLine );
   return lines;
}

} // namespace TestSupport
