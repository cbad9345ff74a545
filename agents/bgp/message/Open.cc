#include "agents/bgp/message/Open.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"
#include "agents/bgp/message/Header.h"

#include <algorithm>
#include <iterator>

namespace Bgp {

namespace {

constexpr U8 version = 4;
constexpr U8 capabilitiesType = 2;
constexpr U8 extendedType = 255; // the parameters are in the form of RFC 9072
constexpr std::size_t fixedSize = 10;

Fault fault( U8 subcode, Vek::String text, std::vector< U8 > data = {} ) {
   return { { ErrorCode::open, subcode, std::move( data ) }, std::move( text ) };
}

// Parameters of a type, a length of `lengthSize` octets, and a value each.
std::optional< Fault > readParameters( std::span< const U8 > octets, std::size_t lengthSize,
                                       Capabilities& capabilities ) {
   while ( !octets.empty() ) {
      const U8 type = octets[0];
      const std::size_t left = octets.size() - 1;
      std::size_t length = 0;
      if ( left >= lengthSize ) {
         length = lengthSize == 1 ? octets[1] : Osk::loadBig16( &octets[1] );
      }
      if ( left < lengthSize + length ) {
         return fault( OpenError::unspecific,
                       Vek::concat( "the optional parameter of type ", type, " is cut off" ) );
      }
      if ( type != capabilitiesType ) {
         return fault( OpenError::optionalParameter,
                       Vek::concat( "the optional parameter type ", type, " is not known" ) );
      }
      if ( auto bad = readCapabilities( octets.subspan( 1 + lengthSize, length ), capabilities ) ) {
         return bad;
      }
      octets = octets.subspan( 1 + lengthSize + length );
   }
   return std::nullopt;
}

std::optional< Fault > readParameterField( std::span< const U8 > octets, U8 length,
                                           Capabilities& capabilities ) {
   std::size_t told = length;
   std::size_t lengthSize = 1;
   if ( length != 0 && !octets.empty() && octets[0] == extendedType ) {
      // The length of one octet is not to be looked at then.
      if ( octets.size() < 3 ) {
         return fault( OpenError::unspecific, "the extended parameters length is cut off" );
      }
      told = Osk::loadBig16( &octets[1] );
      octets = octets.subspan( 3 );
      lengthSize = 2;
   }
   if ( told != octets.size() ) {
      return fault( OpenError::unspecific, Vek::concat( "the optional parameters length is ", told,
                                                        ", ", octets.size(), " octets follow" ) );
   }
   return readParameters( octets, lengthSize, capabilities );
}

} // namespace

std::optional< Fault > readOpen( std::span< const U8 > body, Open& open ) {
   if ( body[0] != version ) {
      return fault( OpenError::version, Vek::concat( "the version is ", body[0], ", not 4" ),
                    { 0, version } );
   }
   const U16 shortAs = Osk::loadBig16( &body[1] );
   open = { shortAs, Osk::loadBig16( &body[3] ), Osk::loadBig32( &body[5] ), {} };
   if ( auto bad = readParameterField( body.subspan( fixedSize ), body[9], open.capabilities ) ) {
      return bad;
   }
   open.as = open.capabilities.fourOctetAs.value_or( shortAs );
   if ( shortAs == 0 || open.as == 0 ) {
      return fault( OpenError::peerAs, "the AS number is 0" );
   }
   if ( open.holdTime == 1 || open.holdTime == 2 ) {
      return fault( OpenError::holdTime, Vek::concat( "the hold time is ", open.holdTime,
                                                      ", it must be 0, or 3 and more" ) );
   }
   if ( open.identifier == 0 ) {
      return fault( OpenError::identifier, "the identifier is 0.0.0.0" );
   }
   return std::nullopt;
}

void writeOpen( const Open& open, std::vector< U8 >& out ) {
   const std::size_t start = beginMessage( MessageType::open, out );
   out.push_back( version );
   append16( out, static_cast< U16 >( open.as > 0xFFFF ? asTrans : open.as ) );
   append16( out, open.holdTime );
   append32( out, open.identifier );
   std::vector< U8 > capabilities;
   writeCapabilities( open.capabilities, capabilities );
   const std::size_t size = capabilities.size();
   if ( size > 255 - 2 ) {
      out.insert( out.end(), { 255, extendedType } );
      append16( out, static_cast< U16 >( size + 3 ) );
      out.push_back( capabilitiesType );
      append16( out, static_cast< U16 >( size ) );
   } else if ( size == 0 ) {
      out.push_back( 0 );
   } else {
      out.insert( out.end(),
                  { static_cast< U8 >( size + 2 ), capabilitiesType, static_cast< U8 >( size ) } );
   }
   out.insert( out.end(), capabilities.begin(), capabilities.end() );
   endMessage( start, out );
}

bool Agreed::has( Family family ) const {
   return std::ranges::find( families, family ) != families.end();
}

std::optional< Fault > checkOpen( const Open& ours, const Open& theirs, U32 peerAs ) {
   if ( theirs.as != peerAs ) {
      return fault( OpenError::peerAs,
                    Vek::concat( "the AS number is ", theirs.as, ", not ", peerAs ) );
   }
   if ( ours.as == theirs.as && ours.identifier == theirs.identifier ) {
      return fault( OpenError::identifier, "the identifier is ours" );
   }
   if ( negotiate( ours, theirs ).families.empty() ) {
      Capabilities missed;
      missed.families = ours.capabilities.families;
      Fault none = fault( OpenError::capability, "there is no address family in common" );
      writeCapabilities( missed, none.notification.data );
      return none;
   }
   return std::nullopt;
}

Agreed negotiate( const Open& ours, const Open& theirs ) {
   const Capabilities& own = ours.capabilities;
   const Capabilities& peers = theirs.capabilities;
   Agreed agreed;
   agreed.localAs = ours.as;
   agreed.peerAs = theirs.as;
   agreed.peerIdentifier = theirs.identifier;
   agreed.holdTime = std::min( ours.holdTime, theirs.holdTime );
   std::ranges::copy_if(
      own.families, std::back_inserter( agreed.families ), [&peers]( Family family ) {
         return std::ranges::find( peers.families, family ) != peers.families.end();
      } );
   agreed.fourOctetAs = own.fourOctetAs && peers.fourOctetAs;
   agreed.routeRefresh = peers.routeRefresh;
   agreed.enhancedRefresh = own.enhancedRefresh && peers.enhancedRefresh;
   agreed.maxSend = peers.extendedMessages ? maxExtendedMessage : maxMessage;
   agreed.maxReceive = own.extendedMessages ? maxExtendedMessage : maxMessage;
   if ( own.gracefulRestart && peers.gracefulRestart ) {
      agreed.gracefulRestart = peers.gracefulRestart;
      std::erase_if( agreed.gracefulRestart->families, [&agreed]( const GracefulFamily& member ) {
         return !agreed.has( member.family );
      } );
      agreed.gracefulNotifications =
         own.gracefulRestart->notifications && peers.gracefulRestart->notifications;
   }
   return agreed;
}

} // namespace Bgp
