#include "Vek/types/RecordText.h"

#include "Flowspec/FlowspecDalb.h"
#include "PolicyMap/PolicyMap.h"
#include "Vek/types/TypeRegistry.h"
#include "Vek/types/ValueBuffer.h"
#include "peers/PeerTable.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/KeyGenerator.h"

#include <algorithm>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;
using TestSupport::raisesIndexRange;
using TestSupport::raisesRange;

// Values of all types, from the numbers of a generator; small and large ones are frequent.
class Samples {
public:
   U64 number( U64 max ) {
      switch ( random_.below( 4 ) ) {
      case 0:
         return std::min( random_.below( 3 ), max );
      case 1:
         return max - std::min( random_.below( 3 ), max );
      default:
         return max == ~U64{ 0 } ? random_.any() : random_.below( max + 1 );
      }
   }

   void draw( bool& value ) { value = number( 1 ) == 1; }
   void draw( char& value ) { value = static_cast< char >( number( 255 ) ); }
   void draw( std::unsigned_integral auto& value ) {
      using Number = std::remove_reference_t< decltype( value ) >;
      value = static_cast< Number >( number( std::numeric_limits< Number >::max() ) );
   }
   // Any bits but not-a-number, which does not even equal itself.
   void draw( float& value ) {
      do {
         value = std::bit_cast< float >( static_cast< U32 >( random_.any() ) );
      } while ( value != value );
   }
   void draw( double& value ) {
      do {
         value = std::bit_cast< double >( random_.any() );
      } while ( value != value );
   }
   void draw( Vek::String& value ) {
      static constexpr std::string_view characters{ ";\\,|<>@ a\0\n\xFF", 13 };
      value.clear();
      for ( U64 left = number( 20 ); left > 0; --left ) {
         value += random_.oneOf( characters );
      }
   }
   template < typename E >
   requires std::is_enum_v< E >
   void draw( E& value ) {
      if constexpr ( Vek::NamedEnum< E > ) {
         value = static_cast< E >( number( enumInfo( E{} ).count - 1 ) );
      } else {
         value = static_cast< E >( number( 255 ) );
      }
   }
   template < typename Set >
   requires std::derived_from< Set, Vek::FlagSet< Set > >
   void draw( Set& value ) { value = Set( number( ( 1U << std::size( Set::flagNames ) ) - 1 ) ); }
   void draw( Osk::UniqueId& value ) { value = Osk::UniqueId( number( ~U64{ 0 } ) ); }
   void draw( Zorv::IntfId& value ) { value = Zorv::IntfId( number( ~U64{ 0 } ) ); }
   void draw( Zorv::IpTos& value ) { value = Zorv::IpTos( drawn< U8 >() ); }
   void draw( Zorv::RouteDistinguisher& value ) {
      const U64 type = number( 3 ) << 48;
      value = Zorv::RouteDistinguisher( type | number( 0xFFFF'FFFF'FFFF ) );
   }
   void draw( Zorv::IpGenAddr& value ) {
      value = number( 2 ) == 0 ? Zorv::IpGenAddr() : prefix().address();
   }
   // The reader of prefixes does not take the empty text of the empty one.
   void draw( Zorv::IpGenPrefix& value ) { value = prefix(); }
   void draw( QosLib::ColoredCounters& value ) {
      value.packetHitsIs( drawn< U64 >() );
      value.byteHitsIs( drawn< U64 >() );
      value.greenIs( { drawn< U64 >(), drawn< U64 >(), drawn< U64 >() } );
      value.yellowIs( { drawn< U64 >(), drawn< U64 >(), drawn< U64 >() } );
      value.redIs( { drawn< U64 >(), drawn< U64 >(), drawn< U64 >() } );
   }
   void draw( SrTePolicy::PolicyKey& value ) {
      value = SrTePolicy::PolicyKey{ drawn< U32 >(), drawn< Zorv::IpGenAddr >() };
   }
   void draw( L3::ResolvedNexthopInfo& value ) {
      L3::ResolvedNexthopInfo::NexthopSet addresses;
      for ( U64 left = number( 4 ); left > 0; --left ) {
         addresses.insert( drawn< Zorv::IpGenAddr >() );
      }
      L3::ResolvedNexthopInfo::Vias vias( number( 3 ) );
      for ( L3::Via& via : vias ) {
         via = { drawn< Zorv::IpGenAddr >(), drawn< Zorv::IntfId >(),
                 L3::MplsLabel( number( L3::MplsLabel::none() ) ), drawn< bool >() };
      }
      value = L3::ResolvedNexthopInfo( std::move( addresses ), std::move( vias ) );
   }
   void draw( PolicyMap::PoliceRate& value ) { value = PolicyMap::PoliceRate( drawn< U64 >() ); }
   void draw( PolicyMap::PoliceBurstSize& value ) {
      value = PolicyMap::PoliceBurstSize( drawn< U64 >() );
   }
   void draw( PolicyMap::Dscp& value ) { value = PolicyMap::Dscp( number( 63 ) ); }
   void draw( MatchOpVal& value ) { value = MatchOpVal( drawn< U32 >() ); }
   void draw( MatchOpValIndex& value ) { value = number( MatchOpValIndex::max() ); }
   void draw( MatchOpValResult& value ) {
      value = MatchOpValResult{ drawn< MatchCompType >(), drawn< U8 >(), drawn< U32 >(),
                                drawn< MatchOpValIndex >() };
   }
   void draw( NumericalRange& value ) {
      const U64 max = number( NumericalRange::invalidValue() );
      value = NumericalRange( number( max ), max );
   }
   template < typename Mask >
   requires std::derived_from< Mask, BitMask >
   void draw( Mask& value ) { value = Mask{ drawn< bool >(), drawn< U16 >(), drawn< U16 >() }; }
   void draw( TrafficRedirect& value ) {
      value = TrafficRedirect{ drawn< U32 >(), drawn< TrafficRedirectType >(),
                               drawn< Zorv::IpGenAddr >(), drawn< SrTePolicy::PolicyKey >(),
                               drawn< bool >() };
   }
   void draw( FlowspecIntfSetId& value ) {
      value = drawn< bool >() ? FlowspecIntfSetId() : FlowspecIntfSetId( drawn< U16 >() );
   }
   void draw( InterfaceEnableConfig& value ) {
      value = InterfaceEnableConfig{ drawn< Zorv::IntfId >(), drawn< IpVersion >(),
                                     drawn< Vek::String >() };
   }
   void draw( IntfErrorKey& value ) {
      value = IntfErrorKey{ drawn< Zorv::IntfId >(), drawn< Zorv::AddressFamily >() };
   }
   void draw( CounterVersion& value ) {
      value = CounterVersion{ drawn< QosLib::ColoredCounters >(), drawn< Osk::UniqueId >() };
   }

