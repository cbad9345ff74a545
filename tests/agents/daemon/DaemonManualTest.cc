#include "Vek/text/Text.h"
#include "tests/tools/flowspecctl/Manual.h"

#include <algorithm>

namespace {

using TestSupport::describesOption;
using TestSupport::entries;
using TestSupport::manualText;
using TestSupport::Result;
using TestSupport::run;
using TestSupport::Words;

class DaemonManual : public testing::TestWithParam< const char* > {
protected:
   const Vek::String path = GetParam();
   const Vek::String name = path.substr( path.rfind( '/' ) + 1 );
   const Vek::String page = Vek::concat( "agents/", name, '/', name, ".8" );

   Vek::String outputWith( const char* option ) const {
      const Result result = run( { .command = { path, option } } );
      EXPECT_EQ( result.status, 0 );
      return result.out;
   }
};

TEST_P( DaemonManual, IsWellFormed ) { TestSupport::expectWellFormed( page ); }

TEST_P( DaemonManual, DescribesEveryOptionAndNoOther ) {
   const Vek::String text = manualText( page );
   Words options = entries( outputWith( "--help" ), "--" );
   EXPECT_GE( options.size(), 3U );
   options.emplace_back( "--help" );
   for ( const Vek::String& option : options ) {
      EXPECT_TRUE( describesOption( text, option ) ) << option;
   }
   for ( std::size_t at = 0; ( at = text.find( "\n.B", at ) ) != text.npos; ++at ) {
      const std::size_t begin = text.find( ' ', at ) + 1;
      const Vek::String word = text.substr( begin, text.find_first_of( " \n", begin ) - begin );
      EXPECT_TRUE( !word.starts_with( "--" ) || std::ranges::count( options, word ) == 1 ) << word;
   }
}

INSTANTIATE_TEST_SUITE_P( OfEach, DaemonManual,
                          testing::Values( STATEDBD, CONFIGD, PROGRAMD, PEERD ) );

} // namespace
