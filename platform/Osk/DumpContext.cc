#include "Osk/DumpContext.h"

#include <utility>

namespace Osk {

DumpContext::DumpContext( std::string& out )
   : sink_( [&out]( std::string_view text ) { out += text; } ) {}

DumpContext::DumpContext( std::FILE* file )
   : sink_(
        [file]( std::string_view text ) { std::fwrite( text.data(), 1, text.size(), file ); } ) {}

DumpContext::DumpContext( Sink sink ) : sink_( std::move( sink ) ) {}

void DumpContext::print( const char* format, ... ) {
   std::va_list arguments;
   va_start( arguments, format );
   write( 0, format, arguments );
   va_end( arguments );
}

void DumpContext::line( U32 indent, const char* format, ... ) {
   std::va_list arguments;
   va_start( arguments, format );
   write( indent, format, arguments );
   va_end( arguments );
}

std::string& DumpContext::beginLine( U32 indent ) {
   buffer_.assign( indent, ' ' );
   return buffer_;
}

void DumpContext::write( U32 indent, const char* format, std::va_list arguments ) {
   std::va_list forLength;
   va_copy( forLength, arguments );
   const int length = std::vsnprintf( nullptr, 0, format, forLength );
   va_end( forLength );
   if ( length < 0 ) {
      return;
   }
   const std::size_t size = static_cast< std::size_t >( length );
   buffer_.assign( indent, ' ' );
   buffer_.resize( indent + size );
   std::vsnprintf( buffer_.data() + indent, size + 1, format, arguments );
   sink_( buffer_ );
}

} // namespace Osk
