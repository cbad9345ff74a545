#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

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

/// A change that a peer made to an attribute of which it has a read-only copy.
class OSK_EXPORT ReadOnlyProxyException : public std::runtime_error {
public:
   /// The message is "<type> <attribute> was written from a read-only proxy".
   ReadOnlyProxyException( std::string_view type, std::string_view attribute );
   ReadOnlyProxyException( const ReadOnlyProxyException& ) noexcept;
   ~ReadOnlyProxyException() override;
};

/// A collection with the key that ends its list in the attribute log, and so cannot be written.
class OSK_EXPORT DefaultKeyException : public std::runtime_error {
public:
   /// The message is "<type> <attribute> holds the default key".
   DefaultKeyException( std::string_view type, std::string_view attribute );
   DefaultKeyException( const DefaultKeyException& ) noexcept;
   ~DefaultKeyException() override;
};

/// Something received that is no message of the attribute log, or a value in one that cannot be.
class OSK_EXPORT StreamException : public std::runtime_error {
public:
   explicit StreamException( const String& message );
   StreamException( const StreamException& ) noexcept;
   ~StreamException() override;
};

/// Raises `RangeException`; out of line, so that checks in headers stay small.
[[noreturn]] OSK_EXPORT void throwRange( const String& message );
[[noreturn]] OSK_EXPORT void throwRange( const char* message );
/// Raises `VectorRangeException`.
[[noreturn]] OSK_EXPORT void throwVectorRange();
/// Raises `EmptyVectorException`.
[[noreturn]] OSK_EXPORT void throwEmptyVector();

} // namespace Vek
