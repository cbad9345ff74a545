#pragma once

#include "forms/dialects/Dialect.h"

namespace Forms {

/// Puts the lines of a file together to the texts of rules. In a dialect whose rules are one line
/// each, a text is a line. In the others a rule goes on while a brace of it is open, and with the
/// next line when that begins with an opening brace or is one of those that BIRD prints below a
/// match: the action of a BIRD rule is not to be lost.
/// Blank lines and those that begin with "#" say nothing; braces after "#" are none.
class RuleLines {
public:
   /// The longest text that is put together of several lines; what is longer is given in pieces.
   static constexpr std::size_t maxText = std::size_t{ 16 } * 1024 * 1024;

   explicit RuleLines( bool spansLines ) : spansLines_( spansLines ) {}

   /// Takes the next line of a file, without its end; numbers ascend. Calls `take( firstLine, text
   /// )` for the text that is complete now, if there is one: the line itself, or what came before
   /// it.
   template < typename Take >
   void line( U64 number, std::string_view line, Take take ) {
      if ( !spansLines_ ) {
         take( number, line );
         return;
      }
      if ( isComplete( number, line ) ) {
         end( take );
      }
      add( number, line );
   }

   /// After the last line of a file: calls `take` for what is left.
   template < typename Take >
   void end( Take take ) {
      if ( !text_.empty() ) {
         take( first_, std::string_view( text_ ) );
         text_.clear();
         depth_ = 0;
      }
   }

private:
   bool isComplete( U64 number, std::string_view next ) const;
   void add( U64 number, std::string_view line );

   const bool spansLines_;
   Vek::String text_;
   U64 first_ = 0; // line of the text
   U64 last_ = 0;
   std::size_t depth_ = 0; // of open braces
};

} // namespace Forms
