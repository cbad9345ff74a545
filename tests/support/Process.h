#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <chrono>
#include <vector>

#include <sys/types.h>

namespace TestSupport {

/// Waits for the end of a child, which is not reaped. One that does not end in time is killed, and
/// the answer is false.
bool endsWithin( pid_t child, std::chrono::milliseconds patience );

/// A program that runs beside the test; killed with the object.
class Process {
public:
   /// Starts `command`, found by PATH; what it writes goes to the file `errors`, after what
   /// is there.
   Process( std::vector< Vek::String > command, Vek::String errors );
   Process( const Process& ) = delete;
   Process& operator=( const Process& ) = delete;
   ~Process() { kill(); }

   pid_t number() const { return pid_; }

   void signal( int number ) const;

   /// Ends it with SIGKILL.
   void kill();

   /// Waits for its end, a minute at most: the exit status, or the negated signal that ended it.
   int wait();

   /// All that was written to the file of its errors.
   Vek::String errors() const;

   /// Memory that it holds, in KiB.
   U64 memory() const;

private:
   Vek::String errors_;
   pid_t pid_;
};

} // namespace TestSupport
