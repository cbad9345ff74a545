#pragma once

#include "Vek/log/Message.h"
#include "tests/support/Hex.h"

namespace TestSupport {

/// The messages of a stream or of a part of one, each as a text: kind, entity, field, "removed"
/// when it is, and the payload in hexadecimal.
inline std::vector< std::string > messages( std::span< const U8 > bytes ) {
   using namespace Vek::log;
   std::vector< std::string > result;
   if ( bytes.size() >= preambleSize && hexOf( bytes.first( 4 ) ) == "56454B4C" ) {
      bytes = bytes.subspan( preambleSize );
   }
   while ( !bytes.empty() ) {
      const Header header = readHeader( bytes );
      result.push_back( Vek::concat( stringValue( header.kind ), ' ', header.entity, ' ',
                                     header.fieldId, ' ', header.removed() ? "removed " : "",
                                     hexOf( bytes.subspan( Header::size, header.length ) ) ) );
      bytes = bytes.subspan( Header::size + header.length );
   }
   return result;
}

} // namespace TestSupport
