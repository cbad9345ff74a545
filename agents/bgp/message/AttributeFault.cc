#include "Vek/text/Text.h"
#include "agents/bgp/message/Update.h"

namespace Bgp {

using Code = AttributeFaultCode;

Vek::String AttributeFault::message() const {
   const Vek::String name = type != 0                 ? attributeName( type )
                            : code == Code::notAgreed ? "IPv4 routes"
                                                      : "the list of path attributes";
   Vek::String text;
   Vek::TextWriter out( text );
   out << name;
   switch ( code ) {
   case Code::flags:
      ( out << ": the flags are 0x" ).hex( detail );
      break;
   case Code::length:
      out << ": the length is " << detail;
      break;
   case Code::value:
      out << ": the value is " << detail;
      break;
   case Code::segment:
      out << ": the segment at octet " << detail << " is malformed";
      break;
   case Code::asZero:
      out << ": an AS number is 0";
      break;
   case Code::missing:
      out << " is missing";
      break;
   case Code::cutOff:
      out << " is cut off";
      break;
   case Code::again:
      out << " is there again";
      break;
   case Code::notForPeer:
      out << " is not for this peer to send";
      break;
   case Code::notAgreed:
      out << ": the SAFI " << detail << " was not agreed on";
      break;
   }
   out.flush();
   return text;
}

} // namespace Bgp
