#pragma once

#include "Vrf/VrfIdMap.h"
#include "Zorv/AddressFamily.h"
#include "Zorv/IntfId.h"
#include "dataplane/Action.h"

#include <map>
#include <optional>
#include <stdexcept>

namespace Dataplane {

/// A text that is no profile; the message names the member and what is wrong with it.
class ProfileError : public std::runtime_error {
public:
   ProfileError( U64 line, const Vek::String& reason )
      : std::runtime_error( reason ), line_( line ) {}

   /// Where it is, from 1 on; of a member that is missing, where the object is that lacks it.
   U64 line() const { return line_; }

private:
   U64 line_;
};

/// What the hardware can do and how it is wired: a JSON object, described by
/// docs/profile.schema.json.
class Profile {
public:
   using VrfId = Vrf::VrfIdMap::VrfId;
   using Qualifiers = std::bitset< Flowspec::numComponentTypes >;

   /// What can be done for the rules of one address family.
   struct Family {
      Qualifiers qualifiers; ///< the component types that can be matched on, by their numbers
      Actions actions;

      bool operator==( const Family& ) const = default;
   };

   /// No entries, no families, no interfaces.
   Profile() = default;

   /// Reads all of `json`; `ProfileError` when it is no profile, such as "ipv4.qualifiers[1]:
   /// 'ports' is not a known component type".
   static Profile read( std::string_view json );

   U64 capacity() const { return capacity_; } ///< TCAM entries
   /// How many interface sets can be used at a time.
   U32 interfaceSets() const { return interfaceSets_; }
   /// Null for a family that the hardware does not support at all.
   const Family* family( Zorv::AddressFamily family ) const;

   /// The VRF that an interface's traffic is in; nothing for an interface that is not there.
   std::optional< VrfId > vrfOf( Zorv::IntfId intf ) const;
   /// The VRF with a name.
   std::optional< VrfId > vrfNamed( const Vek::String& name ) const;

   bool operator==( const Profile& ) const = default;

private:
   friend class ProfileReader;

   U64 capacity_ = 0;
   U32 interfaceSets_ = 0;
   std::map< Zorv::AddressFamily, Family > families_;
   std::map< Zorv::IntfId, VrfId > interfaces_;
   std::map< Vek::String, VrfId > vrfs_;
};

} // namespace Dataplane
