#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"

#include <chrono>

namespace Tools {

/// The time that a command has: ten seconds.
class Deadline {
public:
   std::chrono::milliseconds left() const;
   bool over() const { return left().count() == 0; }

private:
   std::chrono::steady_clock::time_point end_ =
      std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
};

/// Changes what operators configured.
class CliConfigWriter {
public:
   /// Both outlive the writer.
   CliConfigWriter( const SystemOptions& system, const Deadline& deadline )
      : system_( system ), deadline_( deadline ) {}

   /// Takes the configuration over, changes it, and returns when the state database has the change,
   /// on its disk if it keeps the root. A database that goes meanwhile may come again: then all of
   /// it is done once more, as others may have changed the configuration, too; `change` is the same
   /// however often it is made. Creates a configuration that is not there only if `creates`.
   /// `std::runtime_error` when it could not be done in time, and at once when there is no
   /// database.
   void write( bool creates, const std::function< void( Flowspec::CliConfig& ) >& change );

private:
   Vek::String attempt( bool creates, const std::function< void( Flowspec::CliConfig& ) >& change );
   Vek::String look();
   Vek::String settle( StateRoots& roots );

   const SystemOptions& system_;
   const Deadline& deadline_;
   bool isFirst_ = true;
   bool reached_ = false; // there was a database
};

/// Asks for counters, and waits until the root of counters, which `roots` reads, has them; returns
/// it. The configuration, in which the request is written, must be there: it is not created.
/// `std::runtime_error` when it is not, and when nobody answers for ten seconds.
Vek::Ptr< Flowspec::Counter > refreshCounters( const SystemOptions& system, StateRoots& roots );

} // namespace Tools
