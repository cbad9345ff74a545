#include "Vrf/VrfIdMap.h"

#include <type_traits>

#include <gtest/gtest.h>

namespace {

static_assert( std::is_same_v< Vrf::VrfIdMap::VrfId, U32 > );

TEST( VrfIdMap, IdentifierOfNoVrfIsTheLargest24BitNumber ) {
   constexpr Vrf::VrfIdMap::VrfId none = Vrf::VrfIdMap::invalid();
   EXPECT_EQ( none, 16777215U );
   EXPECT_EQ( none, 0xFFFFFFU );
}

} // namespace
