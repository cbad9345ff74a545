#pragma once

#include "Osk/Types.h"

#include <string_view>

namespace Bgp {

/// A state of a connection (RFC 4271 section 8.2.2), in the order in which a session comes up.
enum class State : U8 { idle, connect, active, openSent, openConfirm, established };

inline constexpr int states = 6;

/// "Idle", "Connect", "Active", "OpenSent", "OpenConfirm", "Established".
std::string_view text( State state );

/// What happens to a connection. The numbers are those of RFC 4271 section 8.1 and RFC 9687; the
/// last one, for the message of RFC 2918, has none.
///
/// Not there are the optional delay of OPEN messages (12, 20), connections that are tracked before
/// they are there (14, 15), and damping in the machine of one connection (6, 7, 13): that is the
/// peer's matter, not a connection's.
enum class Event : U8 {
   manualStart = 1,
   manualStop = 2,
   automaticStart = 3,
   manualStartPassive = 4,
   automaticStartPassive = 5,
   automaticStop = 8,
   connectRetryTimerExpires = 9,
   holdTimerExpires = 10,
   keepaliveTimerExpires = 11,
   tcpCrAcked = 16,             ///< our connection is there
   tcpConnectionConfirmed = 17, ///< the peer's is
   tcpConnectionFails = 18,
   bgpOpen = 19,
   bgpHeaderErr = 21,
   bgpOpenMsgErr = 22,
   openCollisionDump = 23,
   notifMsgVerErr = 24,
   notifMsg = 25,
   keepAliveMsg = 26,
   updateMsg = 27,
   updateMsgErr = 28,
   sendHoldTimerExpires = 29,
   routeRefreshMsg = 30,
};

inline constexpr int eventNumbers = 31; ///< one more than the last

} // namespace Bgp
