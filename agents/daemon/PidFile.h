#pragma once

#include "Vek/text/String.h"

namespace Agents {

/// A file with the process's number that one process at a time holds: it is locked for as long as
/// the object lives, however the process ends, and goes with the object.
class PidFile {
public:
   /// Takes `file`, which is not there, is empty or holds the number of a process that is gone.
   /// The number is written whole or not at all; links are not followed. `std::runtime_error`,
   /// "cannot PURPOSE: REASON", and nothing is changed then.
   PidFile( Vek::String file, const Vek::String& purpose );
   PidFile( const PidFile& ) = delete;
   PidFile& operator=( const PidFile& ) = delete;
   /// Removes the file, unless another one has its name by now.
   ~PidFile();

private:
   void lock();
   void write();

   const Vek::String file_;
   const Vek::String temporary_;
   int fd_ = -1;
};

} // namespace Agents
