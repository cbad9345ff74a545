#pragma once

#include "Osk/Types.h"
#include "Vek/String.h"

#include <stdexcept>

/// The runtime's exceptions. All derive from `std::exception`; `what()` is the message.
namespace Vek {

/// A value or a text outside a type's declared range.
class OSK_EXPORT RangeException : public std::runtime_error {
public:
   explicit RangeException( const String& message );
   RangeException( const RangeException& ) noexcept;
   ~RangeException() override;
};

/// A position not below the length of a vector.
class OSK_EXPORT VectorRangeException : public std::exception {
public:
   ~VectorRangeException() override;
   const char* what() const noexcept override;
};

/// The last element of a vector that has none.
class OSK_EXPORT EmptyVectorException : public std::exception {
public:
   ~EmptyVectorException() override;
   const char* what() const noexcept override;
};

/// Raises `RangeException`; out of line, so that checks in headers stay small.
[[noreturn]] OSK_EXPORT void throwRange( const String& message );
[[noreturn]] OSK_EXPORT void throwRange( const char* message );
/// Raises `VectorRangeException`.
[[noreturn]] OSK_EXPORT void throwVectorRange();
/// Raises `EmptyVectorException`.
[[noreturn]] OSK_EXPORT void throwEmptyVector();

} // namespace Vek
