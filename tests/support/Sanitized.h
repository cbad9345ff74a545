#pragma once

namespace TestSupport {

/// Whether the tests run under a sanitizer, which keeps memory that is free and opens descriptors.
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
inline constexpr bool sanitized = true;
#elif defined( __has_feature )
inline constexpr bool sanitized =
   __has_feature( address_sanitizer ) || __has_feature( thread_sanitizer );
#else
inline constexpr bool sanitized = false;
#endif

} // namespace TestSupport
