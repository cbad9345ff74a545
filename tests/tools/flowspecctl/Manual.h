#pragma once

#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace TestSupport {

using Words = std::vector< Vek::String >;

/// The words of a help text that begin with `start` and have two blanks in front on their line:
/// options or commands.
inline Words entries( const Vek::String& help, const Vek::String& start = "" ) {
   Words words;
   for ( std::size_t at = 0; ( at = help.find( "\n  " + start, at ) ) != help.npos; ++at ) {
      if ( const std::size_t begin = at + 3; help[begin] != ' ' ) {
         words.push_back( help.substr( begin, help.find_first_of( " =\n", begin ) - begin ) );
      }
   }
   return words;
}

/// The source of a manual page without the backslashes of hyphens.
inline Vek::String manualText( const Vek::String& page ) {
   Vek::String text = contents( page.c_str() );
   std::erase( text, '\\' );
   return text;
}

/// Whether the source of a manual page has an entry for an option.
inline bool describesOption( const Vek::String& text, const Vek::String& option ) {
   return text.find( "\n.B " + option + '\n' ) != text.npos ||
          text.find( "\n.BI " + option + ' ' ) != text.npos;
}

/// Expects that groff has nothing to say about a manual page.
inline void expectWellFormed( const Vek::String& page ) {
   const Result result = run(
      { .command = { "sh", "-c",
                     "command -v groff >/dev/null || exit 100; groff -man -Tutf8 -ww -z \"$0\"",
                     page } } );
   if ( result.status == 100 ) {
      GTEST_SKIP() << "groff is not installed";
   }
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

} // namespace TestSupport
