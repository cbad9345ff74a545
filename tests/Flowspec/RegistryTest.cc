#include "tests/Flowspec/RegistryTable.h"

#include "Vek/types/TypeRegistry.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

Vek::String typeText( const Vek::Field& row ) {
   if ( !row.operation ) {
      const bool keyed = row.key && !row.shownType().empty();
      return Vek::concat( row.key ? row.key->name : "", keyed ? " -> " : "", row.shownType() );
   }
   Vek::String text = "(";
   for ( std::size_t i = 0; i < row.operation->parameters.size(); ++i ) {
      text += Vek::concat( i > 0 ? ", " : "", row.arguments[i], ' ',
                           row.operation->parameters[i]->name );
   }
   text += ')';
   return row.operation->result ? Vek::concat( text, " -> ", row.operation->result->name ) : text;
}

std::vector< Vek::String > rowsOf( const Vek::TypeInfo& type ) {
   std::vector< Vek::String > texts;
   type.forEachField( [&]( const Vek::Field& row ) {
      texts.push_back(
         Vek::concat( row.id, ' ', stringValue( row.kind ), ' ', row.name, ' ', typeText( row ) ) );
   } );
   return texts;
}

void checkModule( std::string_view name, const std::vector< Type >& table ) {
   SCOPED_TRACE( name );
   const Vek::Module* const module = Vek::TypeRegistry::module( name );
   ASSERT_NE( module, nullptr );
   std::vector< std::string_view > names;
   for ( const Vek::TypeInfo* const type : module->types() ) {
      names.push_back( type->name );
   }
   std::vector< std::string_view > expected;
   for ( const Type& type : table ) {
      expected.push_back( type.name );
   }
   EXPECT_THAT( names, ElementsAreArray( expected ) );
   for ( const Type& type : table ) {
      SCOPED_TRACE( type.name );
      const Vek::TypeInfo* const found = Vek::TypeRegistry::find( type.name );
      ASSERT_NE( found, nullptr );
      EXPECT_EQ( Vek::TypeRegistry::moduleOf( *found ), module );
      EXPECT_EQ( stringValue( found->kind ), type.kind );
      EXPECT_THAT( rowsOf( *found ), ElementsAreArray( type.rows ) );
   }
}

TEST( Registry, TypesAreThoseOfTheTable ) {
   checkModule( "FlowspecDalb", flowspecDalb );
   checkModule( "FlowspecPolicy", flowspecPolicy );
   checkModule( "PolicyMap", policyMap );
   checkModule( "Peers", peers );
}

TEST( Registry, FieldsAreFoundByIdAndByName ) {
   for ( const auto* const table : { &flowspecDalb, &flowspecPolicy, &policyMap, &peers } ) {
      for ( const Type& entry : *table ) {
         const Vek::TypeInfo& type = *Vek::TypeRegistry::find( entry.name );
         type.forEachField( [&]( const Vek::Field& row ) {
            EXPECT_EQ( type.field( row.id ), &row ) << entry.name << ' ' << row.id;
            EXPECT_EQ( type.field( row.name ), &row ) << entry.name << ' ' << row.name;
         } );
         for ( const unsigned absent : { 0U, 1U, 31U, 255U, 281U, 65535U } ) {
            EXPECT_EQ( type.field( static_cast< U16 >( absent ) ), nullptr ) << entry.name;
         }
         EXPECT_EQ( type.field( "" ), nullptr );
         EXPECT_EQ( type.field( "nothing" ), nullptr );
      }
   }
}

std::vector< Vek::String > enumerators( std::string_view typeName ) {
   const Vek::TypeInfo* const type = Vek::TypeRegistry::find( typeName );
   std::vector< Vek::String > texts;
   for ( std::size_t i = 0; i < type->enumeration->count; ++i ) {
      const Vek::Enumerator& row = type->enumeration->rows[i];
      texts.push_back( Vek::concat( U32{ row.number }, ' ', row.name ) );
   }
   return texts;
}

