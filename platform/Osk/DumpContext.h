#pragma once

#include "Osk/Types.h"

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace Osk {

/// Where a dump of state goes, line by line: a string, a file, or any function. Lines of any length
/// are written whole. One thread at a time.
class OSK_EXPORT DumpContext {
public:
   static constexpr std::string_view typeName = "Osk::DumpContext";

   /// Receives what one call of `print` or `line` writes, in one piece that lives for the call.
   using Sink = std::function< void( std::string_view text ) >;

   /// Appends to `out`, which outlives the context.
   explicit DumpContext( std::string& out );
   /// Writes to `file`, which stays open as long as the context is used, and is the caller's to
   /// close. Errors stay in the file's error indicator.
   explicit DumpContext( std::FILE* file );
   /// Calls `sink`; what it throws goes through to the caller of `print` or `line`.
   explicit DumpContext( Sink sink );

   DumpContext( const DumpContext& ) = delete;
   DumpContext& operator=( const DumpContext& ) = delete;

   /// Writes as `std::printf` does. Nothing is written when an argument cannot be converted.
   void print( const char* format, ... ) __attribute__( ( format( printf, 2, 3 ) ) );

   /// The same after exactly `indent` blanks.
   void line( U32 indent, const char* format, ... ) __attribute__( ( format( printf, 3, 4 ) ) );

   /// A line that is written part by part: its beginning of exactly `indent` blanks, to which the
   /// caller appends the rest and the newline. `endLine` writes it.
   std::string& beginLine( U32 indent );
   void endLine() { sink_( buffer_ ); }

private:
   void write( U32 indent, const char* format, std::va_list arguments )
      __attribute__( ( format( printf, 3, 0 ) ) );

   Sink sink_;
   std::string buffer_; ///< kept, so that most lines allocate nothing
};

} // namespace Osk