   void draw( Peers::RouteKey& value ) {
      value = Peers::RouteKey{ drawn< Peers::Family >(), drawn< Vek::String >() };
   }
   void draw( Peers::Capabilities& value ) {
      value = { drawn< bool >(), drawn< bool >(), drawn< bool >(),
                drawn< bool >(), drawn< bool >(), drawn< bool >() };
   }
   void draw( Peers::FamilyState& value ) {
      value = { drawn< Peers::Family >(), drawn< bool >(), drawn< bool >(), drawn< bool >() };
   }
   void draw( Peers::MessageCounts& value ) {
      value = { drawn< U64 >(), drawn< U64 >(), drawn< U64 >(), drawn< U64 >(), drawn< U64 >() };
   }
   void draw( Peers::RuleCounts& value ) {
      value = { drawn< U64 >(), drawn< U64 >(), drawn< U64 >(),
                drawn< U64 >(), drawn< U64 >(), drawn< U64 >() };
   }

   template < typename T >
   T drawn() {
      T value{};
      draw( value );
      return value;
   }

private:
   Zorv::IpGenPrefix prefix() {
      return random_.prefix( random_.oneIn( 2 ) ? Zorv::AddressFamily::ipv4
                                                : Zorv::AddressFamily::ipv6 );
   }

   KeyGenerator random_{ 1 };
};

template < typename T >
void goesAndComes( Samples& samples, std::vector< std::string_view >& names ) {
   const Vek::TypeInfo& type = *Vek::TypeRegistry::find( Vek::valueType< T >.name );
   names.push_back( type.name );
   for ( int round = 0; round < 500; ++round ) {
      const T value = samples.drawn< T >();
      const Vek::String text = Vek::valueText( value );
      ASSERT_EQ( Vek::valueText( type, &value ), text ) << type.name;
      T read = samples.drawn< T >();
      ASSERT_NO_THROW( Vek::strepToValue( text, &read ) ) << type.name << ' ' << text;
      ASSERT_EQ( read, value ) << type.name << ' ' << text;
      const Vek::ValueBuffer readByName( *type.value );
      Vek::textToValue( type, text, readByName.get() );
      ASSERT_TRUE( type.value->equal( readByName.get(), &value ) ) << type.name << ' ' << text;
   }
}

template < typename... T >
std::vector< std::string_view > goAndCome() {
   Samples samples;
   std::vector< std::string_view > names;
   ( goesAndComes< T >( samples, names ), ... );
   return names;
}

