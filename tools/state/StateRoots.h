#pragma once

#include "Vek/mount/Mount.h"

#include <functional>
#include <map>
#include <stdexcept>

namespace Tools {

/// Where the state database listens when nothing else is said.
inline constexpr const char* defaultEndpoint = "/run/flowspec/statedb.sock";

/// Root entities of a state database, mounted for as long as a command runs.
class StateRoots {
public:
   explicit StateRoots( Vek::log::Endpoint endpoint ) : endpoint_( std::move( endpoint ) ) {}

   /// Begins to read a root.
   void read( const Vek::String& root );
   /// Begins to write a root of `type`, with what the database has of it. Readers get what is
   /// changed in it.
   void takeOver( const Vek::String& type, const Vek::String& root );

   /// Lets the mounts go on until all stand or have said why they cannot, for `patience` at most.
   /// One whose root another agent writes waits for that.
   void settle( std::chrono::milliseconds patience = std::chrono::seconds( 10 ) );
   /// Lets them go on until `done`, for `patience` at most; whether it was done.
   bool until( const std::function< bool() >& done, std::chrono::milliseconds patience );
   /// Lets them go on once; waits for them, but not for longer than `atMost`.
   void turn( std::chrono::milliseconds atMost );

   std::span< Vek::log::Mount* const > mounts() const { return mounts_; }

   /// Why a mount does not stand; empty when it does.
   static Vek::String fault( const Vek::log::Mount& mount );

   /// `std::runtime_error`, with its root and why, when a mount does not stand.
   void mustStand() const;

   /// Reports on standard error why connections were lost since the last call.
   void reportFaults();

   /// Whether a mount does not stand because nobody listens at the endpoint.
   static bool unreachable( const Vek::log::Mount& mount );

   /// A root that is there; null when the database has none of that name.
   Vek::Ptr< Vek::NamedEntity > find( const Vek::String& root ) const {
      return directory_.entity( root );
   }
   /// The same of a type. `std::runtime_error` when its mount does not stand, and when the root is
   /// of another type.
   template < typename T >
   Vek::Ptr< T > find( const Vek::String& root ) const {
      return Vek::Ptr< T >( static_cast< T* >( checked( root, T::type() ) ) );
   }
   /// A root that must be there; `std::runtime_error` when it is not, too.
   template < typename T >
   Vek::Ptr< T > get( const Vek::String& root ) const {
      return Vek::Ptr< T >( static_cast< T* >( get( root, T::type() ).get() ) );
   }
   Vek::Ptr< Vek::NamedEntity > get( const Vek::String& root, const Vek::TypeInfo& type ) const;

   /// What is said of a root that the database does not have.
   static constexpr const char* absent = "the state database has no such root";

private:
   void add( std::unique_ptr< Vek::log::Mount > mount );
   Vek::NamedEntity* checked( const Vek::String& root, const Vek::TypeInfo& type ) const;

   const Vek::log::Endpoint endpoint_;
   Vek::Directory directory_;
   std::vector< std::unique_ptr< Vek::log::Mount > > owned_;
   std::vector< Vek::log::Mount* > mounts_; ///< the same
   std::map< const Vek::log::Mount*, Vek::String > reported_;
};

} // namespace Tools
