#include "Vek/text/Trace.h"

#include <cstdio>

namespace Vek {

namespace {

void writeToStandardError( const TraceRecord& record, void* ) {
   const String line = concat( record.file, ':', record.line, ' ', record.function, " L",
                               record.level, ": ", record.text, '\n' );
   std::fwrite( line.data(), 1, line.size(), stderr );
}

constinit TraceSink sink = writeToStandardError;
constinit void* sinkContext = nullptr;

} // namespace

void traceSinkIs( TraceSink newSink, void* context ) {
   sink = newSink ? newSink : writeToStandardError;
   sinkContext = context;
}

void TraceHandle::levelIs( unsigned level, bool on ) {
   const U32 bit = U32{ 1 } << level;
   levels_ = on ? levels_ | bit : levels_ & ~bit;
}

void TraceHandle::write( unsigned level, unsigned line, const char* function,
                         std::string_view text ) const {
   sink( TraceRecord{ level, file_, line, function, text }, sinkContext );
}

} // namespace Vek
