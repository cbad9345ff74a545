#include "tools/state/StateRoots.h"

#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"

#include <algorithm>

namespace Tools {

namespace {

using Vek::log::Mount;

constexpr const char* agent = "flowspecctl";

// Whether a mount may yet come to stand by itself.
bool isOpen( const Mount* mount ) {
   return !mount->stands() && ( mount->fd() >= 0 || mount->refused() );
}

} // namespace

void StateRoots::read( const Vek::String& root ) {
   add( std::make_unique< Mount >( endpoint_, agent, root, directory_ ) );
}

void StateRoots::takeOver( const Vek::String& type, const Vek::String& root ) {
   add( std::make_unique< Mount >( endpoint_, agent, type, root, directory_ ) );
}

void StateRoots::add( std::unique_ptr< Mount > mount ) {
   mounts_.push_back( mount.get() );
   owned_.push_back( std::move( mount ) );
}

void StateRoots::turn( std::chrono::milliseconds atMost ) {
   Mount::wait( mounts_, atMost );
   for ( Mount* const mount : mounts_ ) {
      mount->process();
   }
}

bool StateRoots::until( const std::function< bool() >& done, std::chrono::milliseconds atMost ) {
   const auto end = Mount::Clock::now() + atMost;
   while ( !done() ) {
      const auto left = std::chrono::ceil< std::chrono::milliseconds >( end - Mount::Clock::now() );
      if ( left.count() <= 0 ) {
         return false;
      }
      turn( left );
   }
   return true;
}

void StateRoots::settle( std::chrono::milliseconds patience ) {
   turn( {} ); // begins to connect
   until( [&] { return std::ranges::none_of( mounts_, isOpen ); }, patience );
}

Vek::String StateRoots::fault( const Mount& mount ) {
   if ( mount.stands() ) {
      return {};
   }
   // One that was refused tries again, and keeps the reason meanwhile.
   const bool isWaiting = mount.fd() >= 0 && !mount.refused();
   return isWaiting ? "the state database does not answer" : mount.error();
}

void StateRoots::mustStand() const {
   for ( const Mount* const mount : mounts_ ) {
      if ( const Vek::String reason = fault( *mount ); !reason.empty() ) {
         throw std::runtime_error( mount->root() + ": " + reason );
      }
   }
}

void StateRoots::reportFaults() {
   for ( const Mount* const mount : mounts_ ) {
      Vek::String& last = reported_[mount];
      if ( last != mount->error() ) {
         last = mount->error();
         if ( !last.empty() ) {
            Forms::reportFile( mount->root(), last );
         }
      }
   }
}

bool StateRoots::unreachable( const Mount& mount ) {
   return !mount.stands() && mount.error().starts_with( "cannot connect to " );
}

Vek::Ptr< Vek::NamedEntity > StateRoots::get( const Vek::String& root,
                                              const Vek::TypeInfo& type ) const {
   if ( Vek::NamedEntity* const entity = checked( root, type ) ) {
      return Vek::Ptr( entity );
   }
   throw std::runtime_error( root + ": " + absent );
}

Vek::NamedEntity* StateRoots::checked( const Vek::String& root, const Vek::TypeInfo& type ) const {
   const auto mount = std::ranges::find( mounts_, root, &Mount::root );
   if ( const Vek::String reason = fault( **mount ); !reason.empty() ) {
      throw std::runtime_error( root + ": " + reason );
   }
   const auto entity = find( root );
   if ( entity && &entity->typeInfo() != &type ) {
      throw std::runtime_error(
         Vek::concat( root, ": this is a ", entity->typeInfo().name, " and no ", type.name ) );
   }
   return entity.get();
}

} // namespace Tools
