#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <optional>
#include <span>
#include <vector>

/// Octets of BGP-4 messages (RFC 4271) as values, and back. Octets come from outside: nothing here
/// throws or ends the process for any; a fault is a value that says what the peer is to be told.
namespace Bgp {

/// The error codes of NOTIFICATION messages, and below the subcodes of each.
struct ErrorCode {
   static constexpr U8 header = 1;
   static constexpr U8 open = 2;
   static constexpr U8 update = 3;
   static constexpr U8 holdTimer = 4;
   static constexpr U8 stateMachine = 5;
   static constexpr U8 cease = 6;
   static constexpr U8 routeRefresh = 7;  ///< RFC 7313
   static constexpr U8 sendHoldTimer = 8; ///< RFC 9687
};

struct HeaderError {
   static constexpr U8 notSynchronized = 1;
   static constexpr U8 badLength = 2; ///< data: the length field
   static constexpr U8 badType = 3;   ///< data: the type
};

struct OpenError {
   static constexpr U8 unspecific = 0;
   static constexpr U8 version = 1; ///< data: the highest version that is spoken, two octets
   static constexpr U8 peerAs = 2;
   static constexpr U8 identifier = 3;
   static constexpr U8 optionalParameter = 4;
   static constexpr U8 holdTime = 6;
   static constexpr U8 capability = 7; ///< RFC 5492; data: the capabilities that are missed
};

struct UpdateError {
   static constexpr U8 attributeList = 1;
   static constexpr U8 unknownWellKnown = 2;  ///< data: the attribute, with flags and length
   static constexpr U8 attributeFlags = 4;    ///< data: the attribute
   static constexpr U8 optionalAttribute = 9; ///< data: the attribute
   static constexpr U8 network = 10;
};

/// RFC 6608.
struct StateMachineError {
   static constexpr U8 openSent = 1;
   static constexpr U8 openConfirm = 2;
   static constexpr U8 established = 3;
};

/// RFC 4486, RFC 8538.
struct Cease {
   static constexpr U8 maximumPrefixes = 1; ///< data: AFI, SAFI and the maximum, or nothing
   static constexpr U8 administrativeShutdown = 2;
   static constexpr U8 peerDeconfigured = 3;
   static constexpr U8 administrativeReset = 4;
   static constexpr U8 connectionRejected = 5;
   static constexpr U8 otherConfigurationChange = 6;
   static constexpr U8 collision = 7;
   static constexpr U8 outOfResources = 8;
   static constexpr U8 hardReset = 9; ///< data: another notification's code, subcode and data
   static constexpr U8 bfdDown = 10;
};

struct RouteRefreshError {
   static constexpr U8 badLength = 1; ///< data: the message
};

/// A NOTIFICATION message: why a session ends.
struct Notification {
   U8 code = 0;
   U8 subcode = 0;
   std::vector< U8 > data;

   bool operator==( const Notification& ) const = default;
};

/// Why octets of a peer end the session: what it is told, and what is logged.
struct Fault {
   Notification notification;
   Vek::String text; ///< such as "the message length is 18, the least is 19"
};

/// Reads a NOTIFICATION's octets after the header, which `readHeader` made sure are 2 or more.
Notification readNotification( std::span< const U8 > body );

/// Appends the message. Data for which a message of 4096 octets has no room is cut off.
void writeNotification( const Notification& notification, std::vector< U8 >& out );

/// Cease with `subcode`, administrative shutdown or reset, and a text for the peer's operator (RFC
/// 9003): UTF-8, cut between two characters to 255 octets. Without text there is no data.
Notification shutdown( U8 subcode, std::string_view text = {} );

/// The text for operators in an administrative shutdown or reset, as received; nothing when there
/// is none, or its length is not that of the data, or it is not UTF-8.
std::optional< std::string_view > shutdownCommunication( const Notification& notification );

/// The notification that a hard reset carries `inner` in (RFC 8538), and what it carries; nothing
/// for any other.
Notification hardReset( const Notification& inner );
std::optional< Notification > insideHardReset( const Notification& notification );

/// For logs and people, ASCII alone, such as "cease, administrative shutdown: \"moving racks\"" or
/// "UPDATE message error, malformed attribute list". A code without a name is told as a number.
Vek::String describe( const Notification& notification );

} // namespace Bgp
