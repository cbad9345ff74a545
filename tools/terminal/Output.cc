#include "tools/terminal/Output.h"

#include "Vek/text/Text.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include <unistd.h>

namespace Tools {

namespace {

[[noreturn]] void fail( const char* name ) {
   throw std::system_error( errno, std::generic_category(), Vek::concat( "cannot write ", name ) );
}

} // namespace

void Output::flush() {
   std::string_view rest = text_;
   while ( !rest.empty() ) {
      const ssize_t written = ::write( fd_, rest.data(), rest.size() );
      if ( written >= 0 ) {
         rest.remove_prefix( static_cast< std::size_t >( written ) );
      } else if ( errno != EINTR ) {
         text_.clear();
         fail( name_ );
      }
   }
   text_.clear();
}

void Output::close() {
   flush();
   // Without output a descriptor that was never open does no harm.
   if ( ::close( fd_ ) != 0 && errno != EBADF ) {
      fail( name_ );
   }
}

} // namespace Tools
