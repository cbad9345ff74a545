#include "agents/peerd/rib/OutRules.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"
#include "wire/ActionEncoder.h"
#include "wire/NlriEncoder.h"

#include <algorithm>

namespace Peerd {

namespace {

U8 familyOf( const Flowspec::FlowspecKey& key, bool vpn ) {
   const bool ipv6 = key.addressFamily() == Zorv::AddressFamily::ipv6;
   const Bgp::Family family = vpn ? ( ipv6 ? Bgp::ipv6VpnFlow : Bgp::ipv4VpnFlow )
                                  : ( ipv6 ? Bgp::ipv6Flow : Bgp::ipv4Flow );
   return static_cast< U8 >( std::ranges::find( Bgp::flowFamilies, family ) -
                             Bgp::flowFamilies.begin() );
}

std::optional< Wire::Refusal > encode( const Flowspec::FlowspecKey& key, const VrfEntry* vpn,
                                       std::vector< U8 >& octets ) {
   const Wire::NlriFormat format = *Bgp::flowFamilies[familyOf( key, vpn )].format();
   octets.clear();
   return Wire::encodeNlri( key, format, vpn ? vpn->distinguisher : Zorv::RouteDistinguisher(),
                            Wire::ValueLengths::shortest, octets );
}

// The communities by which a VRF is announced.
void addTarget( const Wire::RouteTarget& target, Wire::EncodedAction& encoded ) {
   using Kind = Wire::RouteTarget::Kind;
   if ( target.kind == Kind::ipv6 ) {
      Wire::Ipv6Community& community = encoded.ipv6.emplace_back();
      Osk::storeBig16( community.data(), Wire::Ipv6CommunityType::routeTarget );
      std::ranges::copy( target.value, community.data() + 2 );
      return;
   }
   Wire::ExtendedCommunity& community = encoded.extended.emplace_back();
   Osk::storeBig16( community.data(), target.kind == Kind::as2 ? Wire::CommunityType::routeTargetAs2
                                      : target.kind == Kind::ipv4
                                         ? Wire::CommunityType::routeTargetIpv4
                                         : Wire::CommunityType::routeTargetAs4 );
   std::copy_n( target.value.begin(), 6, community.data() + 2 );
}

template < typename Community >
std::vector< U8 > flat( const std::vector< Community >& communities ) {
   std::vector< U8 > octets;
   for ( const Community& community : communities ) {
      octets.insert( octets.end(), community.begin(), community.end() );
   }
   return octets;
}

std::optional< Wire::ActionRefusal > encode( const OutContent& content, U32 localAs,
                                             const Wire::RouteTargetTable& targets,
                                             OutRules::Communities& communities ) {
   Wire::EncodedAction encoded;
   if ( const auto refusal = Wire::encodeAction( content.action, content.interfaceSets, localAs,
                                                 targets, encoded ) ) {
      return refusal;
   }
   for ( const Wire::RouteTarget& target : content.targets ) {
      addTarget( target, encoded );
   }
   communities = { flat( encoded.extended ), flat( encoded.ipv6 ) };
   return std::nullopt;
}

// The interface sets of all keys that ask for `action`; none when one of them is for all
// interfaces.
std::vector< U16 > unitedSets( const OutNlri& nlri, const Flowspec::RuleAction& action ) {
   std::set< U16 > sets;
   for ( const OutKey* const rule : nlri.keys ) {
      if ( rule->action == action ) {
         if ( rule->key.interfaceSets() == 0 ) {
            return {};
         }
         sets.insert( rule->key.interfaceSet().begin(), rule->key.interfaceSet().end() );
      }
   }
   return { sets.begin(), sets.end() };
}

} // namespace

OutNlri* OutRules::put( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action ) {
   auto found = keys_.find( { &key } );
   if ( found == keys_.end() ) {
      auto rule = std::make_unique< OutKey >();
      rule->key = key;
      rule->action = action;
      OutKey& made = *rule;
      keys_.insertOrAssign( { &made.key }, std::move( rule ) );
      made.nlri = nlriOf( made );
      if ( !made.nlri ) {
         refuse( made, OutKey::Refusal::nlri );
         return nullptr;
      }
      made.nlri->keys.push( &made );
      return decide( *made.nlri ) ? made.nlri : nullptr;
   }
   OutKey& rule = *found->second;
   if ( rule.action == action ) {
      return nullptr;
   }
   rule.action = action;
   return rule.nlri && decide( *rule.nlri ) ? rule.nlri : nullptr;
}

OutNlri* OutRules::del( const Flowspec::FlowspecKey& key ) {
   const auto found = keys_.find( { &key } );
   if ( found == keys_.end() ) {
      return nullptr;
   }
   OutKey& rule = *found->second;
   refuse( rule, OutKey::Refusal::none );
   OutNlri* nlri = rule.nlri;
   if ( nlri ) {
      for ( U32 i = 0; i < nlri->keys.size(); ++i ) {
         if ( nlri->keys[i] == &rule ) {
            nlri->keys.erase( i );
            break;
         }
      }
   }
   keys_.erase( { &rule.key } );
   if ( nlri && !decide( *nlri ) ) {
      eraseIfUnused( *nlri );
      return nullptr;
   }
   return nlri;
}

std::vector< std::pair< Flowspec::FlowspecKey, Flowspec::RuleAction > > OutRules::rules() const {
   std::vector< std::pair< Flowspec::FlowspecKey, Flowspec::RuleAction > > rules;
   for ( const auto& member : keys_.unsorted() ) {
      rules.emplace_back( member.second->key, member.second->action );
   }
   return rules;
}

void OutRules::vrfTableIs( const VrfTable& table ) {
   vrfs_ = table;
   targets_ = table.importTable();
}

void OutRules::unuse( OutNlri& nlri ) {
   --nlri.users;
   eraseIfUnused( nlri );
}

void OutRules::eraseIfUnused( OutNlri& nlri ) {
   if ( nlri.users == 0 && nlri.keys.empty() ) {
      freeNumbers_.push_back( nlri.number );
      ids_.erase( nlri.id() );
      nlris_[nlri.number].reset();
   }
}

const VrfEntry* OutRules::vpnOf( const Flowspec::FlowspecKey& key ) const {
   const VrfEntry* const entry = vrfs_.find( key.vrfId() );
   return entry && entry->distinguisher ? entry : nullptr;
}

// The NLRI of a rule, made when there is none; null when none can hold the key.
OutNlri* OutRules::nlriOf( const OutKey& rule ) {
   const VrfEntry* const vpn = vpnOf( rule.key );
   if ( encode( rule.key, vpn, octets_ ) ) {
      return nullptr;
   }
   auto nlri = std::make_unique< OutNlri >();
   nlri->family = familyOf( rule.key, vpn );
   nlri->octets.assign( octets_.begin(), octets_.end() );
   if ( const auto found = ids_.find( nlri->id() ); found != ids_.end() ) {
      return found->second;
   }
   if ( freeNumbers_.empty() ) {
      freeNumbers_.push_back( numbers() );
      nlris_.emplace_back();
   }
   nlri->number = freeNumbers_.back();
   freeNumbers_.pop_back();
   OutNlri* const made = nlri.get();
   nlris_[made->number] = std::move( nlri );
   ids_.insert( made->id(), made );
   return made;
}

void OutRules::refuse( OutKey& rule, OutKey::Refusal refusal ) {
   if ( rule.refusal != refusal ) {
      rule.refusal = refusal;
      if ( refusal == OutKey::Refusal::none ) {
         refused_.erase( &rule );
      } else {
         refused_.insert( &rule );
      }
   }
}

// Whether what is announced is another thing now.
bool OutRules::decide( OutNlri& nlri ) {
   OutContent* const before = nlri.content;
   nlri.first = nullptr;
   for ( const OutKey* const rule : nlri.keys ) {
      if ( !nlri.first || Before()( rule, nlri.first ) ) {
         nlri.first = rule;
      }
   }
   nlri.content = contentOf( nlri );
   release( before );
   return nlri.content != before;
}

OutContent* OutRules::contentOf( OutNlri& nlri ) {
   if ( !nlri.first ) {
      return nullptr;
   }
   OutContent content;
   content.action = nlri.first->action;
   content.interfaceSets = unitedSets( nlri, content.action );
   if ( const VrfEntry* const vpn = vpnOf( nlri.first->key ) ) {
      content.targets = vpn->exportTargets;
   }
   OutContent* const interned = intern( std::move( content ) );
   for ( OutKey* const rule : nlri.keys ) {
      refuse( *rule, rule->action != nlri.first->action ? OutKey::Refusal::conflict
                     : interned                         ? OutKey::Refusal::none
                                                        : OutKey::Refusal::action );
   }
   return interned;
}

// With a reference of the caller's; null when no community says what is to be said.
OutContent* OutRules::intern( OutContent content ) {
   Communities communities;
   if ( encode( content, 0, targets_, communities ) ) {
      return nullptr;
   }
   Vek::String identity( communities.extended.begin(), communities.extended.end() );
   identity.append( communities.ipv6.begin(), communities.ipv6.end() );
   identity += static_cast< char >( communities.extended.size() / 8 ); // where the others begin
   const auto [at, isNew] = contents_.try_emplace( std::move( identity ), std::move( content ) );
   if ( isNew ) {
      at->second.number = ++lastContent_;
      at->second.identity = &at->first;
   }
   ++at->second.references;
   return &at->second;
}

void OutRules::release( OutContent* content ) {
   if ( content && --content->references == 0 ) {
      contents_.erase( contents_.find( *content->identity ) );
   }
}

OutRules::Communities OutRules::communitiesOf( const OutContent& content, U32 localAs ) const {
   Communities communities;
   (void)encode( content, localAs, targets_, communities ); // it was, with another AS
   return communities;
}

Vek::String OutRules::reasonOf( const OutKey& rule ) const {
   std::vector< U8 > octets;
   switch ( rule.refusal ) {
   case OutKey::Refusal::none:
      return {};
   case OutKey::Refusal::nlri:
      return encode( rule.key, vpnOf( rule.key ), octets )->message();
   case OutKey::Refusal::action: {
      Wire::EncodedAction encoded;
      const std::vector< U16 > sets = unitedSets( *rule.nlri, rule.action );
      return Vek::String(
         Wire::message( *Wire::encodeAction( rule.action, sets, 0, targets_, encoded ) ) );
   }
   case OutKey::Refusal::conflict:
      return Vek::concat( "the same NLRI as ", rule.nlri->first->key.stringValue(),
                          ", which asks for another action" );
   }
   return {};
}

} // namespace Peerd
