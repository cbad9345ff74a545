#include "agents/bgp/message/Capabilities.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"
#include "agents/bgp/message/Header.h"

#include <algorithm>

namespace Bgp {

namespace {

struct Code {
   static constexpr U8 multiprotocol = 1;
   static constexpr U8 routeRefresh = 2;
   static constexpr U8 extendedMessages = 6;
   static constexpr U8 gracefulRestart = 64;
   static constexpr U8 fourOctetAs = 65;
   static constexpr U8 enhancedRefresh = 70;
};

using Value = std::span< const U8 >;

void takeFamily( Value value, Capabilities& capabilities ) {
   capabilities.families.push_back( { Osk::loadBig16( value.data() ), value[3] } );
}

void takeFourOctetAs( Value value, Capabilities& capabilities ) {
   capabilities.fourOctetAs = Osk::loadBig32( value.data() );
}

void takeGracefulRestart( Value value, Capabilities& capabilities ) {
   const U16 first = Osk::loadBig16( value.data() );
   GracefulRestart& restart = capabilities.gracefulRestart.emplace();
   restart.restarting = ( first & 0x8000 ) != 0;
   restart.notifications = ( first & 0x4000 ) != 0;
   restart.seconds = first & 0x0FFF;
   for ( value = value.subspan( 2 ); !value.empty(); value = value.subspan( 4 ) ) {
      restart.families.push_back(
         { { Osk::loadBig16( value.data() ), value[2] }, ( value[3] & 0x80 ) != 0 } );
   }
}

struct Row {
   U8 code;
   U8 length;   // of the value, or its least
   U8 multiple; // of what may come after that; 0: nothing may
   void ( *take )( Value, Capabilities& );
};

constexpr Row rows[] = {
   { Code::multiprotocol, 4, 0, takeFamily },
   { Code::routeRefresh, 0, 0, []( Value, Capabilities& own ) { own.routeRefresh = true; } },
   { Code::extendedMessages, 0, 0,
     []( Value, Capabilities& own ) { own.extendedMessages = true; } },
   { Code::gracefulRestart, 2, 4, takeGracefulRestart },
   { Code::fourOctetAs, 4, 0, takeFourOctetAs },
   { Code::enhancedRefresh, 0, 0, []( Value, Capabilities& own ) { own.enhancedRefresh = true; } },
};

bool hasLength( const Row& row, std::size_t length ) {
   return row.multiple == 0 ? length == row.length
                            : length >= row.length && ( length - row.length ) % row.multiple == 0;
}

Fault malformed( Vek::String text ) {
   return { { ErrorCode::open, OpenError::unspecific, {} }, std::move( text ) };
}

void append( std::vector< U8 >& out, U8 code, std::initializer_list< U8 > value = {} ) {
   out.push_back( code );
   out.push_back( static_cast< U8 >( value.size() ) );
   out.insert( out.end(), value );
}

} // namespace

const GracefulFamily* GracefulRestart::find( Family family ) const {
   const auto found = std::ranges::find( families, family, &GracefulFamily::family );
   return found == families.end() ? nullptr : &*found;
}

std::optional< Fault > readCapabilities( std::span< const U8 > parameter,
                                         Capabilities& capabilities ) {
   while ( !parameter.empty() ) {
      const U8 code = parameter[0];
      const std::size_t left = parameter.size() - 1;
      if ( left == 0 || parameter[1] > left - 1 ) {
         return malformed( Vek::concat( "the capability ", code, " is cut off" ) );
      }
      const Value value = parameter.subspan( 2, parameter[1] );
      parameter = parameter.subspan( 2 + value.size() );
      const auto row = std::ranges::find( rows, code, &Row::code );
      if ( row == std::end( rows ) ) {
         continue;
      }
      if ( !hasLength( *row, value.size() ) ) {
         return malformed(
            Vek::concat( "the capability ", code, " has ", value.size(), " octets" ) );
      }
      row->take( value, capabilities );
   }
   return std::nullopt;
}

void writeCapabilities( const Capabilities& capabilities, std::vector< U8 >& out ) {
   for ( const Family family : capabilities.families ) {
      append( out, Code::multiprotocol,
              { static_cast< U8 >( family.afi >> 8 ), static_cast< U8 >( family.afi ), 0,
                family.safi } );
   }
   if ( capabilities.routeRefresh ) {
      append( out, Code::routeRefresh );
   }
   if ( capabilities.extendedMessages ) {
      append( out, Code::extendedMessages );
   }
   if ( const auto& restart = capabilities.gracefulRestart ) {
      append( out, Code::gracefulRestart );
      out.back() = static_cast< U8 >( 2 + 4 * restart->families.size() );
      append16( out, static_cast< U16 >( ( restart->restarting ? 0x8000 : 0 ) |
                                         ( restart->notifications ? 0x4000 : 0 ) |
                                         ( restart->seconds & 0x0FFF ) ) );
      for ( const auto& [family, forwarding] : restart->families ) {
         append16( out, family.afi );
         out.push_back( family.safi );
         out.push_back( forwarding ? 0x80 : 0 );
      }
   }
   if ( capabilities.fourOctetAs ) {
      append( out, Code::fourOctetAs );
      out.back() = 4;
      append32( out, *capabilities.fourOctetAs );
   }
   if ( capabilities.enhancedRefresh ) {
      append( out, Code::enhancedRefresh );
   }
}

} // namespace Bgp
