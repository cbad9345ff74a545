#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"
#include "agents/daemon/EventLoop.h"
#include "dataplane/CaptureFile.h"

#include <functional>
#include <span>

namespace Agents {

/// The packets of a capture file, pcap or pcapng, taken by an event loop, some in each turn.
class PacketFile final : public EventLoop::Handler {
public:
   /// A captured frame, its link layer (`Match::LinkType`), and its length before it was cut off.
   using Sink = std::function< void( std::span< const U8 > frame, U32 linkType, U32 length ) >;
   /// How many packets there were, and why there are no more; empty at the end of the file.
   using End = std::function< void( U64 packets, const Vek::String& reason ) >;

   /// Opens `file`; "-" is standard input, which may be a pipe that a capturing program writes.
   /// `std::runtime_error`, "cannot read FILE: REASON". `end` is called once, after the last
   /// packet.
   PacketFile( EventLoop& loop, const Vek::String& file, Sink sink, End end );
   PacketFile( const PacketFile& ) = delete;
   PacketFile& operator=( const PacketFile& ) = delete;
   ~PacketFile();

   int fd() const override { return waits_ ? capture_.fd() : -1; }
   EventLoop::Clock::time_point due() const override;
   void ready() override;

private:
   EventLoop& loop_;
   const Sink sink_;
   const End end_;
   Dataplane::CaptureFile capture_;
   bool waits_; ///< for each packet, as they come from a pipe
   U64 packets_ = 0;
};

} // namespace Agents
