#pragma once

#include "Vek/collections/HashMap.h"
#include "agents/bgp/message/Update.h"

#include <algorithm>
#include <memory>

namespace Peerd {

class AttributePool;

/// The attributes of routes, held once for all that have them. Made by `AttributePool::intern`.
class AttributeSet {
public:
   /// Why its routes are to be treated as withdrawn; nothing else is known of them then.
   const std::optional< Bgp::AttributeFault >& fault() const { return fault_; }

   /// Views of octets that live as long as this does.
   const Bgp::PathAttributes& path() const { return path_; }
   U32 pathLength() const { return pathLength_; }
   bool hasLocalAs() const { return hasLocalAs_; }
   /// The AS that MEDs are compared within (RFC 4271 section 9.1.2.2): the first of the path, or
   /// ours when it begins with none.
   U32 neighborAs() const { return neighborAs_; }

   /// What the communities mean, or why they mean nothing.
   const std::optional< Wire::ActionRejection >& rejection() const { return rejection_; }
   const Flowspec::RuleAction& action() const { return action_; }
   std::span< const U16 > interfaceSets() const { return interfaceSets_; }
   std::span< const Vrf::VrfIdMap::VrfId > importVrfs() const { return importVrfs_; }

   /// How much it says.
   std::size_t size() const { return octets_.size(); }

private:
   friend class AttributePool;
   friend class AttributesRef;

   AttributeSet( AttributePool& pool, std::span< const U8 > octets );
   void decode( const Wire::RouteTargetTable& vrfs );

   AttributePool& pool_;
   U32 references_ = 0;
   std::vector< U8 > octets_; // all that tells it from others
   std::optional< Bgp::AttributeFault > fault_;
   Bgp::PathAttributes path_;
   Zorv::IpGenAddr nextHop_;
   U32 localAs_ = 0;
   U32 pathLength_ = 0;
   U32 neighborAs_ = 0;
   bool hasLocalAs_ = false;
   std::optional< Wire::ActionRejection > rejection_;
   Flowspec::RuleAction action_;
   std::vector< U16 > interfaceSets_;
   std::vector< Vrf::VrfIdMap::VrfId > importVrfs_;
};

/// A share in an attribute set; it goes with the last one. All are of one thread.
class AttributesRef {
public:
   AttributesRef() = default;
   AttributesRef( const AttributesRef& other ) : AttributesRef( other.set_ ) {}
   AttributesRef( AttributesRef&& other ) noexcept : set_( std::exchange( other.set_, nullptr ) ) {}
   AttributesRef& operator=( AttributesRef other ) noexcept {
      std::swap( set_, other.set_ );
      return *this;
   }
   ~AttributesRef() { release(); }

   const AttributeSet& operator*() const { return *set_; }
   const AttributeSet* operator->() const { return set_; }
   explicit operator bool() const { return set_; }

   /// Equal sets are one.
   bool operator==( const AttributesRef& ) const = default;

private:
   friend class AttributePool;

   explicit AttributesRef( AttributeSet* set ) : set_( set ) {
      if ( set_ ) {
         ++set_->references_;
      }
   }
   void release();

   AttributeSet* set_ = nullptr;
};

/// All attribute sets that routes have.
class AttributePool {
public:
   AttributePool() = default;
   AttributePool( const AttributePool& ) = delete;
   AttributePool& operator=( const AttributePool& ) = delete;

   /// The set of what `update` says about the routes that it announces; `localAs` is what the peer
   /// knows us as.
   AttributesRef intern( const Bgp::Update& update, U32 localAs );

   /// Which VRFs the route targets of all sets stand for, from now on.
   void vrfsAre( const Wire::RouteTargetTable& vrfs );

   U32 size() const { return sets_.size(); }

private:
   friend class AttributesRef;

   // Octets that live elsewhere.
   struct View {
      std::span< const U8 > octets;

      U32 hash() const {
         return Vek::Hasher< std::string_view >()(
            { reinterpret_cast< const char* >( octets.data() ), octets.size() } );
      }
      bool operator==( const View& other ) const {
         return std::ranges::equal( octets, other.octets );
      }
      bool operator<( const View& other ) const {
         return std::ranges::lexicographical_compare( octets, other.octets );
      }
   };

   void drop( const AttributeSet& set ) { sets_.erase( { set.octets_ } ); }

   Wire::RouteTargetTable vrfs_;
   Vek::HashMap< View, std::unique_ptr< AttributeSet > > sets_;
   std::vector< U8 > octets_; // of the update in work
};

inline void AttributesRef::release() {
   if ( set_ && --set_->references_ == 0 ) {
      set_->pool_.drop( *set_ );
   }
}

} // namespace Peerd
