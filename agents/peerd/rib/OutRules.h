#pragma once

#include "agents/bgp/message/Family.h"
#include "agents/peerd/policy/VrfTable.h"
#include "agents/peerd/rib/KeyView.h"
#include "agents/peerd/rib/Route.h"

#include <map>
#include <set>

namespace Peerd {

/// What an announcement says beside its path: held once for all NLRI that say the same.
struct OutContent {
   Flowspec::RuleAction action;
   std::vector< U16 > interfaceSets;
   std::vector< Wire::RouteTarget > targets; ///< of the VRF, in a VPN family
   U64 number = 0;                           ///< no two have the same
   U32 references = 0;
   const Vek::String* identity = nullptr; ///< its key in `OutRules`
};

struct OutNlri;

/// A rule that is to be announced.
struct OutKey {
   enum class Refusal : U8 { none, nlri, action, conflict };

   Flowspec::FlowspecKey key;
   Flowspec::RuleAction action;
   OutNlri* nlri = nullptr; ///< none when it cannot be written
   Refusal refusal = Refusal::none;
};

/// What is announced as one NLRI. Peers know it by its number.
struct OutNlri {
   U32 number = 0;
   U8 family = 0;            ///< the position in `Bgp::flowFamilies`
   std::vector< U8 > octets; ///< with the length field
   Vek::SmallVector< OutKey*, 1 > keys;
   const OutKey* first = nullptr; ///< by the order of keys
   OutContent* content = nullptr; ///< none when nothing is to be announced
   U32 users = 0;                 ///< peers that were told of it or are to be

   NlriId id() const {
      const U8 lengthSize = octets[0] < 0xF0 ? 1 : 2;
      return { octets.data() + lengthSize, static_cast< U16 >( octets.size() - lengthSize ),
               family };
   }
};

/// Groups rules by the NLRI that they are announced as.
class OutRules {
public:
   /// Sets the rule of `key`; the NLRI whose announcement changes by that, or null.
   OutNlri* put( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action );
   /// The same when the rule of `key` goes.
   OutNlri* del( const Flowspec::FlowspecKey& key );

   const VrfTable& vrfTable() const { return vrfs_; }
   /// All rules, which go: to be put again after a change of the table.
   std::vector< std::pair< Flowspec::FlowspecKey, Flowspec::RuleAction > > rules() const;
   /// There are no rules.
   void vrfTableIs( const VrfTable& table );

   /// The NLRI of a number, or null. Numbers are below `numbers`; one is used again when nobody
   /// uses its NLRI any more.
   OutNlri* find( U32 number ) const { return nlris_[number].get(); }
   U32 numbers() const { return static_cast< U32 >( nlris_.size() ); }
   /// A peer knows of it from now on, or no longer.
   void use( OutNlri& nlri ) { ++nlri.users; }
   void unuse( OutNlri& nlri );

   /// The communities of `content` as `localAs` writes them: extended and IPv6 ones.
   struct Communities {
      std::vector< U8 > extended;
      std::vector< U8 > ipv6;
   };
   Communities communitiesOf( const OutContent& content, U32 localAs ) const;

   /// In the order of the keys.
   const auto& refused() const { return refused_; }
   Vek::String reasonOf( const OutKey& rule ) const;

private:
   struct Before {
      bool operator()( const OutKey* a, const OutKey* b ) const {
         return Flowspec::FlowspecKeyOrder::compare( a->key, b->key ) < 0;
      }
   };

   OutNlri* nlriOf( const OutKey& rule );
   void refuse( OutKey& rule, OutKey::Refusal refusal );
   bool decide( OutNlri& nlri );
   OutContent* contentOf( OutNlri& nlri );
   OutContent* intern( OutContent content );
   void release( OutContent* content );
   void eraseIfUnused( OutNlri& nlri );
   const VrfEntry* vpnOf( const Flowspec::FlowspecKey& key ) const;

   VrfTable vrfs_;
   Wire::RouteTargetTable targets_;
   Vek::HashMap< KeyView, std::unique_ptr< OutKey > > keys_;
   Vek::HashMap< NlriId, OutNlri* > ids_;
   std::vector< std::unique_ptr< OutNlri > > nlris_; // by number
   std::vector< U32 > freeNumbers_;
   std::map< Vek::String, OutContent > contents_; // by their communities
   U64 lastContent_ = 0;
   std::set< const OutKey*, Before > refused_;
   std::vector< U8 > octets_; // of the rule in work
};

} // namespace Peerd
