#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <optional>
#include <span>

struct pcap;

namespace Dataplane {

/// The packets of a capture file, pcap or pcapng, one after the other.
class CaptureFile {
public:
   struct Frame {
      std::span< const U8 > bytes; ///< good until the next one is read
      U32 linkType;                ///< of `Match::LinkType`
      U32 length;                  ///< before it was cut off
   };

   /// Opens `file`; "-" is standard input. `std::runtime_error`, "cannot read FILE: REASON".
   explicit CaptureFile( const Vek::String& file );
   CaptureFile( const CaptureFile& ) = delete;
   CaptureFile& operator=( const CaptureFile& ) = delete;
   ~CaptureFile();

   /// The next packet; nothing at the end, and after a fault.
   std::optional< Frame > next();
   bool atEnd() const { return atEnd_; }
   /// Why no more can be read; empty at the end of the file.
   const Vek::String& fault() const { return fault_; }

   int fd() const;

private:
   ::pcap* capture_;
   bool atEnd_ = false;
   Vek::String fault_;
};

} // namespace Dataplane
