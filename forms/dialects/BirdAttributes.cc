#include "forms/dialects/BirdAttributes.h"

#include "Osk/Endian.h"

#include <limits>
#include <utility>

namespace Forms {

namespace {

constexpr U16 routeOrigin = 0x0003;

} // namespace

void BirdText::skip() {
   for ( ;; ) {
      skipBlanks();
      const std::size_t at = offset();
      if ( take( '#' ) ) {
         takeUntil( "\n" );
      } else if ( take( "/*" ) ) {
         const std::size_t end = rest().find( "*/" );
         if ( end == std::string_view::npos ) {
            failAt( at, "the comment has no end" );
         }
         offsetIs( offset() + end + 2 );
      } else {
         return;
      }
   }
}

bool BirdText::takeToken( std::string_view token ) {
   skip();
   const bool there = take( token );
   skip();
   return there;
}

void BirdText::expectToken( std::string_view token ) {
   skip();
   expect( token );
   skip();
}

Wire::EncodedAction BirdAttributes::readBlock() {
   text_.expectToken( "{" );
   while ( !text_.takeToken( "}" ) ) {
      readStatement();
   }
   return std::move( communities_ );
}

Wire::EncodedAction BirdAttributes::readPrinted() {
   const std::size_t begin = text_.offset();
   text_.takeUntil( "\n" ); // "[static1 12:00:00.000] * (200)"
   text_.skipBlanks();
   if ( text_.atEnd() ) {
      text_.failAt( begin, "the route has no attributes here: print it with 'show route all'" );
   }
   for ( ; !text_.atEnd(); text_.skipBlanks() ) {
      const std::size_t at = text_.offset();
      if ( text_.next() == '[' ) {
         text_.failAt( at, "another route of the rule: print them with 'show route primary all'" );
      }
      const std::string_view name = text_.takeUntil( ":\n" );
      if ( !text_.take( ':' ) ) {
         text_.failExpectingAt( at, "an attribute" );
      }
      if ( name != "BGP.ext_community" ) {
         text_.takeUntil( "\n" );
         continue;
      }
      for ( text_.skipBlanks(); text_.next() == '('; text_.skipBlanks() ) {
         communities_.extended.push_back( community() );
      }
   }
   return std::move( communities_ );
}

void BirdAttributes::readStatement() {
   const std::size_t at = text_.offset();
   const std::string_view attribute = text_.takeWord();
   if ( !attribute.starts_with( "bgp_" ) ) {
      text_.offsetIs( at );
      text_.failExpecting( "'bgp_ext_community.add('" );
   }
   if ( attribute != "bgp_ext_community" ) {
      text_.takeUntil( ";{}" );
      text_.expectToken( ";" );
      // Once: a remark costs the time to count lines.
      if ( !std::exchange( passedOver_, true ) ) {
         remarks_.push_back( text_.faultAt(
            at, Vek::concat( attribute, " is passed over: it is not part of the action" ) ) );
      }
      return;
   }
   text_.expectToken( "." );
   text_.expectToken( "add" );
   text_.expectToken( "(" );
   communities_.extended.push_back( community() );
   text_.expectToken( ")" );
   text_.expectToken( ";" );
}

Wire::ExtendedCommunity BirdAttributes::community() {
   constexpr U32 max = std::numeric_limits< U32 >::max();
   text_.expectToken( "(" );
   Wire::ExtendedCommunity octets{};
   if ( text_.takeWord( "generic" ) ) {
      text_.expectToken( "," );
      Osk::storeBig32( octets.data(), static_cast< U32 >( text_.number( max ) ) );
      text_.expectToken( "," );
      Osk::storeBig32( octets.data() + 4, static_cast< U32 >( text_.number( max ) ) );
   } else if ( text_.takeWord( "rt" ) ) {
      octets = composed( Wire::CommunityType::routeTargetAs2 );
   } else if ( text_.takeWord( "ro" ) ) {
      octets = composed( routeOrigin );
   } else if ( text_.takeWord( "unknown" ) ) {
      text_.skip();
      octets = composed( static_cast< U16 >( text_.number( std::numeric_limits< U16 >::max() ) ) );
   } else {
      text_.failExpecting( "'generic', 'rt', 'ro' or 'unknown'" );
   }
   text_.expectToken( ")" );
   return octets;
}

// The type, an AS number or an address, and a number. What is there makes the type one of two
// octets and four, of an address and two, or of four and two, where it does not say so itself.
Wire::ExtendedCommunity BirdAttributes::composed( U16 type ) {
   constexpr U16 layouts = 0x0300;
   constexpr U16 ofAddress = 0x0100;
   constexpr U16 ofAs4 = 0x0200;
   text_.expectToken( "," );
   const std::size_t at = text_.offset();
   const std::string_view administrator = text_.takeAllOf( "0123456789." );
   text_.offsetIs( at );
   U16 layout = type & layouts;
   U32 high = 0;
   if ( administrator.find( '.' ) != std::string_view::npos ) {
      const auto address = Zorv::IpGenAddr::fromText( administrator );
      if ( !address ) {
         text_.failExpecting( "an AS number or an IPv4 address" );
      }
      text_.offsetIs( at + administrator.size() );
      high = address->ipv4Value();
      layout = layout == 0 ? ofAddress : layout;
   } else {
      high = static_cast< U32 >(
         text_.number( std::numeric_limits< U32 >::max(), "an AS number or an IPv4 address" ) );
      layout = layout == 0 && high > 0xFFFF ? ofAs4 : layout;
   }
   text_.expectToken( "," );
   const bool four = layout == ofAddress || layout == ofAs4;
   if ( !four && high > 0xFFFF ) {
      text_.failAt( at, "the type has two octets for what is not a number up to 65535" );
   }
   const auto low =
      static_cast< U32 >( text_.number( four ? 0xFFFF : std::numeric_limits< U32 >::max() ) );
   Wire::ExtendedCommunity octets{};
   Osk::storeBig16( octets.data(), type | layout );
   if ( four ) {
      Osk::storeBig32( octets.data() + 2, high );
      Osk::storeBig16( octets.data() + 6, static_cast< U16 >( low ) );
   } else {
      Osk::storeBig16( octets.data() + 2, static_cast< U16 >( high ) );
      Osk::storeBig32( octets.data() + 4, low );
   }
   return octets;
}

} // namespace Forms
