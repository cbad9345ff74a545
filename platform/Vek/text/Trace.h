#pragma once

#include "Vek/text/String.h"
#include "Vek/text/Text.h"

/// The trace facility: records with a level, built only when their level is on.
namespace Vek {

/// One trace record. The views live as long as the call that delivers the record.
struct TraceRecord {
   unsigned level;
   std::string_view file; ///< name of the source module, such as `FlowspecDalb`
   unsigned line;
   std::string_view function;
   std::string_view text;
};

/// Receives every record whose level is on. Called on the thread that traces.
using TraceSink = void ( * )( const TraceRecord& record, void* context );

/// Replaces the process's sink; `context` is handed to each call. A null `sink` restores the
/// default one, which writes `<file>:<line> <function> L<level>: <text>` to standard error.
/// Not to be called while another thread traces.
OSK_EXPORT void traceSinkIs( TraceSink sink, void* context = nullptr );

/// The trace switch of one library: levels 0 to 31, all off at first.
class OSK_EXPORT TraceHandle {
public:
   /// `file` names the module in the records and outlives the handle.
   constexpr explicit TraceHandle( const char* file ) : file_( file ) {}
   TraceHandle( const TraceHandle& ) = delete;
   TraceHandle& operator=( const TraceHandle& ) = delete;

   /// Whether records of `level` are written.
   bool levelIsOn( unsigned level ) const { return ( levels_ >> level ) & 1U; }

   /// Turns `level` (0 to 31) on or off. Not to be called while another thread traces.
   void levelIs( unsigned level, bool on );

   /// Delivers one record to the sink, whether its level is on or not.
   void write( unsigned level, unsigned line, const char* function, std::string_view text ) const;

private:
   const char* file_;
   U32 levels_ = 0;
};

} // namespace Vek

/// Writes a record on `handle` when `level` is on; the further arguments (texts, characters,
/// integers) are evaluated only then and joined without separators. Costs one branch otherwise.
#define VEK_TRACE( handle, level, ... )                                                            \
   do {                                                                                            \
      if ( ( handle ).levelIsOn( level ) ) [[unlikely]] {                                          \
         ( handle ).write( level, __LINE__, __func__, Vek::concat( __VA_ARGS__ ) );                \
      }                                                                                            \
   } while ( false )
