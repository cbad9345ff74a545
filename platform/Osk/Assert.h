#pragma once

#include "Osk/Types.h"

namespace Osk {

/// Writes one line, `<module>: assertion "<text>" failed in <function>`, to standard error and
/// ends the process with `abort()`.
[[noreturn]] OSK_EXPORT void assertionFailed( const char* module, const char* text,
                                              const char* function );

} // namespace Osk

/// Ends the process when `condition` is false: a programming error, or machine-made input that
/// cannot be. Always compiled in. `text` names the broken condition and is part of the interface.
/// `OSK_MODULE` is the name of the module being compiled; the build defines it for each source, so
/// headers that several modules include do not assert.
#define OSK_ASSERT( condition, text )                                                              \
   ( ( condition ) ? static_cast< void >( 0 ) : Osk::assertionFailed( OSK_MODULE, text, __func__ ) )
