#pragma once

#include "agents/bgp/session/Session.h"
#include "agents/bgp/session/SessionHandler.h"

#include <functional>
#include <memory>

namespace Bgp {

class Farewells;
class Listener;
class PeerSession;
class Socket;

/// All sessions of a BGP speaker, and where it listens for them. One thread, that of its event
/// loop; nothing here waits.
///
/// A session takes a bounded part of each turn of the loop, whatever its peer sends: at most 64
/// messages, and none after those that make up 8 KiB. It has at most 64 KiB of what it
/// received and 320 KiB of what it is to send. Connections from addresses that no session has are
/// closed at once.
class SessionSet {
public:
   struct Options {
      /// Lines for people, without an end. Peers cause them, as many as they like.
      std::function< void( std::string_view ) > log;
      /// This process was started again and still has what it had: rules are announced again soon,
      /// so peers that agreed on graceful restart keep them (RFC 4724's restart state and
      /// forwarding bits).
      bool restarted = false;
      /// Of the jitter of timers.
      U64 seed = 0;
      /// What time it is.
      std::function< Session::Time() > now = Agents::EventLoop::Clock::now;
   };

   /// `loop` and `handler` outlive it.
   SessionSet( Agents::EventLoop& loop, SessionHandler& handler, Options options );
   SessionSet( const SessionSet& ) = delete;
   SessionSet& operator=( const SessionSet& ) = delete;
   /// Closes what is open without a word; the handler is not called.
   ~SessionSet();

   /// Listens on these addresses and on no others; those that it listens on already stay as they
   /// are. A port of 0 is the system's choice. Returns why it cannot listen on some of them, such
   /// as "cannot listen on 192.0.2.1:179: Address already in use"; it listens on the others then.
   std::vector< Vek::String > listen( const std::vector< SocketAddress >& addresses );
   /// Where it listens, with the ports that the system chose.
   std::vector< SocketAddress > listening() const;

   /// Makes these the sessions. One whose configuration is the same goes on undisturbed, one with
   /// another configuration ends (Cease/Other Configuration Change) and begins anew, one that is
   /// missing ends (Cease/Peer De-configured) and is destroyed. None of them may have a `fault`.
   /// Not to be called from a `SessionHandler`.
   void apply( const std::vector< SessionConfig >& configs );

   /// In the order of the configuration.
   std::vector< Session* > sessions() const;
   /// Null when there is none of that name.
   Session* find( std::string_view name );

   /// Ends all sessions with Cease/Administrative Shutdown and `text` (RFC 9003), of which at most
   /// 255 octets are sent, and connects to none of them any more.
   void stop( std::string_view text );
   /// Ends all connections without a NOTIFICATION, so that peers that agreed on graceful restart
   /// keep our rules for its time: for a process that is started again soon.
   void leave();
   /// Whether nothing is left to be sent after `stop`; it takes a second at most.
   bool stopped() const;

private:
   using Members = std::vector< std::unique_ptr< PeerSession > >;

   void accept( Socket connection );
   PeerSession* sessionFor( const Zorv::IpGenAddr& peer, const Zorv::IpGenAddr& local ) const;
   /// Makes listeners want, or no longer want, signatures of the session's peer.
   void passwordIs( const SessionConfig& config, const Vek::String& password );
   void passwordIs( const Listener& listener, const SessionConfig& config,
                    const Vek::String& password );

   Agents::EventLoop& loop_;
   SessionHandler& handler_;
   const Options options_;
   const Session::Time began_;
   std::unique_ptr< Farewells > farewells_;
   std::vector< std::unique_ptr< Listener > > listeners_;
   Members sessions_;
   U64 seed_;
};

} // namespace Bgp