TEST( Registry, Enumerators ) {
   EXPECT_THAT( enumerators( "Flowspec::MatchCompType" ),
                ElementsAre( "0 invalid", "1 destPrefix", "2 srcPrefix", "3 ipProto", "4 port",
                             "5 destPort", "6 srcPort", "7 icmpType", "8 icmpCode", "9 tcpFlags",
                             "10 packetLength", "11 dscp", "12 fragment", "13 flowLabel" ) );
   EXPECT_THAT( enumerators( "Flowspec::HwRuleProgrammingStatus" ),
                ElementsAre( "0 unprocessed", "1 programmed", "2 programmedWithFailures",
                             "3 unsupportedMatch", "4 unsupportedTcamProfile",
                             "5 unsupportedAction", "6 resourceExhausted",
                             "7 intfSetResourceExhausted" ) );
   EXPECT_THAT( enumerators( "Flowspec::IpVersion" ), ElementsAre( "1 ipv4", "2 ipv6" ) );
   EXPECT_THAT( enumerators( "Flowspec::TrafficRedirectType" ),
                ElementsAre( "0 vrf", "1 addr", "2 srTePolicy" ) );
   EXPECT_THAT(
      enumerators( "Flowspec::IpBitMask::IpBit" ),
      ElementsAre( "0 dontFragment", "1 isFragment", "2 firstFragment", "3 lastFragment" ) );
   EXPECT_THAT( enumerators( "Flowspec::TcpBitMask::TcpBit" ),
                ElementsAre( "0 tcpFin", "1 tcpSyn", "2 tcpRst", "3 tcpPsh", "4 tcpAck", "5 tcpUrg",
                             "6 tcpEce", "7 tcpCwr", "8 tcpNs" ) );
   EXPECT_THAT( enumerators( "Peers::SessionState" ),
                ElementsAre( "0 idle", "1 connect", "2 active", "3 openSent", "4 openConfirm",
                             "5 established" ) );
   EXPECT_THAT( enumerators( "Peers::Family" ),
                ElementsAre( "0 ipv4", "1 ipv6", "2 vpnIpv4", "3 vpnIpv6" ) );
}

TEST( Registry, ModulesAndWhatTheyNeed ) {
   std::vector< std::string_view > names;
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      names.push_back( module->name() );
      EXPECT_TRUE( module->isLoaded() );
      EXPECT_TRUE( module->missing().empty() ) << module->name();
      EXPECT_EQ( Vek::TypeRegistry::module( module->name() ), module );
   }
   EXPECT_THAT( names,
                ElementsAre( "Vek", "Zorv", "Vrf", "QosLib", "SrTePolicy", "L3", "Classification",
                             "PolicyMap", "FlowspecDalb", "FlowspecPolicy", "Peers" ) );
   EXPECT_THAT( Vek::TypeRegistry::module( "FlowspecDalb" )->needs(),
                ElementsAre( "Osk::DumpContext", "Osk::UniqueId", "Zorv::AddressFamily",
                             "Zorv::IntfId", "Zorv::IpGenAddr", "Zorv::IpGenPrefix",
                             "Zorv::RouteDistinguisher", "Classification::StructuredFilter",
                             "QosLib::ColoredCounters", "SrTePolicy::PolicyKey",
                             "Vrf::VrfIdMap::VrfId", "Vek::String", "L3::ResolvedNexthopInfo",
                             "PolicyMap", "L3", "Zorv" ) );
   EXPECT_THAT( Vek::TypeRegistry::module( "FlowspecPolicy" )->needs(),
                ElementsAre( "Osk::UniqueId", "Vek::String", "PolicyMap" ) );
   EXPECT_THAT( Vek::TypeRegistry::module( "Peers" )->needs(),
                ElementsAre( "Vek::String", "Zorv::IpGenAddr", "Flowspec::FlowspecKey" ) );
}

TEST( Registry, UnknownNames ) {
   for ( const std::string_view name :
         { "", "Flowspec::", "Flowspec::config", "flowspec::Config", "Flowspec::Config ",
           "Flowspec::Confi", "Config", "FlowspecDalb" } ) {
      EXPECT_EQ( Vek::TypeRegistry::find( name ), nullptr ) << name;
   }
   for ( const std::string_view name : { "", "Flowspec", "flowspecDalb", "Flowspec::Config" } ) {
      EXPECT_EQ( Vek::TypeRegistry::module( name ), nullptr ) << name;
   }
   EXPECT_EQ( Vek::TypeRegistry::moduleOf( Vek::TypeInfo() ), nullptr );
}

} // namespace
} // namespace Flowspec
