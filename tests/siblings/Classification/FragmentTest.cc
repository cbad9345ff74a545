#include "Classification/Fragment.h"

#include "tests/support/ExpectFailure.h"

#include <sstream>

#include <gmock/gmock.h>

namespace {

using namespace Classification;
using TestSupport::raisesRange;

struct Row {
   FragmentType type;
   unsigned number;
   const char* name;
};

constexpr Row rows[] = {
   { FragmentType::anyFragment, 0, "anyFragment" },
   { FragmentType::firstFragment, 1, "firstFragment" },
   { FragmentType::nonFirstFragment, 2, "nonFirstFragment" },
   { FragmentType::notFragment, 3, "notFragment" },
};

TEST( FragmentType, NumbersAndNames ) {
   for ( const auto& [type, number, name] : rows ) {
      EXPECT_EQ( static_cast< unsigned >( type ), number );
      EXPECT_EQ( stringValue( type ), name );
      EXPECT_EQ( FragmentTypeInstance( number ), type );
      EXPECT_EQ( FragmentTypeInstance( name ), type );
      std::ostringstream out;
      out << type;
      EXPECT_EQ( out.str(), name );
   }
   EXPECT_EQ( enumInfo( FragmentType() ).count, std::size( rows ) );
}

TEST( FragmentType, OtherNumbersAndNamesAreRefused ) {
   EXPECT_THAT( [] { FragmentTypeInstance( 4 ); },
                raisesRange( "Classification::FragmentType: 4 is not an enumerator" ) );
   EXPECT_THAT( [] { FragmentTypeInstance( 256 ); },
                raisesRange( "Classification::FragmentType: 256 is not an enumerator" ) );
   EXPECT_THAT( [] { FragmentTypeInstance( "fragment" ); },
                raisesRange( "Classification::FragmentType: 'fragment' is not an enumerator" ) );
}

TEST( Fragment, HoldsItsTypeAndIsCounted ) {
   for ( const Row& row : rows ) {
      const Vek::Ptr< const Fragment > fragment = fragmentFactory( row.type );
      EXPECT_EQ( fragment->fragmentType(), row.type );
      EXPECT_EQ( fragment->useCount(), 1U );
   }
}

} // namespace
