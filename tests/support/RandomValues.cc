#include "tests/support/RandomValues.h"

#include "Vek/types/Arguments.h"
#include "Vek/types/TypeRegistry.h"

#include <map>
#include <stdexcept>

namespace TestSupport {

using namespace Flowspec;

namespace {

using Generators = std::map< std::string_view, void ( * )( RandomValues&, void* ) >;

template < typename Make >
Generators::value_type of( Make ) {
   using T = std::invoke_result_t< Make, RandomValues& >;
   return { Vek::valueType< T >.name, []( RandomValues& random, void* value ) {
              *static_cast< T* >( value ) = Make()( random );
           } };
}

using R = RandomValues;

const Generators generators = {
   of( []( R& r ) { return r.oneIn( 2 ); } ),
   of( []( R& r ) { return static_cast< char >( 'a' + r.below( 5 ) ); } ),
   of( []( R& r ) { return static_cast< U8 >( r.below( 5 ) ); } ),
   of( []( R& r ) { return static_cast< U16 >( r.below( 5 ) ); } ),
   of( []( R& r ) { return static_cast< U32 >( r.below( 5 ) ); } ),
   of( []( R& r ) { return r.oneIn( 3 ) ? r.any() : r.below( 3 ); } ),
   of( []( R& r ) { return static_cast< float >( r.below( 3 ) ) * 0.5F; } ),
   of( []( R& r ) { return static_cast< double >( r.below( 4 ) ) / 3; } ),
   of( []( R& r ) { return r.text(); } ),
   of( []( R& r ) { return r.id(); } ),
   of( []( R& r ) { return r.family(); } ),
   of( []( R& r ) { return r.intf(); } ),
   of( []( R& r ) { return r.address(); } ),
   of( []( R& r ) { return r.prefix( r.family() ); } ),
   of( []( R& r ) { return Zorv::IpTos( static_cast< U8 >( r.below( 3 ) ) ); } ),
   of( []( R& r ) { return Zorv::RouteDistinguisher( r.below( 3 ) << 48 ); } ),
   of( []( R& r ) { return r.counters(); } ),
   of( []( R& r ) { return r.nexthops(); } ),
   of( []( R& r ) {
      return SrTePolicy::PolicyKey{ r.number( 2 ), r.address() };
   } ),
   of( []( R& r ) { return PolicyMap::PoliceRate( r.below( 3 ) ); } ),
   of( []( R& r ) { return PolicyMap::PoliceBurstSize( r.below( 3 ) ); } ),
   of( []( R& r ) { return PolicyMap::Dscp( r.below( 64 ) ); } ),
   of( []( R& r ) { return r.key(); } ),
   of( []( R& r ) { return r.range(); } ),
   of( []( R& r ) { return MatchOpValIndex( static_cast< U16 >( r.below( 2047 ) ) ); } ),
   of( []( R& r ) { return r.flags< ActionFieldSet >(); } ),
   of( []( R& r ) { return r.flags< TrafficAction >(); } ),
   of( []( R& r ) { return r.flags< IpVersion >(); } ),
   of( []( R& r ) { return r.redirect(); } ),
   of( []( R& r ) { return r.component(); } ),
   of( []( R& r ) { return FlowspecIntfSetId( static_cast< U16 >( r.below( 3 ) ) ); } ),
   of( []( R& r ) { return r.interfaceSets(); } ),
   of( []( R& r ) {
      return IntfErrorKey{ r.intf(), r.family() };
   } ),
   of( []( R& r ) { return r.unsupportedQual(); } ),
};

} // namespace

RandomValues::RandomValues( U64 seed ) : KeyGenerator( seed ), keys_( entangledKeys() ) {
   for ( int i = 0; i < 30; ++i ) {
      keys_.push_back( canonicalKey() );
   }
}

void RandomValues::fill( const Vek::ValueType& type, void* value ) {
   const auto generator = generators.find( type.name );
   if ( generator != generators.end() ) {
      generator->second( *this, value );
      return;
   }
   const Vek::TypeInfo* const info = Vek::TypeRegistry::find( type.name );
   if ( info && info->enumeration ) {
      const std::size_t position = below( info->enumeration->count );
      *static_cast< U8* >( value ) = info->enumeration->rows[position].number;
   } else if ( info && info->build ) {
      const Vek::Arguments attributes( info->parameters );
      for ( std::size_t i = 0; i < info->parameters.size(); ++i ) {
         fill( *info->parameters[i], attributes[i] );
      }
      info->build( attributes.data(), value );
   } else {
      throw std::logic_error( Vek::concat( "no values of ", type.name ) );
   }
}

Vek::String RandomValues::text() {
   static const char* const texts[] = { "", "red", "blue", "a longer text, with blanks in it" };
   return oneOf( texts );
}

Zorv::IpGenAddr RandomValues::address() {
   const Zorv::IpGenPrefix host = prefix( family() );
   return host.address();
}

QosLib::ColoredCounters RandomValues::counters() {
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( below( 3 ) );
   counters.byteHitsIs( any() );
   counters.redIs( { below( 2 ), 5, 6 } );
   return counters;
}

L3::ResolvedNexthopInfo RandomValues::nexthops() {
   L3::ResolvedNexthopInfo::NexthopSet set;
   L3::ResolvedNexthopInfo::Vias vias;
   for ( U64 i = below( 3 ); i > 0; --i ) {
      set.insert( address() );
      const Zorv::IntfId intfId = intf();
      vias.push_back( { *set.begin(), intfId, oneIn( 2 ) ? L3::MplsLabel() : L3::MplsLabel( 100 ),
                        oneIn( 2 ) } );
   }
   return { set, vias };
}

NumericalRange RandomValues::range() {
   const auto low = static_cast< U32 >( below( 9 ) );
   return { low, low + static_cast< U32 >( below( 9 ) ) };
}

MatchComponent RandomValues::component() {
   MatchComponent component( static_cast< MatchCompType >( below( 14 ) ) );
   if ( oneIn( 3 ) ) {
      component.prefixIs( prefix( Zorv::AddressFamily::ipv4 ) );
   }
   for ( U64 i = below( 4 ); i > 0; --i ) {
      component.numericalRangeIs( range() );
      component.ipBitMaskIs( IpBitMask( oneIn( 2 ), 1, 3 ) );
      component.tcpBitMaskIs( TcpBitMask( oneIn( 2 ), static_cast< U16 >( below( 4 ) ), 3 ) );
   }
   return component;
}

TrafficRedirect RandomValues::redirect() {
   TrafficRedirect redirect;
   redirect.vrfIdIs( static_cast< U32 >( below( 3 ) ) );
   redirect.typeIs( static_cast< TrafficRedirectType >( below( 3 ) ) );
   redirect.addrIs( address() );
   redirect.srTePolicyKeyIs( SrTePolicy::PolicyKey( 7, address() ) );
   redirect.copyIs( oneIn( 2 ) );
   return redirect;
}

FlowspecIntfInterfaceSetConfig RandomValues::interfaceSets() {
   FlowspecIntfInterfaceSetConfig sets( intf() );
   for ( U64 i = below( 4 ); i > 0; --i ) {
      sets.interfaceSetIs( oneIn( 4 ) ? FlowspecIntfSetId()
                                      : FlowspecIntfSetId( static_cast< U16 >( below( 5 ) ) ) );
   }
   return sets;
}

UnsupportedQual RandomValues::unsupportedQual() {
   UnsupportedQual value( family() );
   value.unsupportedActionsIs( flags< ActionFieldSet >() );
   for ( U64 i = below( 3 ); i > 0; --i ) {
      const auto type = static_cast< MatchCompType >( 1 + below( 13 ) );
      value.qualIs( type, text() );
   }
   return value;
}

} // namespace TestSupport