// Each type of the registry, but for those that hold collections, whose texts are written only, and
// for what is not a value.
TEST( ValueText, WhatWasWrittenReadsBack ) {
   std::vector< std::string_view > names =
      goAndCome< bool, char, U8, U16, U32, U64, float, double, Vek::String, Osk::UniqueId,
                 Zorv::AddressFamily, Zorv::IntfId, Zorv::IpGenAddr, Zorv::IpGenPrefix, Zorv::IpTos,
                 Zorv::RouteDistinguisher, QosLib::ColoredCounters, SrTePolicy::PolicyKey,
                 L3::ResolvedNexthopInfo, PolicyMap::PoliceRate, PolicyMap::PoliceBurstSize,
                 PolicyMap::Dscp, MatchOpVal, MatchOpValIndex, MatchOpValResult, NumericalRange,
                 IpBitMask, TcpBitMask, TrafficAction, TrafficRedirect, ActionFieldSet,
                 FlowspecIntfSetId, InterfaceEnableConfig, IntfErrorKey, CounterVersion,
                 MatchCompType, HwRuleProgrammingStatus, IpVersion, TrafficRedirectType,
                 IpBitMask::IpBit, TcpBitMask::TcpBit, Peers::RouteKey, Peers::Capabilities,
                 Peers::FamilyState, Peers::MessageCounts, Peers::RuleCounts, Peers::SessionState,
                 Peers::Family >();
   // Known by another name as well.
   names.emplace_back( "Vrf::VrfIdMap::VrfId" );
   for ( const std::string_view other :
         { "Flowspec::FlowspecKey", "Flowspec::MatchComponent",
           "Flowspec::FlowspecIntfInterfaceSetConfig", "Flowspec::UnsupportedQual",
           "Osk::DumpContext", "Classification::StructuredFilter" } ) {
      names.push_back( other );
   }
   std::vector< std::string_view > registered;
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      for ( const Vek::TypeInfo* const type : module->types() ) {
         if ( type->kind == Vek::TypeKind::value || type->kind == Vek::TypeKind::enumeration ) {
            registered.push_back( type->name );
         }
      }
   }
   EXPECT_THAT( names, testing::UnorderedElementsAreArray( registered ) );
}

// An observer can print whatever it is told.
TEST( ValueText, EachAttributeAndMemberOfAnEntityCanBeWritten ) {
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      for ( const Vek::TypeInfo* const type : module->types() ) {
         if ( !type->isEntity() ) {
            continue;
         }
         type->forEachField( [&]( const Vek::Field& row ) {
            for ( const Vek::ValueType* const value : { row.key, row.value } ) {
               const bool isReference = row.id == 257;
               EXPECT_TRUE( !value || value->write || isReference ) << type->name << row.name;
            }
         } );
      }
   }
}

TEST( ValueText, IndicesAreReadWithAndWithoutTheirEnd ) {
   MatchOpValIndex index;
   EXPECT_EQ( Vek::valueText( MatchOpValIndex( 5 ) ), "5;" );
   for ( const char* const text : { "5;", "5" } ) {
      index = 7;
      Vek::strepToValue( text, &index );
      EXPECT_EQ( index, MatchOpValIndex( 5 ) );
   }
   Vek::strepToValue( "2047;", &index );
   EXPECT_EQ( index, MatchOpValIndex( 2047 ) );
   const auto read = [&]( std::string_view text ) {
      return [&index, text] { Vek::strepToValue( text, &index ); };
   };
   for ( const char* const text : { "2048;", "2048", "65535;", "65536;", "4294967301;",
                                    "18446744073709551621;", "99999999999999999999999999;" } ) {
      EXPECT_THAT( read( text ), raisesIndexRange() ) << text;
   }
   EXPECT_THAT( read( "5;;" ), raisesRange( "Flowspec::MatchOpValIndex: '5;;' is not a value" ) );
   EXPECT_THAT( read( "5;6" ), raisesRange( "Flowspec::MatchOpValIndex: '5;6' is not a value" ) );
   EXPECT_THAT( read( "" ), raisesRange( "U16: '' is not a value" ) );
   EXPECT_THAT( read( "-1;" ), raisesRange( "U16: '-1' is not a value" ) );
   EXPECT_THAT( read( "05;" ), raisesRange( "U16: '05' is not a value" ) );
   EXPECT_EQ( index, MatchOpValIndex( 2047 ) );
}

