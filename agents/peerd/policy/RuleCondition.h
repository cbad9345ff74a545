#pragma once

#include "Flowspec/config/RuleAction.h"

#include <span>
#include <vector>

namespace Peerd {

/// Which rules a term of a policy is about: those for which each part holds. The default holds for
/// all. A plain value.
struct RuleCondition {
   /// The rule's destination is inside one of these; without any, it may be anything or missing.
   std::vector< Zorv::IpGenPrefix > destinations{};
   /// The rule's destination is at least this long; one that is missing has the length 0.
   U8 minDestinationLength = 0;
   std::vector< Zorv::IpGenPrefix > sources{}; ///< the same of the source
   U8 minSourceLength = 0;
   Zorv::AddressFamily family = Zorv::AddressFamily::none; ///< IPv4, IPv6, or `none` for both
   /// The rule has a component of each of these types, and of none of `without`. Bit `n` stands for
   /// type `n`, as of `componentsOf`.
   U32 with = 0;
   U32 without = 0;
   /// At least one of these is among the rule's actions. The empty set is no condition.
   Flowspec::ActionFieldSet actions{};

   bool holds( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action ) const;

   bool operator==( const RuleCondition& ) const = default;
};

/// The types of the components that a key has, prefixes included: bit `n` stands for type `n`.
U32 componentsOf( const Flowspec::FlowspecKey& key );

/// Whether `prefix` is inside `outer`, or equal to it; the empty prefix is inside none.
bool isInside( const Zorv::IpGenPrefix& prefix, const Zorv::IpGenPrefix& outer );
/// Whether it is inside one of them.
bool isInside( const Zorv::IpGenPrefix& prefix, std::span< const Zorv::IpGenPrefix > outer );

} // namespace Peerd
