#include "dataplane/CaptureFile.h"

#include "Vek/text/Text.h"

#include <cstdio>
#include <stdexcept>

#include <pcap/pcap.h>

namespace Dataplane {

CaptureFile::CaptureFile( const Vek::String& file ) {
   char reason[PCAP_ERRBUF_SIZE] = {};
   if ( file == "-" ) {
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
}

CaptureFile::~CaptureFile() { ::pcap_close( capture_ ); }

int CaptureFile::fd() const { return ::fileno( ::pcap_file( capture_ ) ); }

std::optional< CaptureFile::Frame > CaptureFile::next() {
   pcap_pkthdr* header = nullptr;
   const u_char* bytes = nullptr;
   const int got = atEnd_ ? 0 : ::pcap_next_ex( capture_, &header, &bytes );
   if ( got == PCAP_ERROR || got == PCAP_ERROR_BREAK ) {
      atEnd_ = true;
      fault_ = got == PCAP_ERROR ? ::pcap_geterr( capture_ ) : "";
   }
   return got == 1 ? std::optional( Frame{ { bytes, header->caplen },
                                           static_cast< U32 >( ::pcap_datalink( capture_ ) ),
                                           header->len } )
                   : std::nullopt;
}

} // namespace Dataplane
