#include "tools/flowspecctl/LineCommand.h"

#include "forms/Diagnostics.h"

namespace Flowspec::Tools {

bool LineCommand::run() {
   good_ = input_.read( files_ ) && good_;
   end();
   output_.flush();
   return good_;
}

void LineCommand::line( const Place& place, std::string_view line ) {
   take( place, line );
   output_.flushIfLarge();
}

void LineCommand::badLine( const Place& place, std::string_view, std::string_view message ) {
   report( place, message );
}

void LineCommand::fail() {
   good_ = false;
   input_.clearProgress();
}

void LineCommand::report( const Place& place, std::string_view message ) {
   fail();
   output_.flush();
   reportLine( place.file, place.line, message );
}

void LineCommand::warn( const Place& place, std::string_view message ) {
   input_.clearProgress();
   output_.flush();
   warnLine( place.file, place.line, message );
}

} // namespace Flowspec::Tools
