#include "Vek/entity/Directory.h"
#include "Vek/entity/Inspect.h"
#include "Vek/types/TypeRegistry.h"
#include "Vek/types/ValueBuffer.h"

#include <dlfcn.h>

#include <gmock/gmock.h>

// This program is linked to the platform's library only; it loads and unloads the other one.
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector< std::string_view > loadedModules() {
   std::vector< std::string_view > names;
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      names.push_back( module->name() );
   }
   return names;
}

Vek::String dscpName( U32 value ) {
   const Vek::TypeInfo* const util = Vek::TypeRegistry::find( "Flowspec::FlowspecUtil" );
   const Vek::FieldDescriptor field{ util->field( "dscpMeaningFromValue" )->id };
   const Vek::ValueBuffer object( *util->value );
   const Vek::Any arguments[] = { Vek::Any::of( value ) };
   Vek::String name;
   EXPECT_EQ( inspectOperation( *util, object.get(), &field, 0, arguments, Vek::Any::of( name ) ),
              Vek::InspectAnswer::done );
   return name;
}

TEST( Load, RegistersBothModulesAndUnloadsCleanly ) {
   ASSERT_THAT( loadedModules(), IsEmpty() );
   for ( int round = 0; round < 3; ++round ) {
      SCOPED_TRACE( round );
      void* const library = dlopen( FLOWSPEC_LIBRARY, RTLD_NOW | RTLD_LOCAL );
      ASSERT_NE( library, nullptr ) << dlerror();
      EXPECT_THAT( loadedModules(),
                   ElementsAre( "Vek", "Zorv", "Vrf", "QosLib", "SrTePolicy", "L3",
                                "Classification", "PolicyMap", "FlowspecDalb", "FlowspecPolicy" ) );
      for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
         EXPECT_THAT( module->missing(), IsEmpty() ) << module->name();
      }
      EXPECT_EQ( dscpName( 10 ), "af11" );
      EXPECT_EQ( dscpName( 46 ), "ef" );
      EXPECT_EQ( dscpName( 1 ), "" );
      {
         Vek::Directory directory;
         EXPECT_TRUE( directory.create( "Flowspec::Config", "rules" ) );
         EXPECT_TRUE( directory.create( "Flowspec::FlowspecPolicyConfig", "policy" ) );
      }

      ASSERT_EQ( dlclose( library ), 0 ) << dlerror();
      EXPECT_EQ( dlopen( FLOWSPEC_LIBRARY, RTLD_NOW | RTLD_NOLOAD ), nullptr ) << "still loaded";
      EXPECT_THAT( loadedModules(), ElementsAre( "Vek", "Zorv" ) );
      EXPECT_EQ( Vek::TypeRegistry::find( "Flowspec::Config" ), nullptr );
      EXPECT_EQ( Vek::TypeRegistry::find( "PolicyMap::DropAction" ), nullptr );
      EXPECT_NE( Vek::TypeRegistry::find( "Zorv::IntfId" ), nullptr );
   }
}

} // namespace
