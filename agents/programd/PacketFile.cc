#include "agents/programd/PacketFile.h"

#include "Vek/text/Text.h"

#include <cstdio>
#include <stdexcept>

#include <pcap/pcap.h>
#include <unistd.h>

namespace Agents {

namespace {

constexpr int packetsInATurn = 1000;

} // namespace

PacketFile::PacketFile( EventLoop& loop, const Vek::String& file, Sink sink, End end )
   : loop_( loop ), sink_( std::move( sink ) ), end_( std::move( end ) ), waits_( file == "-" ) {
   char reason[PCAP_ERRBUF_SIZE] = {};
   if ( waits_ ) {
      // What a buffer took in after a packet would make no descriptor ready.
      std::setvbuf( stdin, nullptr, _IONBF, 0 );
   }
   capture_ = ::pcap_open_offline( file.c_str(), reason );
   if ( !capture_ ) {
      // The reason may begin with the name.
      std::string_view text( reason );
      const Vek::String front = file + ": ";
      text.remove_prefix( text.starts_with( front ) ? front.size() : 0 );
      throw std::runtime_error( Vek::concat( "cannot read ", file, ": ", text ) );
   }
   fd_ = ::fileno( ::pcap_file( capture_ ) );
   loop_.add( *this );
}

PacketFile::~PacketFile() {
   loop_.remove( *this );
   ::pcap_close( capture_ );
}

EventLoop::Clock::time_point PacketFile::due() const {
   return waits_ || atEnd_ ? EventLoop::Clock::time_point::max() : EventLoop::Clock::time_point();
}

void PacketFile::ready() {
   // A packet at a time from a pipe: after what it had there may be nothing for a long time.
   for ( int i = 0; i < ( waits_ ? 1 : packetsInATurn ) && !atEnd_; ++i ) {
      pcap_pkthdr* header = nullptr;
      const u_char* bytes = nullptr;
      const int got = ::pcap_next_ex( capture_, &header, &bytes );
      if ( got == PCAP_ERROR || got == PCAP_ERROR_BREAK ) {
         atEnd_ = true;
         waits_ = false;
         end_( packets_, got == PCAP_ERROR ? ::pcap_geterr( capture_ ) : "" );
      } else if ( got == 1 ) {
         ++packets_;
         sink_( std::span( bytes, header->caplen ),
                static_cast< U32 >( ::pcap_datalink( capture_ ) ), header->len );
      }
   }
}

} // namespace Agents
