#include "peers/PeerValues.h"

#include "Vek/collections/Hasher.h"
#include "Vek/types/ValueInfo.h"

namespace Peers {

struct Capabilities::Table {
   using T = Capabilities;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::fourOctetAs >( 2, "fourOctetAs" ),
      Vek::attr< &T::routeRefresh >( 3, "routeRefresh" ),
      Vek::attr< &T::enhancedRefresh >( 4, "enhancedRefresh" ),
      Vek::attr< &T::gracefulRestart >( 5, "gracefulRestart" ),
      Vek::attr< &T::notification >( 6, "notification" ),
      Vek::attr< &T::extendedMessages >( 7, "extendedMessages" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

struct FamilyState::Table {
   using T = FamilyState;
   static constexpr Vek::Rows rows{
      Vek::key< &T::family >( 2, "family" ),
      Vek::attr< &T::isKept >( 3, "isKept" ),
      Vek::attr< &T::endOfRibReceived >( 4, "endOfRibReceived" ),
      Vek::attr< &T::endOfRibSent >( 5, "endOfRibSent" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

struct MessageCounts::Table {
   using T = MessageCounts;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::opens >( 2, "opens" ),
      Vek::attr< &T::updates >( 3, "updates" ),
      Vek::attr< &T::notifications >( 4, "notifications" ),
      Vek::attr< &T::keepalives >( 5, "keepalives" ),
      Vek::attr< &T::refreshes >( 6, "refreshes" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

struct RuleCounts::Table {
   using T = RuleCounts;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::received >( 2, "received" ), Vek::attr< &T::filed >( 3, "filed" ),
      Vek::attr< &T::hidden >( 4, "hidden" ),     Vek::attr< &T::refused >( 5, "refused" ),
      Vek::attr< &T::stale >( 6, "stale" ),       Vek::attr< &T::announced >( 7, "announced" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

struct RouteKey::Table {
   using T = RouteKey;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::family_ >( 2, "family" ),
      Vek::attr< &T::nlri_ >( 3, "nlri" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

const Vek::TypeInfo& Capabilities::typeInfo() { return Table::info; }
const Vek::TypeInfo& FamilyState::typeInfo() { return Table::info; }
const Vek::TypeInfo& MessageCounts::typeInfo() { return Table::info; }
const Vek::TypeInfo& RuleCounts::typeInfo() { return Table::info; }
const Vek::TypeInfo& RouteKey::typeInfo() { return Table::info; }

Capabilities::Capabilities( bool hasFourOctetAs, bool hasRouteRefresh, bool hasEnhancedRefresh,
                            bool hasGracefulRestart, bool hasNotification,
                            bool hasExtendedMessages )
   : fourOctetAs( hasFourOctetAs ), routeRefresh( hasRouteRefresh ),
     enhancedRefresh( hasEnhancedRefresh ), gracefulRestart( hasGracefulRestart ),
     notification( hasNotification ), extendedMessages( hasExtendedMessages ) {}

FamilyState::FamilyState( Family itsFamily, bool kept, bool received, bool sent )
   : family( itsFamily ), isKept( kept ), endOfRibReceived( received ), endOfRibSent( sent ) {}

MessageCounts::MessageCounts( U64 openCount, U64 updateCount, U64 notificationCount,
                              U64 keepaliveCount, U64 refreshCount )
   : opens( openCount ), updates( updateCount ), notifications( notificationCount ),
     keepalives( keepaliveCount ), refreshes( refreshCount ) {}

RuleCounts::RuleCounts( U64 receivedCount, U64 filedCount, U64 hiddenCount, U64 refusedCount,
                        U64 staleCount, U64 announcedCount )
   : received( receivedCount ), filed( filedCount ), hidden( hiddenCount ), refused( refusedCount ),
     stale( staleCount ), announced( announcedCount ) {}

U32 RouteKey::hash() const {
   return Vek::Hasher< Vek::String >()( nlri_ ) ^ Vek::Hasher< Family >()( family_ );
}

} // namespace Peers
