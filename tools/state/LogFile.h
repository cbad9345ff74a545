#pragma once

#include "Vek/log/Receiver.h"
#include "Vek/log/Record.h"
#include "forms/KeyForms.h"

namespace Tools {

/// Reads an attribute log from a file: a bare stream, as a connection has it, or one in records, as
/// `statedbd` keeps roots and `flowspecctl record` writes them.
class LogFile {
public:
   /// Gives the stream to `receiver`, which outlives it.
   explicit LogFile( Vek::log::Receiver& receiver ) : receiver_( receiver ) {}

   /// Reads all of a file; "-" is standard input. Calls `taken` after each piece of the stream, and
   /// `waits` before more is read. Why it could not be read to its end, or is not whole.
   Forms::Reason read( const Vek::String& file, const std::function< void() >& taken,
                       const std::function< void() >& waits );

private:
   void take( std::span< const U8 > bytes );
   void takeStream( std::span< const U8 > bytes );
   Forms::Reason truncation() const;

   Vek::log::Receiver& receiver_;
   std::function< void() > taken_;
   Vek::log::RecordReader records_{
      [this]( std::span< const U8 > bytes ) { takeStream( bytes ); } };
   bool isInRecords_ = false;
   U64 read_ = 0;     ///< of the file
   U64 streamed_ = 0; ///< of the stream that it holds
};

} // namespace Tools
