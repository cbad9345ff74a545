#include "tools/flowspecctl/LineCommand.h"

#include "forms/Diagnostics.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

bool LineCommand::run() {
   good_ = input_.read( files_ ) && good_;
   end();
   output_.flush();
   return good_;
}

void LineCommand::line( const Place& place, std::string_view line ) {
   lines_.line( place.line, line, [&]( U64 first, std::string_view text ) {
      take( { place.file, first }, text );
   } );
   output_.flushIfLarge();
}

void LineCommand::endOfFile( std::string_view file ) {
   lines_.end( [&]( U64 first, std::string_view text ) { take( { file, first }, text ); } );
}

Place LineCommand::placeOf( const Place& place, const Forms::Fault& fault ) {
   return fault.line == 0 ? place : Place{ place.file, place.line + fault.line - 1, fault.column };
}

std::string_view LineCommand::lineOf( std::string_view text, const Forms::Fault& fault ) {
   for ( U64 line = 1; line < fault.line; ++line ) {
      text.remove_prefix( std::min( text.find( '\n' ), text.size() - 1 ) + 1 );
   }
   return text.substr( 0, text.find( '\n' ) );
}

void LineCommand::badLine( const Place& place, std::string_view line, std::string_view message ) {
   report( place, message, line );
}

void LineCommand::fail() {
   good_ = false;
   input_.clearProgress();
}

void LineCommand::report( const Place& place, std::string_view message, std::string_view text ) {
   fail();
   output_.flush();
   reportLine( place.file, place.line, message, place.column, text );
}

void LineCommand::warn( const Place& place, std::string_view message, std::string_view text ) {
   input_.clearProgress();
   output_.flush();
   warnLine( place.file, place.line, message, place.column, text );
}

} // namespace Tools
