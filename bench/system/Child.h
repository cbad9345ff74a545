#pragma once

#include "Vek/text/String.h"

#include <functional>
#include <vector>

#include <sys/types.h>

namespace Bench {

/// A process beside the benchmark; killed with the object.
class Child {
public:
   /// Runs a program, found by PATH; what it says is dropped.
   explicit Child( std::vector< Vek::String > command );
   /// Runs a function in a copy of this process.
   explicit Child( const std::function< void() >& work );
   Child( const Child& ) = delete;
   Child& operator=( const Child& ) = delete;
   ~Child();

   /// Memory that it holds, in bytes, and the most that it held.
   std::size_t memory() const;
   std::size_t peakMemory() const;
   /// CPU time that all its threads used, in seconds, to a hundredth.
   double cpuSeconds() const;

private:
   pid_t pid_;
};

/// A folder for sockets and files; gone with the object.
class Folder {
public:
   Folder();
   Folder( const Folder& ) = delete;
   Folder& operator=( const Folder& ) = delete;
   ~Folder();

   Vek::String file( const char* name ) const { return path_ + '/' + name; }

private:
   Vek::String path_;
};

/// Seconds that `work` takes.
double secondsOf( const std::function< void() >& work );

/// The middle one of some figures.
double median( std::vector< double > figures );

/// Ends the program with what failed.
[[noreturn]] void fail( const Vek::String& message );

} // namespace Bench
