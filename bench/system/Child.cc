#include "bench/system/Child.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Bench {

namespace {

pid_t forked( const std::function< void() >& work ) {
   const pid_t pid = ::fork();
   if ( pid == 0 ) {
      ::prctl( PR_SET_PDEATHSIG, SIGKILL );
      work();
      ::_exit( 0 );
   }
   if ( pid < 0 ) {
      fail( "cannot fork" );
   }
   return pid;
}

} // namespace

Child::Child( std::vector< Vek::String > command )
   : pid_( forked( [&] {
        std::vector< char* > arguments;
        for ( Vek::String& argument : command ) {
           arguments.push_back( argument.data() );
        }
        arguments.push_back( nullptr );
        const int null = ::open( "/dev/null", O_WRONLY );
        ::dup2( null, STDOUT_FILENO );
        ::dup2( null, STDERR_FILENO );
        ::execvp( arguments[0], arguments.data() );
        ::_exit( 127 );
     } ) ) {}

Child::Child( const std::function< void() >& work ) : pid_( forked( work ) ) {}

Child::~Child() {
   ::kill( pid_, SIGKILL );
   ::waitpid( pid_, nullptr, 0 );
}

std::size_t Child::memory() const {
   std::ifstream statm( "/proc/" + std::to_string( pid_ ) + "/statm" );
   std::size_t total = 0;
   std::size_t resident = 0;
   statm >> total >> resident;
   return resident * static_cast< std::size_t >( ::sysconf( _SC_PAGESIZE ) );
}

std::size_t Child::peakMemory() const {
   std::ifstream status( "/proc/" + std::to_string( pid_ ) + "/status" );
   for ( std::string word; status >> word; ) {
      if ( word == "VmHWM:" ) {
         std::size_t kibibytes = 0;
         status >> kibibytes;
         return kibibytes * 1024;
      }
   }
   fail( "a program is gone" );
}

double Child::cpuSeconds() const {
   clockid_t clock{};
   timespec time{};
   if ( ::clock_getcpuclockid( pid_, &clock ) != 0 || ::clock_gettime( clock, &time ) != 0 ) {
      fail( "a program is gone" );
   }
   return static_cast< double >( time.tv_sec ) + static_cast< double >( time.tv_nsec ) * 1e-9;
}

Folder::Folder() {
   char name[] = "/tmp/flowspec-bench-XXXXXX";
   if ( !::mkdtemp( name ) ) {
      fail( "cannot create a folder" );
   }
   path_ = name;
}

Folder::~Folder() { std::filesystem::remove_all( path_ ); }

double secondsOf( const std::function< void() >& work ) {
   using Clock = std::chrono::steady_clock;
   const auto begin = Clock::now();
   work();
   return std::chrono::duration< double >( Clock::now() - begin ).count();
}

double median( std::vector< double > figures ) {
   const auto middle = figures.begin() + static_cast< std::ptrdiff_t >( figures.size() / 2 );
   std::ranges::nth_element( figures, middle );
   return *middle;
}

void fail( const Vek::String& message ) {
   std::fprintf( stderr, "%s\n", message.c_str() );
   std::exit( 1 );
}

} // namespace Bench
