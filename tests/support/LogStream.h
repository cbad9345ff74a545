#pragma once

#include "Vek/entity/Directory.h"
#include "Vek/log/Source.h"
#include "tests/support/MessageList.h"

#include <algorithm>

namespace TestSupport {

/// Takes what a sender has to send, up to `limit` bytes.
inline std::vector< U8 > take( Vek::log::Sender& sender, std::size_t limit = ~std::size_t{ 0 } ) {
   std::vector< U8 > bytes;
   while ( bytes.size() < limit ) {
      sender.fill();
      const std::span< const U8 > pending = sender.pending();
      if ( pending.empty() ) {
         break;
      }
      const std::size_t size = std::min( pending.size(), limit - bytes.size() );
      bytes.insert( bytes.end(), pending.begin(),
                    pending.begin() + static_cast< std::ptrdiff_t >( size ) );
      sender.sent( size );
   }
   return bytes;
}

/// The whole of some roots as a new connection receives it: equal for equal trees.
inline std::vector< U8 > encoded( const std::vector< Vek::Ptr< Vek::NamedEntity > >& roots ) {
   Vek::log::Source source;
   for ( const auto& root : roots ) {
      source.rootIs( *root );
   }
   Vek::log::Sender sender( source );
   return take( sender );
}

/// The same for all roots of a directory.
inline std::vector< U8 > encoded( const Vek::Directory& directory ) {
   std::vector< Vek::Ptr< Vek::NamedEntity > > roots;
   for ( const Vek::String& name : directory.names() ) {
      roots.push_back( directory.entity( name ) );
   }
   return encoded( roots );
}

/// The first message in which the roots of two directories differ as they are encoded, in both; ""
/// when they are equal.
inline std::string difference( const Vek::Directory& a, const Vek::Directory& b ) {
   const std::vector< std::string > ofA = messages( encoded( a ) );
   const std::vector< std::string > ofB = messages( encoded( b ) );
   const auto [atA, atB] = std::mismatch( ofA.begin(), ofA.end(), ofB.begin(), ofB.end() );
   const auto text = []( const auto& at, const auto& all ) {
      return at == all.end() ? "the end" : *at;
   };
   return atA == ofA.end() && atB == ofB.end() ? "" : text( atA, ofA ) + " | " + text( atB, ofB );
}

} // namespace TestSupport
