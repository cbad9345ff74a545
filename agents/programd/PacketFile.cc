#include "agents/programd/PacketFile.h"

namespace Agents {

namespace {

constexpr int packetsInATurn = 1000;

} // namespace

PacketFile::PacketFile( EventLoop& loop, const Vek::String& file, Sink sink, End end )
   : loop_( loop ), sink_( std::move( sink ) ), end_( std::move( end ) ), capture_( file ),
     waits_( file == "-" ) {
   loop_.add( *this );
}

PacketFile::~PacketFile() { loop_.remove( *this ); }

EventLoop::Clock::time_point PacketFile::due() const {
   return waits_ || capture_.atEnd() ? EventLoop::Clock::time_point::max()
                                     : EventLoop::Clock::time_point();
}

void PacketFile::ready() {
   // A packet at a time from a pipe: after what it had there may be nothing for a long time.
   for ( int i = 0; i < ( waits_ ? 1 : packetsInATurn ) && !capture_.atEnd(); ++i ) {
      if ( const auto frame = capture_.next() ) {
         ++packets_;
         sink_( frame->bytes, frame->linkType, frame->length );
      } else if ( capture_.atEnd() ) {
         waits_ = false;
         end_( packets_, capture_.fault() );
      }
   }
}

} // namespace Agents
