#pragma once

#include "agents/peerd/policy/PeerImport.h"
#include "agents/peerd/rib/AttributeSet.h"
#include "agents/peerd/rib/RouteList.h"
#include "agents/peerd/rib/RuleSink.h"

#include <array>

namespace Peerd {

struct FiledKey;
struct NlriNode;
struct PeerIn;

/// Why a route is not used.
enum class Refusal : U8 {
   none,
   malformed,   ///< the NLRI
   attributes,  ///< `AttributeSet::fault`
   noPolicy,    ///< of an external peer
   communities, ///< `AttributeSet::rejection`
   ownAs,
   ownOriginator,
   ownCluster,
   firstAs,       ///< is not the peer's
   noDestination, ///< of an external peer
   destination,   ///< is not among the peer's prefixes
   noTarget,      ///< no VRF imports it
   term,          ///< `Route::detail`: which one of the policy
   noTerm,        ///< the policy takes no others
   everything,    ///< it matches each packet
   session,       ///< `Route::detail`: whose packets it matches
   matchSet,      ///< it cannot be taken apart (`Flowspec::matchSetFromKey`)
};

/// What one peer says about one NLRI.
struct Route {
   /// Where it stands.
   enum class State : U8 { filed, hidden, refused };

   NlriNode* nlri = nullptr;
   PeerIn* peer = nullptr;
   AttributesRef attributes;
   Route* nextOfNlri = nullptr;
   RouteLinks age;     ///< among those of the peer and family, the last told at the end
   RouteLinks listed;  ///< among the hidden or the refused ones of the peer
   U32 generation = 0; ///< `FamilyIn::generation` when it was told
   U16 term = noTerm;  ///< the import term that accepts it
   U16 detail = 0;
   Refusal refusal = Refusal::none;
   State state = State::filed;

   static constexpr U16 noTerm = 0xFFFF;
};

using AgeList = RouteList< Route, &Route::age >;
using ListedRoutes = RouteList< Route, &Route::listed >;

/// The routes of one family that a peer told. They go by generations, so that marking all of them
/// takes no time.
struct FamilyIn {
   AgeList routes; ///< by generation, ascending
   U32 count = 0;
   U32 current = 0;    ///< of the generation `generation`; the others are stale
   U32 generation = 1; ///< of routes that are told now
   U32 ofSession = 1;  ///< the first generation of the session
   U32 kept = 0;       ///< routes of those before are to be withdrawn
   bool refreshing = false;
};

/// One peer's Adj-RIB-In.
struct PeerIn {
   /// An announcement for which there was no room.
   struct Beyond {
      U8 family;
      std::vector< U8 > octets;
      bool operator==( const Beyond& ) const = default;
   };
   static constexpr std::size_t maxBeyond = 100;

   explicit PeerIn( PeerId itsId ) : id( itsId ) {}

   const PeerId id;
   PeerImport import;
   U32 identifier = 0;
   std::array< FamilyIn, 4 > families;
   ListedRoutes hidden;
   ListedRoutes refused;
   U32 count = 0;
   U32 hiddenCount = 0;
   U32 refusedCount = 0;
   U64 octets = 0; ///< of NLRI and attributes
   U32 beyondCount = 0;
   std::vector< Beyond > beyond;
   U64 unfiledVersion = 0;
   bool warned = false;
   bool gone = false; ///< and to be forgotten with its last route
};

/// An NLRI as it identifies routes.
struct NlriId {
   const U8* octets = nullptr; ///< without the length field
   U16 size = 0;
   U8 family = 0; ///< the position in `Bgp::flowFamilies`

   std::span< const U8 > span() const { return { octets, size }; }
   std::string_view text() const { return { reinterpret_cast< const char* >( octets ), size }; }

   U32 hash() const { return Vek::Hasher< std::string_view >()( text() ) ^ family; }
   bool operator==( const NlriId& other ) const {
      return family == other.family && text() == other.text();
   }
   bool operator<( const NlriId& other ) const {
      return family != other.family ? family < other.family : text() < other.text();
   }
};

/// An NLRI that some peer announced. Its octets follow it in memory.
struct NlriNode {
   NlriNode( const NlriNode& ) = delete;
   NlriNode& operator=( const NlriNode& ) = delete;
   ~NlriNode() {
      while ( routes ) {
         delete std::exchange( routes, routes->nextOfNlri );
      }
   }

   /// The octets are those of `id`, copied; their length field is the shortest.
   static std::unique_ptr< NlriNode > make( NlriId id );
   void operator delete( void* memory ) { ::operator delete( memory ); }

   NlriId id() const { return { octets + lengthSize, size, family }; }
   std::span< const U8 > withLength() const { return { octets, std::size_t{ lengthSize } + size }; }

   Route* routes = nullptr;
   const Route* best = nullptr;
   Vek::SmallVector< FiledKey*, 1 > keys; ///< those that `best` is mapped to
   U32 filedKeys = 0;                     ///< of these, where it is the best
   U16 size = 0;
   U8 family = 0;
   U8 lengthSize = 0;
   bool unsettled = false; ///< see `RouteTable::settle`
   U8* octets = nullptr;

private:
   NlriNode() = default;
   void* operator new( std::size_t size, std::size_t more ) {
      return ::operator new( size + more );
   }
   void operator delete( void* memory, std::size_t ) { ::operator delete( memory ); }
};

/// A key that rules are mapped to.
struct FiledKey {
   /// For the comparison of two sets of keys, of which one is marked.
   enum class Mark : U8 { none, before, now };

   Flowspec::FlowspecKey key;
   Vek::SmallVector< NlriNode*, 1 > claims; ///< those that are mapped to it

   // What is filed, if anything is.
   NlriNode* filed = nullptr;
   AttributesRef attributes;
   const PeerIn* peer = nullptr;
   U16 term = Route::noTerm;

   Mark mark = Mark::none;
   bool dirty = false;
   bool judgedAnew = false; ///< it may be another action although all else is the same
};

} // namespace Peerd