TEST( ValueText, BoundsOfARangeAboveAllNumbersAreStillBounds ) {
   NumericalRange range( 1, 2 );
   const auto read = [&]( std::string_view text ) {
      return [&range, text] { Vek::strepToValue( text, &range ); };
   };
   const std::string upsideDown = "Flowspec::NumericalRange::rangeMin > rangeMax_ not allowed";
   const auto outside = []( const std::string& bound ) {
      return "Flowspec::NumericalRange::" + bound +
             " < Flowspec::NumericalRange::min or > Flowspec::NumericalRange::invalidValue not "
             "allowed";
   };
   EXPECT_THAT( read( "5;4;" ), raisesRange( upsideDown ) );
   EXPECT_THAT( read( "4294967296;4;" ), raisesRange( upsideDown ) );
   EXPECT_THAT( read( "16777217;16777218;" ), raisesRange( outside( "rangeMin" ) ) );
   EXPECT_THAT( read( "4294967296;4294967296;" ), raisesRange( outside( "rangeMin" ) ) );
   EXPECT_THAT( read( "0;16777217;" ), raisesRange( outside( "rangeMax" ) ) );
   EXPECT_THAT( read( "0;4294967296;" ), raisesRange( outside( "rangeMax" ) ) );
   EXPECT_THAT( read( "0;18446744073709551616;" ), raisesRange( outside( "rangeMax" ) ) );
   EXPECT_EQ( range, NumericalRange( 1, 2 ) );
   // A mask has no bounds of its own.
   IpBitMask mask;
   EXPECT_THAT( [&] { Vek::strepToValue( "1;65536;1;", &mask ); },
                raisesRange( "U16: '65536' is not a value" ) );
}

TEST( ValueText, SeparatorsInsideAnAttribute ) {
   const InterfaceEnableConfig config( Zorv::IntfId( 7 ), IpVersion( 1 ), "a;b\\c" );
   EXPECT_EQ( Vek::valueText( config ), "intf7;ipv4;a\\;b\\\\c;" );
   InterfaceEnableConfig read;
   Vek::strepToValue( "intf7;ipv4;a\\;b\\\\c;", &read );
   EXPECT_EQ( read, config );
   for ( const std::string text : { "intf7;ipv4;a\\", "intf7;ipv4;a\\;", "intf7;ipv4;a\\b;",
                                    "intf7;ipv4;a;b;", "intf7;ipv4;a", "intf7;ipv4;" } ) {
      EXPECT_THAT(
         [&] { Vek::strepToValue( text, &read ); },
         raisesRange( "Flowspec::InterfaceEnableConfig: '" + text + "' is not a value" ) );
   }
   EXPECT_EQ( read, config );
}

TEST( ValueText, PlainTypesRefuseWhatTheyCannotHold ) {
   const auto refused = []< typename T >( T value, std::string_view text,
                                          const std::string& message ) {
      EXPECT_THAT( [&] { Vek::strepToValue( text, &value ); }, raisesRange( message ) );
   };
   refused( 'a', "", "char: '' is not a value" );
   refused( 'a', "ab", "char: 'ab' is not a value" );
   refused( 1.0F, "1e39", "float: '1e39' is not a value" );
   refused( 1.0F, "1x", "float: '1x' is not a value" );
   refused( 1.0, "1e309", "Vek::Duration: '1e309' is not a value" );
   refused( PolicyMap::PoliceRate( 1 ), "1k", "PolicyMap::PoliceRate: '1k' is not a number" );
   refused( PolicyMap::PoliceBurstSize( 1 ), "", "PolicyMap::PoliceBurstSize: '' is not a number" );
   refused( PolicyMap::Dscp( 1 ), "64", "PolicyMap::Dscp: 64 is not a DSCP" );
   refused( PolicyMap::Dscp( 1 ), "ef", "PolicyMap::Dscp: 'ef' is not a number" );
   refused( Zorv::IpGenPrefix(), "", "Zorv::IpGenPrefix: '' is not a prefix" );
}

TEST( ValueText, WhatIsNoValueHasNoText ) {
   for ( const char* const name :
         { "Osk::DumpContext", "Classification::StructuredFilter", "Flowspec::Config" } ) {
      const Vek::TypeInfo& type = *Vek::TypeRegistry::find( name );
      EXPECT_THAT( [&] { Vek::valueText( type, nullptr ); },
                   raisesRange( std::string( name ) + ": a value of this type has no text" ) );
      EXPECT_THAT( [&] { Vek::textToValue( type, "x", nullptr ); },
                   raisesRange( std::string( name ) + ": 'x' is not a value" ) );
   }
}

TEST( ValueText, AFamilyOfAWrongText ) {
   auto family = Zorv::AddressFamily::ipv6;
   EXPECT_THAT( [&] { Vek::strepToValue( "ipx", &family ); },
                raisesRange( "Zorv::AddressFamily: 'ipx' is not a family" ) );
   EXPECT_EQ( family, Zorv::AddressFamily::ipv6 );
}

} // namespace
} // namespace Flowspec
