#pragma once

#include "Vek/text/String.h"

#include <span>
#include <string_view>
#include <vector>

namespace Tools {

/// Lays out text in columns of fixed widths, for people: what does not fit into its column goes on
/// in the lines below, broken after a separator where there is one. Texts are taken as ASCII.
class Table {
public:
   struct Column {
      std::string_view heading;
      std::size_t width;
      bool right = false; ///< texts end at the column's right edge, as numbers do
   };

   /// Columns of the widths that are given.
   explicit Table( std::vector< Column > columns ) : columns_( std::move( columns ) ) {}
   /// The same; one of width 0, if there is one, takes what the others
   /// leave of `width`, and has room for a short word at least.
   Table( std::size_t width, std::vector< Column > columns );

   /// Columns that fill `width`, blanks between them included; the `width` of each of `columns` is
   /// its share, above 0. Each has room for a word in hexadecimal.
   static Table filling( std::size_t width, std::vector< Column > columns );

   void appendHeading( Vek::String& out ) const;

   /// One row; a cell for each column but the last ones, which the last cell may take over. An
   /// empty line follows a row of more than one line.
   void appendRow( Vek::String& out, std::span< const Vek::String > cells ) const;

private:
   std::vector< Column > columns_;
};

} // namespace Tools
