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

/// A creating operation called again under an existing key with other constructor arguments.
class OSK_EXPORT ReinstantiationException : public std::runtime_error {
public:
   /// The message is "<type> already exists with other constructor arguments".
   explicit ReinstantiationException( std::string_view type );
   ReinstantiationException( const ReinstantiationException& ) noexcept;
   ~ReinstantiationException() override;
};

/// A root entity created with constructor arguments beyond its name.
class OSK_EXPORT NewEntityArgsException : public std::runtime_error {
public:
   /// The message is "<module>: <type> takes no constructor arguments beyond its name".
   NewEntityArgsException( std::string_view module, std::string_view type );
   NewEntityArgsException( const NewEntityArgsException& ) noexcept;
   ~NewEntityArgsException() override;
};

/// Raises `RangeException`; out of line, so that checks in headers stay small.
[[noreturn]] OSK_EXPORT void throwRange( const String& message );
[[noreturn]] OSK_EXPORT void throwRange( const char* message );
/// Raises `VectorRangeException`.
[[noreturn]] OSK_EXPORT void throwVectorRange();
/// Raises `EmptyVectorException`.
[[noreturn]] OSK_EXPORT void throwEmptyVector();

} // namespace Vek
