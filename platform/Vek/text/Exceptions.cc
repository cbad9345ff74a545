#include "Vek/text/Exceptions.h"

#include "Vek/text/Text.h"

namespace Vek {

// Defined here so that the type information of each exception is in one library only.
RangeException::RangeException( const String& message ) : std::runtime_error( message ) {}
RangeException::RangeException( const RangeException& ) noexcept = default;
RangeException::~RangeException() = default;

VectorRangeException::~VectorRangeException() = default;

const char* VectorRangeException::what() const noexcept {
   return "Vek::Vector: position is not below the length";
}

EmptyVectorException::~EmptyVectorException() = default;

const char* EmptyVectorException::what() const noexcept {
   return "Vek::Vector: the vector is empty";
}

ReinstantiationException::ReinstantiationException( std::string_view type )
   : std::runtime_error( concat( type, " already exists with other constructor arguments" ) ) {}
ReinstantiationException::ReinstantiationException( const ReinstantiationException& ) noexcept =
   default;
ReinstantiationException::~ReinstantiationException() = default;

NewEntityArgsException::NewEntityArgsException( std::string_view module, std::string_view type )
   : std::runtime_error(
        concat( module, ": ", type, " takes no constructor arguments beyond its name" ) ) {}
NewEntityArgsException::NewEntityArgsException( const NewEntityArgsException& ) noexcept = default;
NewEntityArgsException::~NewEntityArgsException() = default;

ReadOnlyProxyException::ReadOnlyProxyException( std::string_view type, std::string_view attribute )
   : std::runtime_error( concat( type, ' ', attribute, " was written from a read-only proxy" ) ) {}
ReadOnlyProxyException::ReadOnlyProxyException( const ReadOnlyProxyException& ) noexcept = default;
ReadOnlyProxyException::~ReadOnlyProxyException() = default;

DefaultKeyException::DefaultKeyException( std::string_view type, std::string_view attribute )
   : std::runtime_error( concat( type, ' ', attribute, " holds the default key" ) ) {}
DefaultKeyException::DefaultKeyException( const DefaultKeyException& ) noexcept = default;
DefaultKeyException::~DefaultKeyException() = default;

StreamException::StreamException( const String& message ) : std::runtime_error( message ) {}
StreamException::StreamException( const StreamException& ) noexcept = default;
StreamException::~StreamException() = default;

void throwRange( const String& message ) { throw RangeException( message ); }
void throwRange( const char* message ) { throw RangeException( message ); }
void throwVectorRange() { throw VectorRangeException(); }
void throwEmptyVector() { throw EmptyVectorException(); }

} // namespace Vek
