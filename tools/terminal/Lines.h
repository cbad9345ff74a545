#pragma once

#include "Vek/text/Text.h"

namespace Tools {

/// Writes lines of a label and a text.
class Lines {
public:
   /// `out` outlives the object.
   explicit Lines( Vek::String& out ) : out_( out ) {}

   void add( std::string_view label, std::string_view text ) {
      out_ += label;
      out_.append( label.size() < width ? width - label.size() : 1, ' ' );
      out_ += Vek::concat( text, '\n' );
   }

private:
   static constexpr std::size_t width = 14;
   Vek::String& out_;
};

} // namespace Tools
