#include "agents/daemon/ImmediateEnd.h"

#include <csignal>
#include <cstdlib>

#include <unistd.h>

namespace Agents {

namespace {

const char* file = nullptr;

// Of what a handler may call.
void endNow( int ) {
   if ( file ) {
      ::unlink( file );
   }
   ::_exit( EXIT_SUCCESS );
}

void mask( int how ) {
   sigset_t set;
   sigemptyset( &set );
   sigaddset( &set, SIGTERM );
   sigaddset( &set, SIGINT );
   ::sigprocmask( how, &set, nullptr );
}

} // namespace

ImmediateEnd::ImmediateEnd( const Vek::String& pidFile ) {
   file = pidFile.empty() ? nullptr : pidFile.c_str();
   ::signal( SIGTERM, endNow );
   ::signal( SIGINT, endNow );
   mask( SIG_UNBLOCK );
}

// The handlers stay: while the signals are blocked they are not called.
ImmediateEnd::~ImmediateEnd() { mask( SIG_BLOCK ); }

} // namespace Agents
