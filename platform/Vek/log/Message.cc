#include "Vek/log/Message.h"

#include "Osk/Assert.h"
#include "Vek/text/Text.h"

namespace Vek::log {

std::string_view stringValue( MessageKind kind ) {
   switch ( kind ) {
   case MessageKind::types:
      return "types";
   case MessageKind::root:
      return "root";
   case MessageKind::child:
      return "child";
   case MessageKind::attribute:
      return "attribute";
   case MessageKind::member:
      return "member";
   case MessageKind::transaction:
      return "transaction";
   case MessageKind::synchronised:
      return "synchronised";
   }
   return "unknown";
}

Header readHeader( std::span< const U8 > bytes ) {
   LogReader in( bytes.first( Header::size ) );
   Header header;
   header.length = in.u32();
   header.kind = static_cast< MessageKind >( in.u8() );
   header.entity = in.u64();
   header.fieldId = in.u16();
   header.flags = in.u8();
   if ( header.length > maxPayload ) {
      failTooLong( header.length );
   }
   return header;
}

void failTooLong( std::size_t length ) {
   throw StreamException( concat( "a payload of ", length, " bytes is longer than ", maxPayload ) );
}

void checkWritten( std::size_t written, std::size_t size ) {
   OSK_ASSERT( written == size, "written == size" );
}

} // namespace Vek::log
