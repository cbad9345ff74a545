#include "tools/flowspecctl/system/RootList.h"

#include "Vek/mount/FdTransport.h"
#include "Vek/mount/Greeting.h"
#include "Vek/text/Exceptions.h"
#include "Vek/text/Printable.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>

#include <poll.h>

namespace Tools {

namespace {

using Vek::log::Greeting;

constexpr std::chrono::seconds patience( 10 );
// A database has at most 4096 roots, and the line of one is little longer than a greeting.
constexpr std::size_t maxReply = std::size_t{ 16 } << 20;

// All that the database says to who asks for its roots.
Vek::String ask( const Vek::log::Endpoint& endpoint ) {
   const Vek::String greeting =
      Greeting{ .lists = true, .agent = "flowspecctl", .root = {} }.text();
   std::span< const U8 > unsent( reinterpret_cast< const U8* >( greeting.data() ),
                                 greeting.size() );
   Vek::log::FdTransport transport( endpoint.connect() );
   Vek::String reply;
   const auto end = std::chrono::steady_clock::now() + patience;
   while ( reply.size() <= maxReply ) {
      const auto left =
         std::chrono::ceil< std::chrono::milliseconds >( end - std::chrono::steady_clock::now() );
      if ( left.count() <= 0 ) {
         break;
      }
      const int events = unsent.empty() ? POLLIN : POLLIN | POLLOUT;
      pollfd polled{ .fd = transport.fd(), .events = static_cast< short >( events ), .revents = 0 };
      ::poll( &polled, 1, static_cast< int >( left.count() ) );
      if ( !unsent.empty() ) {
         unsent = unsent.subspan( transport.send( unsent ) );
      }
      std::array< U8, 4096 > room; // NOLINT(cppcoreguidelines-pro-type-member-init)
      const auto count = transport.receive( room );
      if ( !count ) {
         return reply;
      }
      reply.append( reinterpret_cast< const char* >( room.data() ), *count );
   }
   throw std::runtime_error( "the state database does not answer" );
}

std::string_view takeUntil( std::string_view& text, char end ) {
   const std::size_t at = std::min( text.find( end ), text.size() );
   const std::string_view taken = text.substr( 0, at );
   text.remove_prefix( std::min( at + 1, text.size() ) );
   return taken;
}

std::vector< RootInfo > rootsOf( std::string_view reply ) {
   const std::string_view answer = takeUntil( reply, '\n' );
   if ( answer.starts_with( Greeting::refused ) ) {
      throw std::runtime_error( Vek::printable( answer.substr( Greeting::refused.size() ) ) );
   }
   const auto strange = [] {
      return std::runtime_error( "the answer is not that of a state database" );
   };
   if ( answer != Greeting::accepted ) {
      throw strange();
   }
   std::vector< RootInfo > roots;
   while ( !reply.empty() ) {
      std::string_view line = takeUntil( reply, '\n' );
      RootInfo& root = roots.emplace_back();
      for ( Vek::String* const field :
            { &root.name, &root.type, &root.readers, &root.agent, &root.writer } ) {
         *field = takeUntil( line, '\t' );
         if ( field->empty() ) {
            throw strange();
         }
      }
   }
   return roots;
}

} // namespace

std::vector< RootInfo > listRoots( const Vek::log::Endpoint& endpoint ) {
   try {
      return rootsOf( ask( endpoint ) );
   } catch ( const Vek::StreamException& exception ) {
      throw std::runtime_error( exception.what() );
   }
}

} // namespace Tools
