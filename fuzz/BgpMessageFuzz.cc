#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/RouteRefresh.h"
#include "agents/bgp/message/Update.h"
#include "agents/bgp/message/UpdateWriter.h"
#include "fuzz/Check.h"
#include "tests/agents/bgp/message/PlainUpdate.h"
#include "wire/NlriDecoder.h"

#include <algorithm>

// An input is a byte that chooses the kind of peer, and one message. Its marker and length are made
// right, as a fuzzer would not get far otherwise; `BgpHeader` in the tests has those that are not.

namespace {

using namespace Bgp;
using Octets = std::span< const U8 >;

void readRoutes( const std::optional< Routes >& routes ) {
   if ( !routes ) {
      return;
   }
   Wire::NlriList list( routes->nlri, *routes->family.format() );
   while ( !list.atEnd() ) {
      Wire::Nlri nlri;
      (void)list.next( nlri );
   }
   Fuzz::require( list.isFramed(), "the rules can be told apart" );
}

// The attributes as they were written for the same peer.
void checkWritten( Octets attributes, const Update& update, const Agreed& agreed ) {
   std::vector< U8 > out;
   UpdateWriter writer =
      UpdateWriter::announcing( flowFamilies[0], attributes, maxExtendedMessage, out );
   static constexpr U8 rule[] = { 3, 1, 8, 10 };
   Fuzz::require( writer.add( rule ), "there is room" );
   writer.finish();
   Update again;
   Fuzz::require( !readUpdate( Octets( out ).subspan( headerSize ), agreed, again ) &&
                     !again.withdrawn,
                  "what was written is good" );
   const PathAttributes& before = update.attributes;
   const PathAttributes& after = again.attributes;
   Fuzz::require( after.origin == before.origin && after.asPath == before.asPath &&
                     after.med == before.med && after.localPref == before.localPref &&
                     after.originatorId == before.originatorId &&
                     std::ranges::equal( after.clusterList, before.clusterList ),
                  "the attributes read back" );
}

void checkUpdate( Octets body, const Agreed& agreed ) {
   Update update;
   const auto fault = readUpdate( body, agreed, update );
   const TestSupport::PlainUpdate plain = TestSupport::plainUpdate( body, agreed );
   Fuzz::require( ( fault ? fault->notification.subcode : 0 ) == plain.resetSubcode,
                  "the session ends for the same reason" );
   if ( fault ) {
      Fuzz::require( !fault->text.empty(), "a fault has a text" );
      std::vector< U8 > out;
      writeNotification( fault->notification, out );
      Fuzz::require( out.size() <= maxMessage, "the notification is a message" );
      return;
   }
   Fuzz::require( update.withdrawn.has_value() == plain.withdrawn, "routes are withdrawn in both" );
   Fuzz::require( update.endOfRib == plain.endOfRib, "both find the end of the routes" );
   Fuzz::require( update.discarded.size() == std::min< std::size_t >( plain.discarded, 16 ),
                  "both pass over as much" );
   readRoutes( update.reach );
   readRoutes( update.unreach );
   if ( !update.withdrawn ) {
      std::vector< U8 > attributes;
      writeAttributes( update.attributes, agreed.fourOctetAs, attributes );
      checkWritten( attributes, update, agreed );
   }
}

void checkNotification( Octets body ) {
   const Notification notification = readNotification( body );
   std::vector< U8 > out;
   writeNotification( notification, out );
   Fuzz::require( readNotification( Octets( out ).subspan( headerSize ) ) == notification,
                  "the notification reads back" );
   for ( const char c : describe( notification ) ) {
      Fuzz::require( c >= ' ' && c <= '~', "a description is printable" );
   }
}

void checkRouteRefresh( Octets body ) {
   RouteRefresh refresh;
   if ( !readRouteRefresh( body, refresh ) ) {
      std::vector< U8 > out;
      writeRouteRefresh( refresh, out );
      Fuzz::require( std::ranges::equal( Octets( out ).subspan( headerSize ), body.first( 4 ) ),
                     "the request reads back" );
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size < 1 + headerSize || size > 1 + maxMessage ) {
      return 0;
   }
   Agreed agreed;
   agreed.localAs = 64512;
   agreed.peerAs = data[0] & 1 ? 64512 : 64500;
   agreed.fourOctetAs = ( data[0] & 2 ) != 0;
   agreed.families.assign( flowFamilies.begin(), flowFamilies.end() - ( data[0] & 4 ? 1 : 0 ) );
   std::vector< U8 > message( data + 1, data + size );
   std::fill_n( message.begin(), 16, U8{ 0xFF } );
   endMessage( 0, message );
   Header header{};
   if ( readHeader( Octets( message ).first< headerSize >(), maxMessage, header ) ) {
      return 0;
   }
   Fuzz::require( header.length == message.size(), "the length is that of the message" );
   // An allocation of the very size, so that a read past the end is seen by AddressSanitizer.
   const std::vector< U8 > body( message.begin() + headerSize, message.end() );
   switch ( header.type ) {
   case MessageType::update:
      checkUpdate( body, agreed );
      break;
   case MessageType::notification:
      checkNotification( body );
      break;
   case MessageType::routeRefresh:
      checkRouteRefresh( body );
      break;
   case MessageType::open: // has a target of its own
   case MessageType::keepalive:
      break;
   }
   return 0;
}
