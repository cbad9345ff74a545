#pragma once

namespace TestSupport {

/// Whether the tests run under a sanitizer: memory is not that of the heap then, and all is slow.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
inline constexpr bool sanitized = true;
#elif defined( __has_feature )
inline constexpr bool sanitized =
   __has_feature( address_sanitizer ) || __has_feature( thread_sanitizer );
#else
inline constexpr bool sanitized = false;
#endif

/// How many of `full` rounds with random inputs a test does: under a sanitizer, where a round takes
/// some ten times as long, a tenth.
template < typename Count >
constexpr Count rounds( Count full ) {
   return sanitized ? full / 10 : full;
}

} // namespace TestSupport
