#include "agents/bgp/message/AttributeReader.h"

#include "Osk/Endian.h"
#include "agents/bgp/message/AsSegments.h"

namespace Bgp {

using Code = AttributeFaultCode;
using Result = AttributeReader::Result;
using Octets = std::span< const U8 >;

bool AttributeReader::mayBeSent( Senders senders ) const {
   return senders == Senders::all ||
          ( senders == Senders::internal ? agreed_.internal() : !agreed_.fourOctetAs );
}

Result AttributeReader::read( const AttributeRow& row, U8 flags, Octets value ) {
   if ( !row.hasFlags( flags ) ) {
      return AttributeFault{ Code::flags, row.type, flags };
   }
   if ( !row.length.admits( value.size() ) ) {
      return AttributeFault{ Code::length, row.type, static_cast< U16 >( value.size() ) };
   }
   return readValue( row.type, value );
}

Result AttributeReader::readValue( U8 type, Octets value ) {
   switch ( type ) {
   case AttributeType::origin:
      if ( value[0] > static_cast< U8 >( Origin::incomplete ) ) {
         return AttributeFault{ Code::value, type, value[0] };
      }
      attributes_.origin = static_cast< Origin >( value[0] );
      break;
   case AttributeType::asPath:
   case AttributeType::as4Path:
      return readPath( type, value );
   case AttributeType::aggregator:
      return readAggregator( value );
   case AttributeType::as4Aggregator:
      if ( Osk::loadBig32( value.data() ) == 0 ) {
         return AttributeFault{ Code::asZero, type };
      }
      hasAs4Aggregator_ = true;
      break;
   case AttributeType::med:
      attributes_.med = Osk::loadBig32( value.data() );
      break;
   case AttributeType::localPref:
      attributes_.localPref = Osk::loadBig32( value.data() );
      break;
   case AttributeType::originatorId:
      attributes_.originatorId = Osk::loadBig32( value.data() );
      break;
   case AttributeType::clusterList:
      attributes_.clusterList = value;
      break;
   case AttributeType::extendedCommunities:
      attributes_.communities.extended = value;
      break;
   case AttributeType::ipv6Communities:
      attributes_.communities.ipv6 = value;
      break;
   default: // only its form matters
      break;
   }
   return std::nullopt;
}

Result AttributeReader::readPath( U8 type, Octets value ) {
   // Segments of confederations come from speakers that do not know AS4_PATH, and in it alone.
   const bool as4 = type == AttributeType::as4Path;
   if ( as4 && value.empty() ) {
      return AttributeFault{ Code::length, type };
   }
   if ( const auto bad = checkPath( value, as4 ? 4 : asSize_, as4 ? 4 : 2 ) ) {
      return AttributeFault{ bad->asZero ? Code::asZero : Code::segment, type, bad->offset };
   }
   ( as4 ? as4Path_ : path_ ) = value;
   return std::nullopt;
}

Result AttributeReader::readAggregator( Octets value ) {
   constexpr U8 type = AttributeType::aggregator;
   if ( value.size() != asSize_ + 4 ) {
      return AttributeFault{ Code::length, type, static_cast< U16 >( value.size() ) };
   }
   const U32 as = asSize_ == 2 ? Osk::loadBig16( value.data() ) : Osk::loadBig32( value.data() );
   if ( as == 0 ) {
      return AttributeFault{ Code::asZero, type };
   }
   aggregatorFits_ = as != asTrans;
   return std::nullopt;
}

void AttributeReader::completePath( std::vector< U8 >& memory ) {
   if ( asSize_ == 2 ) {
      // An aggregator after the one that AS4_AGGREGATOR tells of did not know of AS4_PATH either.
      const bool outdated = hasAs4Aggregator_ && aggregatorFits_;
      mergePaths( path_, outdated ? Octets() : as4Path_, memory );
      path_ = memory;
   }
   attributes_.asPath = AsPath( path_ );
}

} // namespace Bgp
