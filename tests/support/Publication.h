#pragma once

#include "tests/support/ChangeRecorder.h"

#include <gmock/gmock.h>

namespace TestSupport {

/// One call of a mutator, and what it publishes.
template < typename T >
struct Step {
   const char* call;
   void ( *change )( T& );
   std::vector< Vek::String > published;
};

/// Makes the calls one after the other.
template < typename T >
void checkPublications( T& entity, const std::vector< Step< T > >& steps ) {
   ChangeRecorder changes( entity );
   for ( const Step< T >& step : steps ) {
      step.change( entity );
      EXPECT_THAT( changes.take(), testing::ElementsAreArray( step.published ) ) << step.call;
   }
}

} // namespace TestSupport

/// A step whose text is the call itself, with what it publishes.
#define STEP( T, call, ... )                                                                       \
   TestSupport::Step< T > {                                                                        \
#call, []( T & e ) { e.call; }, { __VA_ARGS__ }                                              \
   }
