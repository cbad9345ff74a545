#pragma once

#include "Vek/types/Ptr.h"

namespace TestSupport {

/// The thread-safe mode of the runtime, for as long as a test has entities on two threads.
class ThreadSafe {
public:
   ThreadSafe() { Vek::threadSafeModeIs( true ); }
   ThreadSafe( const ThreadSafe& ) = delete;
   ThreadSafe& operator=( const ThreadSafe& ) = delete;
   ~ThreadSafe() { Vek::threadSafeModeIs( false ); }
};

} // namespace TestSupport
