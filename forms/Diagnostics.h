#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <string_view>

/// Messages on standard error, in the form that editors and compilers use:
/// `FILE:LINE: error: MESSAGE`, or `FILE:LINE:COLUMN: error: MESSAGE` where the column is not 0.
/// After it comes the text, when one is given with a column, and below it "^" where the fault is;
/// of a long text what is around that place. "error:" is red where the terminal may be coloured.
/// What is shown of the input went through `printable`.
namespace Forms {

/// Whether text on `fd` may be coloured: it is a terminal that TERM does not call
/// "dumb", and NO_COLOR is not set or empty.
bool mayColour( int fd );

void reportLine( std::string_view file, U64 line, std::string_view message, U64 column = 0,
                 std::string_view text = {} );

/// The same with "warning:", for a line that is taken all the same.
void warnLine( std::string_view file, U64 line, std::string_view message, U64 column = 0,
               std::string_view text = {} );

/// About a file as a whole, or, with the program's name as `file`, about none.
void reportFile( std::string_view file, std::string_view message );

} // namespace Forms
