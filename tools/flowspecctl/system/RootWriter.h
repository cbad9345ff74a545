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

/// Changes a root that operators write.
class RootWriter {
public:
   /// The root is of `type`. What is given as a reference outlives the writer.
   RootWriter( const Vek::String& endpoint, const Vek::String& root, const Vek::TypeInfo& type,
               const Deadline& deadline )
      : endpoint_( endpoint ), root_( root ), type_( type ), deadline_( deadline ) {}

   /// Takes the root over, changes it, and returns when the state database has the change, on its
   /// disk if it keeps the root. A database that goes meanwhile may come again: then all of it is
   /// done once more, as others may have changed the root, too; `change` is the same however often
   /// it is made. Creates a root that is not there only if `creates`. `std::runtime_error` when it
   /// could not be done in time, and at once when there is no database.
   void write( bool creates, const std::function< void( Vek::NamedEntity& ) >& change );

private:
   Vek::String attempt( bool creates, const std::function< void( Vek::NamedEntity& ) >& change );
   Vek::String look();
   Vek::String settle( StateRoots& roots );

   const Vek::log::Endpoint endpoint_;
   const Vek::String& root_;
   const Vek::TypeInfo& type_;
   const Deadline& deadline_;
   bool isFirst_ = true;
   bool reached_ = false; // there was a database
};

/// The time of a request that is made now, later than the one before it: two within the clock's
/// step are two. Seconds since the Unix epoch.
double requestTime( double before );

} // namespace Tools
