#pragma once

#include "Vek/text/Text.h"

namespace Flowspec {

/// Why a reader stopped, in views of the text that it read: built for every failure, put into words
/// only for those who ask.
struct ReadFailure {
   /// What an asserting operation does about it; checked readers report all alike.
   enum class Kind : U8 {
      text,           ///< people's text: a trace record
      assertion,      ///< machine-made text: `assertion` fails
      notANumber,     ///< `std::invalid_argument`, as `std::stol` raises it
      numberTooLarge, ///< `std::out_of_range`, likewise
      indexTooLarge,  ///< the range exception of `MatchOpValIndex`
      valueTooLong,   ///< the assertion about 8-byte values
   };

   Kind kind = Kind::text;
   const char* where = nullptr; ///< points into the text
   std::string_view message;
   std::string_view subject;
   Vek::String ( *cause )( std::string_view ) = nullptr; ///< of `causeSubject`, after " : "
   std::string_view causeSubject;
   const char* assertion = nullptr;

   Vek::String text() const {
      return cause ? Vek::concat( message, subject, " : ", cause( causeSubject ) )
                   : Vek::concat( message, subject );
   }
};

} // namespace Flowspec
