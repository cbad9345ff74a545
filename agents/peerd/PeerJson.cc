#include "agents/peerd/PeerJson.h"

#include "agents/peerd/PolicyJson.h"
#include "forms/TextFile.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace Peerd {

namespace {

using Forms::ConfigValue;

constexpr std::size_t maxName = 64;
constexpr std::size_t maxPassword = 80;

U16 number16( const ConfigValue& value, U64 min, U64 max ) {
   return static_cast< U16 >( value.number( min, max ) );
}

U32 number32( const ConfigValue& value ) {
   return static_cast< U32 >( value.number( 0, 0xFFFF'FFFF ) );
}

const Vek::String& nameOf( const ConfigValue& value ) {
   const auto isPart = []( char c ) {
      return ( c >= '0' && c <= '9' ) || ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) ||
             c == '-' || c == '_' || c == '.' || c == ':';
   };
   const Vek::String& name = value.text();
   if ( name.empty() || name.size() > maxName || !std::ranges::all_of( name, isPart ) ) {
      value.fail( "'", name, "' is not a name: 1 to ", maxName,
                  " letters, digits, '-', '_', '.' and ':'" );
   }
   return name;
}

Bgp::Family familyOf( const ConfigValue& value ) {
   const auto family = Bgp::familyOf( value.text() );
   if ( !family || !family->format() ) {
      value.fail( "'", value.text(),
                  "' is not a family: ipv4-flow, ipv6-flow, ipv4-vpn-flow or ipv6-vpn-flow" );
   }
   return *family;
}

std::vector< Bgp::Family > familiesOf( const ConfigValue& value ) {
   std::vector< Bgp::Family > families;
   value.elements( [&]( const ConfigValue& element ) {
      const Bgp::Family family = familyOf( element );
      if ( std::ranges::find( families, family ) != families.end() ) {
         element.fail( "'", element.text(), "' is listed twice" );
      }
      families.push_back( family );
   } );
   if ( value.json().empty() ) {
      value.fail( "at least one family is wanted" );
   }
   return families;
}

// The first line of a file: what follows it may be a remark.
Vek::String passwordIn( const ConfigValue& value, const Vek::String& folder ) {
   try {
      const auto path = std::filesystem::path( folder ) / value.text();
      const Vek::String text = Forms::readTextFile( path.string() );
      return text.substr( 0, text.find( '\n' ) );
   } catch ( const std::runtime_error& error ) {
      value.fail( std::string_view( error.what() ) );
   }
}

void passwordIs( const ConfigValue& value, Vek::String password, Bgp::SessionConfig& session ) {
   if ( password.empty() || password.size() > maxPassword ) {
      value.fail( "not a password of 1 to ", maxPassword, " octets" );
   }
   if ( !session.password.empty() ) {
      value.fail( "there is a password already" );
   }
   session.password = std::move( password );
}

U16 holdTimeOf( const ConfigValue& value ) {
   const U16 seconds = number16( value, 0, 0xFFFF );
   if ( seconds == 1 || seconds == 2 ) {
      value.fail( "neither 0 nor at least 3" );
   }
   return seconds;
}

// What is announced has attributes.
ExportPolicy& exportedOf( const ConfigValue& value, PeerConfig& peer ) {
   if ( !peer.exported ) {
      value.fail( "nothing is announced without 'export'" );
   }
   return *peer.exported;
}

// Whether nothing is wrong with the members of a peer.
bool readPeer( const ConfigValue& value, const Vek::String& folder, PeerConfig& peer ) {
   Bgp::SessionConfig& session = peer.session;
   PeerImport& import = peer.import;
   return value.members( {
      { "name", [&]( const ConfigValue& v ) { session.name = nameOf( v ); }, true },
      { "address", [&]( const ConfigValue& v ) { session.peer.address = addressOf( v ); }, true },
      { "port", [&]( const ConfigValue& v ) { session.peer.port = portOf( v ); } },
      { "as", [&]( const ConfigValue& v ) { session.peerAs = asNumberOf( v ); }, true },
      { "families", [&]( const ConfigValue& v ) { session.families = familiesOf( v ); }, true },
      { "passive", [&]( const ConfigValue& v ) { session.passive = v.flag(); } },
      { "localAddress",
        [&]( const ConfigValue& v ) {
           session.localAddress = addressOf( v );
           if ( !session.peer.address.empty() &&
                session.localAddress.family() != session.peer.address.family() ) {
              v.fail( "not of the family of the peer's address" );
           }
        } },
      { "holdTime", [&]( const ConfigValue& v ) { session.holdTime = holdTimeOf( v ); } },
      { "connectRetryTime",
        [&]( const ConfigValue& v ) { session.connectRetryTime = number16( v, 1, 0xFFFF ); } },
      { "idleHoldTime",
        [&]( const ConfigValue& v ) { session.idleHoldTime = number16( v, 0, 0xFFFF ); } },
      { "password", [&]( const ConfigValue& v ) { passwordIs( v, v.text(), session ); } },
      { "passwordFile",
        [&]( const ConfigValue& v ) { passwordIs( v, passwordIn( v, folder ), session ); } },
      { "hops",
        [&]( const ConfigValue& v ) { session.hops = static_cast< U8 >( v.number( 1, 255 ) ); } },
      { "ttlSecurity", [&]( const ConfigValue& v ) { session.ttlSecurity = v.flag(); } },
      { "gracefulRestart", [&]( const ConfigValue& v ) { session.gracefulRestart = v.flag(); } },
      { "restartTime",
        [&]( const ConfigValue& v ) { session.restartTime = number16( v, 0, 4095 ); } },
      { "extendedMessages", [&]( const ConfigValue& v ) { session.extendedMessages = v.flag(); } },
      { "prefixes", [&]( const ConfigValue& v ) { import.prefixes = prefixesOf( v ); } },
      { "checkOriginator", [&]( const ConfigValue& v ) { import.checksOriginator = v.flag(); } },
      { "checkFirstAs", [&]( const ConfigValue& v ) { import.checksFirstAs = v.flag(); } },
      { "guards", [&]( const ConfigValue& v ) { readGuards( v, import.guards ); } },
      { "import", [&]( const ConfigValue& v ) { import.policy = importPolicyOf( v ); } },
      { "export",
        [&]( const ConfigValue& v ) { peer.exported.emplace().terms = exportTermsOf( v ); } },
      { "localPref",
        [&]( const ConfigValue& v ) { exportedOf( v, peer ).localPref = number32( v ); } },
      { "med", [&]( const ConfigValue& v ) { exportedOf( v, peer ).med = number32( v ); } },
   } );
}

// No two peers with one name, or that a connection could be of both.
void checkAlone( const ConfigValue& value, const PeerConfig& peer,
                 const std::vector< PeerConfig >& others ) {
   for ( const PeerConfig& other : others ) {
      if ( other.session.name == peer.session.name ) {
         value.failAt( "name", "another peer is '", peer.session.name, "' too" );
      }
      if ( other.session.peer.address == peer.session.peer.address &&
           other.session.localAddress == peer.session.localAddress ) {
         value.failAt( "address", "peer '", other.session.name, "' has it too" );
      }
   }
}

} // namespace

U32 asNumberOf( const ConfigValue& value ) {
   return static_cast< U32 >( value.number( 1, 0xFFFF'FFFE ) );
}

U32 identifierOf( const ConfigValue& value ) {
   const auto address = Zorv::IpGenAddr::fromText( value.text() );
   if ( !address || address->family() != Zorv::AddressFamily::ipv4 || address->ipv4Value() == 0 ) {
      value.fail( "'", value.text(), "' is not an identifier such as 192.0.2.1" );
   }
   return address->ipv4Value();
}

U16 portOf( const ConfigValue& value ) { return number16( value, 1, 0xFFFF ); }

Zorv::IpGenAddr addressOf( const ConfigValue& value ) {
   const auto address = Zorv::IpGenAddr::fromText( value.text() );
   if ( !address ) {
      value.fail( "'", value.text(), "' is not an address" );
   }
   return *address;
}

void readPeers( const ConfigValue& value, const Vek::String& folder, PeerdConfig& config ) {
   value.elements( [&]( const ConfigValue& element ) {
      PeerConfig peer;
      peer.session.localAs = peer.import.localAs = config.localAs;
      peer.session.routerId = peer.import.routerId = config.routerId;
      peer.import.clusterId = config.clusterId != 0 ? config.clusterId : config.routerId;
      if ( !readPeer( element, folder, peer ) ) {
         return;
      }
      checkAlone( element, peer, config.peers );
      peer.import.address = peer.session.peer.address;
      peer.import.peerAs = peer.session.peerAs;
      config.peers.push_back( std::move( peer ) );
   } );
}

} // namespace Peerd
