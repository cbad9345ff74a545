#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <vector>

namespace Bench {

/// An external peer (AS 64600) of a BGP speaker on loopback that announces rules of IPv4. What the
/// speaker sends is read and dropped.
class PeerSpeaker {
public:
   /// Connects from `address` to 127.0.0.1 and `port`, where somebody will listen soon, and waits
   /// until the session is established. Ends the program when that is not so after 30 seconds.
   PeerSpeaker( const Vek::String& address, U16 port );
   PeerSpeaker( const PeerSpeaker& ) = delete;
   PeerSpeaker& operator=( const PeerSpeaker& ) = delete;
   ~PeerSpeaker();

   /// Sends whole messages.
   void send( const std::vector< U8 >& messages );

private:
   bool greet();
   void drop();

   int socket_ = -1;
};

/// How many rules stand in one message.
inline constexpr U32 rulesPerMessage = 50;

/// The messages that announce the rules `first` to `first + count - 1`, each with a destination, a
/// protocol and one or two ports of its own. Of 400 rules each 50 have another rate limit.
std::vector< U8 > announcements( U32 first, U32 count );
std::vector< U8 > withdrawals( U32 first, U32 count );

} // namespace Bench
