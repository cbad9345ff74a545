#pragma once

#include <cstddef>
#include <cstdint>

/// The fixed-width integers of the whole project, and the export marker of its shared libraries.

using U8 = std::uint8_t;
using U16 = std::uint16_t;
using U32 = std::uint32_t;
using U64 = std::uint64_t;
using S8 = std::int8_t;
using S16 = std::int16_t;
using S32 = std::int32_t;
using S64 = std::int64_t;

/// Marks what a shared library exports; everything else is hidden.
#define OSK_EXPORT __attribute__( ( visibility( "default" ) ) )

/// Keeps a member of an exported class to the library.
#define OSK_HIDDEN __attribute__( ( visibility( "hidden" ) ) )
