#pragma once

#include "Vek/text/Enum.h"
#include "Vek/types/TypeInfo.h"

/// What a BGP speaker reports of its peers, and what it is asked to do with them.
namespace Peers {

/// The states of a session (RFC 4271 section 8.2.2).
enum class SessionState : U8 {
   idle = 0,
   connect = 1,
   active = 2,
   openSent = 3,
   openConfirm = 4,
   established = 5,
};

inline constexpr Vek::Enumerator sessionStateRows[] = {
   { 0, "idle" },     { 1, "connect" },     { 2, "active" },
   { 3, "openSent" }, { 4, "openConfirm" }, { 5, "established" } };
static_assert( Vek::enumeratorsAreDense( sessionStateRows ) );
inline constexpr Vek::EnumInfo sessionStateInfo{ "Peers::SessionState", sessionStateRows };
constexpr const Vek::EnumInfo& enumInfo( SessionState ) { return sessionStateInfo; }

/// The families of flow specifications: AFI 1 or 2 with SAFI 133, or with SAFI 134 for VPNs.
enum class Family : U8 {
   ipv4 = 0,    ///< 1/133
   ipv6 = 1,    ///< 2/133
   vpnIpv4 = 2, ///< 1/134
   vpnIpv6 = 3, ///< 2/134
};

inline constexpr Vek::Enumerator familyRows[] = {
   { 0, "ipv4" }, { 1, "ipv6" }, { 2, "vpnIpv4" }, { 3, "vpnIpv6" } };
static_assert( Vek::enumeratorsAreDense( familyRows ) );
inline constexpr Vek::EnumInfo familyInfo{ "Peers::Family", familyRows };
constexpr const Vek::EnumInfo& enumInfo( Family ) { return familyInfo; }

using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

/// What both sides of a session can do; all false without a session.
struct OSK_EXPORT Capabilities {
   static constexpr std::string_view typeName = "Peers::Capabilities";
   static constexpr std::size_t rowCount = 6;
   static const Vek::TypeInfo& typeInfo();

   bool fourOctetAs = false;      ///< AS numbers of four octets (RFC 6793)
   bool routeRefresh = false;     ///< either side may ask for all rules again (RFC 2918)
   bool enhancedRefresh = false;  ///< and sees where they begin and end (RFC 7313)
   bool gracefulRestart = false;  ///< rules stay while the other side restarts (RFC 4724)
   bool notification = false;     ///< and after a NOTIFICATION (RFC 8538)
   bool extendedMessages = false; ///< messages of up to 65535 octets (RFC 8654)

   Capabilities() = default;
   Capabilities( bool hasFourOctetAs, bool hasRouteRefresh, bool hasEnhancedRefresh,
                 bool hasGracefulRestart, bool hasNotification, bool hasExtendedMessages );

   bool operator==( const Capabilities& ) const = default;

   struct OSK_HIDDEN Table;
};

/// What became of a family on a session that was agreed for it.
struct OSK_EXPORT FamilyState {
   static constexpr std::string_view typeName = "Peers::FamilyState";
   static constexpr std::size_t rowCount = 4;
   static const Vek::TypeInfo& typeInfo();

   Family family = Family::ipv4;  ///< the key of this value in `Peer`
   bool isKept = false;           ///< the peer's rules stay while it restarts
   bool endOfRibReceived = false; ///< the peer has told all that it had at first
   bool endOfRibSent = false;     ///< and we have

   FamilyState() = default;
   FamilyState( Family itsFamily, bool kept, bool received, bool sent );

   bool operator==( const FamilyState& ) const = default;

   struct OSK_HIDDEN Table;
};

/// Messages of one direction since the speaker began, by their kinds.
struct OSK_EXPORT MessageCounts {
   static constexpr std::string_view typeName = "Peers::MessageCounts";
   static constexpr std::size_t rowCount = 5;
   static const Vek::TypeInfo& typeInfo();

   U64 opens = 0;
   U64 updates = 0;
   U64 notifications = 0;
   U64 keepalives = 0;
   U64 refreshes = 0;

   MessageCounts() = default;
   MessageCounts( U64 openCount, U64 updateCount, U64 notificationCount, U64 keepaliveCount,
                  U64 refreshCount );

   bool operator==( const MessageCounts& ) const = default;

   struct OSK_HIDDEN Table;
};

/// How many rules there are now. Of those that the peer announced each is filed, hidden or refused.
struct OSK_EXPORT RuleCounts {
   static constexpr std::string_view typeName = "Peers::RuleCounts";
   static constexpr std::size_t rowCount = 6;
   static const Vek::TypeInfo& typeInfo();

   U64 received = 0;  ///< announced by the peer and not withdrawn
   U64 filed = 0;     ///< of these, in force as far as the speaker is concerned
   U64 hidden = 0;    ///< of these, after a better one, and filed when that goes
   U64 refused = 0;   ///< of these, not to be filed
   U64 stale = 0;     ///< of these, from a session that is lost, kept while the peer restarts
   U64 announced = 0; ///< ours, to the peer

   RuleCounts() = default;
   RuleCounts( U64 receivedCount, U64 filedCount, U64 hiddenCount, U64 refusedCount, U64 staleCount,
               U64 announcedCount );

   bool operator==( const RuleCounts& ) const = default;

   struct OSK_HIDDEN Table;
};

/// Identifies a rule as BGP does: two announcements with equal ones are of the same rule. Ordered
/// by family, then by the digits.
class OSK_EXPORT RouteKey {
public:
   static constexpr std::string_view typeName = "Peers::RouteKey";
   static constexpr std::size_t rowCount = 2;
   static const Vek::TypeInfo& typeInfo();

   RouteKey() = default;
   RouteKey( Family family, Vek::String nlri ) : family_( family ), nlri_( std::move( nlri ) ) {}

   Family family() const { return family_; }
   /// The octets of the NLRI without those of its length, in VPN families the distinguisher first,
   /// as hexadecimal digits.
   const Vek::String& nlri() const { return nlri_; }

   U32 hash() const;
   auto operator<=>( const RouteKey& ) const = default;

   struct OSK_HIDDEN Table;

private:
   Family family_ = Family::ipv4;
   Vek::String nlri_;
};

} // namespace Peers
