#include "agents/bgp/session/Down.h"

#include "Vek/text/Text.h"

namespace Bgp {

using enum Event;

Vek::String endReason( Event event, const Notification& told, std::string_view words ) {
   if ( event == notifMsg || event == notifMsgVerErr ) {
      return Vek::concat( "received ", describe( told ) );
   }
   if ( !words.empty() ) {
      return Vek::String( words );
   }
   if ( told.code != 0 ) {
      return describe( told );
   }
   return event == connectRetryTimerExpires ? "the connection attempt timed out"
                                            : "the connection failed";
}

Down endOf( const Agreed& agreed, const Notification& told, Vek::String reason ) {
   Down down;
   down.reason = std::move( reason );
   const bool may = told.code == 0 ? agreed.gracefulRestart.has_value()
                                   : agreed.gracefulNotifications && !insideHardReset( told );
   if ( may && agreed.gracefulRestart && agreed.gracefulRestart->seconds != 0 ) {
      for ( const GracefulFamily& kept : agreed.gracefulRestart->families ) {
         down.staleFamilies.push_back( kept.family );
      }
   }
   down.keepsStale = !down.staleFamilies.empty();
   if ( down.keepsStale ) {
      down.restartTime = std::chrono::seconds( agreed.gracefulRestart->seconds );
   }
   return down;
}

bool isHard( const Notification& sent ) {
   if ( sent.code != ErrorCode::cease ) {
      return false;
   }
   switch ( sent.subcode ) {
   case Cease::maximumPrefixes:
   case Cease::administrativeShutdown:
   case Cease::peerDeconfigured:
   case Cease::otherConfigurationChange:
      return true;
   default:
      return false;
   }
}

bool isError( Event event, const Notification& told ) {
   switch ( told.code ) {
   case 0:
   case ErrorCode::holdTimer:
   case ErrorCode::sendHoldTimer:
      return false;
   case ErrorCode::cease:
      return event == automaticStop;
   default:
      return true;
   }
}

} // namespace Bgp
