#include "agents/bgp/session/SessionSet.h"

#include "Vek/text/Text.h"
#include "agents/bgp/session/Listener.h"
#include "agents/bgp/session/PeerSession.h"

#include <algorithm>
#include <system_error>

namespace Bgp {

namespace {

constexpr std::string_view stoppedWords = "this side was shut down";

Notification cease( U8 subcode ) { return { ErrorCode::cease, subcode, {} }; }

} // namespace

SessionSet::SessionSet( Agents::EventLoop& loop, SessionHandler& handler, Options options )
   : loop_( loop ), handler_( handler ), options_( std::move( options ) ), began_( options_.now() ),
     farewells_( std::make_unique< Farewells >( loop, options_.now ) ), seed_( options_.seed ) {}

SessionSet::~SessionSet() = default;

std::vector< Vek::String > SessionSet::listen( const std::vector< SocketAddress >& addresses ) {
   std::erase_if( listeners_, [&addresses]( const auto& listener ) {
      return std::ranges::find( addresses, listener->address() ) == addresses.end();
   } );
   std::vector< Vek::String > faults;
   for ( const SocketAddress& address : addresses ) {
      if ( std::ranges::any_of( listeners_, [&address]( const auto& listener ) {
              return listener->address() == address;
           } ) ) {
         continue;
      }
      try {
         listeners_.push_back( std::make_unique< Listener >(
            loop_, address, options_.now,
            [this]( Socket connection ) { accept( std::move( connection ) ); }, options_.log ) );
      } catch ( const std::system_error& error ) {
         faults.emplace_back( error.what() );
         continue;
      }
      for ( const auto& session : sessions_ ) {
         passwordIs( *listeners_.back(), session->config(), session->config().password );
      }
   }
   return faults;
}

std::vector< SocketAddress > SessionSet::listening() const {
   std::vector< SocketAddress > ends;
   for ( const auto& listener : listeners_ ) {
      ends.push_back( localEnd( listener->socket() ) );
   }
   return ends;
}

void SessionSet::apply( const std::vector< SessionConfig >& configs ) {
   // What goes does so before what comes, which may want its addresses.
   for ( const auto& session : sessions_ ) {
      const auto config =
         std::ranges::find( configs, session->config().name, &SessionConfig::name );
      if ( config == configs.end() ) {
         session->stop( cease( Cease::peerDeconfigured ), "it is no longer configured" );
      } else if ( *config != session->config() ) {
         session->stop( cease( Cease::otherConfigurationChange ), "its configuration changed" );
      } else {
         continue;
      }
      passwordIs( session->config(), {} );
   }
   for ( const SessionConfig& config : configs ) {
      passwordIs( config, config.password );
   }
   Members left = std::exchange( sessions_, {} );
   for ( const SessionConfig& config : configs ) {
      const auto same = std::ranges::find_if( left, [&config]( const auto& session ) {
         return session && session->config().name == config.name;
      } );
      const bool isThere = same != left.end();
      if ( isThere ) {
         sessions_.push_back( std::move( *same ) );
      } else {
         sessions_.push_back( std::make_unique< PeerSession >(
            PeerSession::Common{ loop_, handler_, options_, *farewells_ }, config, ++seed_ ) );
      }
      PeerSession& session = *sessions_.back();
      if ( !isThere || session.config() != config ) {
         session.configIs( config );
         session.start( options_.restarted &&
                        options_.now() < began_ + std::chrono::seconds( config.restartTime ) );
      }
   }
}

std::vector< Session* > SessionSet::sessions() const {
   std::vector< Session* > all;
   for ( const auto& session : sessions_ ) {
      all.push_back( session.get() );
   }
   return all;
}

Session* SessionSet::find( std::string_view name ) {
   const auto at = std::ranges::find_if(
      sessions_, [name]( const auto& session ) { return session->config().name == name; } );
   return at == sessions_.end() ? nullptr : at->get();
}

void SessionSet::stop( std::string_view text ) {
   listeners_.clear();
   for ( const auto& session : sessions_ ) {
      session->stop( shutdown( Cease::administrativeShutdown, text ), stoppedWords );
   }
}

void SessionSet::leave() {
   listeners_.clear();
   for ( const auto& session : sessions_ ) {
      session->leave();
   }
}

bool SessionSet::stopped() const { return farewells_->empty(); }

void SessionSet::accept( Socket connection ) {
   const SocketAddress peer = remoteEnd( connection );
   PeerSession* const session = sessionFor( peer.address, localEnd( connection ).address );
   if ( session ) {
      session->accept( std::move( connection ) );
   } else if ( !peer.address.empty() ) {
      options_.log( Vek::concat( "refused a connection from ", peer.address.stringValue(),
                                 ", which is not the address of a peer" ) );
   }
}

PeerSession* SessionSet::sessionFor( const Zorv::IpGenAddr& peer,
                                     const Zorv::IpGenAddr& local ) const {
   PeerSession* found = nullptr;
   for ( const auto& session : sessions_ ) {
      const SessionConfig& config = session->config();
      if ( config.peer.address != peer ) {
         continue;
      }
      if ( config.localAddress == local ) {
         return session.get();
      }
      if ( config.localAddress.empty() ) {
         found = session.get();
      }
   }
   return found;
}

void SessionSet::passwordIs( const SessionConfig& config, const Vek::String& password ) {
   for ( const auto& listener : listeners_ ) {
      passwordIs( *listener, config, password );
   }
}

void SessionSet::passwordIs( const Listener& listener, const SessionConfig& config,
                             const Vek::String& password ) {
   if ( config.password.empty() ||
        listener.address().address.family() != config.peer.address.family() ) {
      return;
   }
   try {
      Bgp::passwordIs( listener.socket(), config.peer.address, password );
   } catch ( const std::system_error& error ) {
      options_.log( Vek::concat( config.name, ": ", error.what() ) );
   }
}

} // namespace Bgp
