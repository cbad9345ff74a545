#pragma once

#include "bench/system/Child.h"

#include <memory>

#include <unistd.h>

namespace Bench {

/// Where the programs listen, at 127.0.0.1.
inline constexpr U16 peerPort = 17900;

/// Where the peers connect from.
Vek::String addressOf( U32 peer );

/// A BGP speaker under test, of AS 64500, which listens for so many peers of AS 64600.
class Program {
public:
   virtual ~Program() = default;
   /// Returns when so many rules are there.
   virtual void await( U32 count ) = 0;
   double cpuSeconds() const { return child_->cpuSeconds(); }
   /// Of another one that it works with.
   virtual double otherCpuSeconds() const { return 0; }
   std::size_t peakMemory() const { return child_->peakMemory(); }

protected:
   /// Asks for the number of rules until it is the one that is wanted.
   template < typename Count >
   static void askUntil( U32 wanted, Count count ) {
      while ( count() != wanted ) {
         ::usleep( 20'000 );
      }
   }

   const Folder folder_;
   std::unique_ptr< Child > child_;
};

/// `peerd` of a build, with a state database of its own; a reader in this process sees the rules.
std::unique_ptr< Program > makePeerd( const Vek::String& build, U32 peers );
/// `peerd` without what comes after its decision: it holds routes and files none, as those below.
std::unique_ptr< Program > makePeerdRoutes( U32 peers );
/// Is that, in a process of its own, which `makePeerdRoutes` starts as `PeerBench --routes PEERS
/// FILE`; `count` is the file that tells how many rules would be filed.
[[noreturn]] void runPeerdRoutes( U32 peers, const Vek::String& count );
/// These are asked how many routes they have.
std::unique_ptr< Program > makeBird( U32 peers );
std::unique_ptr< Program > makeGoBgp( U32 peers );

} // namespace Bench
