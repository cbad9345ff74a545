#include "Vek/Exceptions.h"

namespace Vek {

// Defined here so that the type information of each exception stands in one library only.
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

void throwRange( const String& message ) { throw RangeException( message ); }
void throwRange( const char* message ) { throw RangeException( message ); }
void throwVectorRange() { throw VectorRangeException(); }
void throwEmptyVector() { throw EmptyVectorException(); }

} // namespace Vek
