#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/ValueBuffer.h"
#include "fuzz/Check.h"

#include <vector>

namespace {

using namespace Flowspec;

std::vector< U8 > written( const Vek::ValueType& type, const void* value ) {
   std::vector< U8 > bytes( type.logSize( value ) );
   Vek::LogWriter out( bytes.data() );
   type.logWrite( out, value );
   Fuzz::require( out.at() == bytes.data() + bytes.size(), "a value has the size that was said" );
   return bytes;
}

void read( const Vek::ValueType& type, std::span< const U8 > bytes, Vek::LogReader::Trust trust,
           void* value ) {
   Vek::LogReader in( bytes, trust );
   type.logRead( in, value );
   in.end();
}

// A value that was read is written as bytes from which, trusted or not, an equal one is read.
void check( const Vek::ValueType& type, std::span< const U8 > bytes ) {
   using Trust = Vek::LogReader::Trust;
   const Vek::ValueBuffer value( type );
   try {
      read( type, bytes, Trust::checked, value.get() );
   } catch ( const Vek::StreamException& exception ) {
      Fuzz::require( std::string_view( exception.what() ).starts_with( "byte " ),
                     "what is refused is told with its place" );
      return;
   } catch ( const Vek::RangeException& ) {
      return; // a value that the type's constructor refuses
   }
   const std::vector< U8 > first = written( type, value.get() );
   for ( const Trust trust : { Trust::checked, Trust::trusted } ) {
      const Vek::ValueBuffer again( type );
      read( type, first, trust, again.get() );
      const std::vector< U8 > second = written( type, again.get() );
      Fuzz::require( second == first, "a value that was written reads back to the same" );
      // Not-a-number does not even equal itself.
      const bool comparable = type.equal && type.equal( value.get(), value.get() );
      Fuzz::require( !comparable || type.equal( value.get(), again.get() ),
                     "the values are equal" );
   }
   if ( type.write ) {
      Vek::String text;
      Vek::TextWriter out( text );
      type.write( out, value.get() );
   }
}

// Appended to, never reordered: the corpus selects by position.
const Vek::ValueType* const types[] = {
   &Vek::valueType< bool >,
   &Vek::valueType< U8 >,
   &Vek::valueType< U16 >,
   &Vek::valueType< U32 >,
   &Vek::valueType< U64 >,
   &Vek::valueType< float >,
   &Vek::valueType< double >,
   &Vek::valueType< Vek::String >,
   &Vek::valueType< Osk::UniqueId >,
   &Vek::valueType< Zorv::AddressFamily >,
   &Vek::valueType< Zorv::IntfId >,
   &Vek::valueType< Zorv::IpTos >,
   &Vek::valueType< Zorv::IpGenAddr >,
   &Vek::valueType< Zorv::IpGenPrefix >,
   &Vek::valueType< Zorv::RouteDistinguisher >,
   &Vek::valueType< QosLib::ColoredCounters >,
   &Vek::valueType< SrTePolicy::PolicyKey >,
   &Vek::valueType< L3::ResolvedNexthopInfo >,
   &Vek::valueType< PolicyMap::PoliceRate >,
   &Vek::valueType< PolicyMap::PoliceBurstSize >,
   &Vek::valueType< PolicyMap::Dscp >,
   &Vek::valueType< FlowspecKey >,
   &Vek::valueType< MatchCompType >,
   &Vek::valueType< HwRuleProgrammingStatus >,
   &Vek::valueType< TrafficRedirectType >,
   &Vek::valueType< IpVersion >,
   &Vek::valueType< TrafficAction >,
   &Vek::valueType< ActionFieldSet >,
   &Vek::valueType< MatchOpVal >,
   &Vek::valueType< MatchOpValIndex >,
   &Vek::valueType< MatchOpValResult >,
   &Vek::valueType< NumericalRange >,
   &Vek::valueType< IpBitMask >,
   &Vek::valueType< TcpBitMask >,
   &Vek::valueType< MatchComponent >,
   &Vek::valueType< TrafficRedirect >,
   &Vek::valueType< FlowspecIntfSetId >,
   &Vek::valueType< FlowspecIntfInterfaceSetConfig >,
   &Vek::valueType< InterfaceEnableConfig >,
   &Vek::valueType< IntfErrorKey >,
   &Vek::valueType< CounterVersion >,
   &Vek::valueType< UnsupportedQual >,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size > 0 ) {
      check( *types[data[0] % std::size( types )], std::span( data, size ).subspan( 1 ) );
   }
   return 0;
}
