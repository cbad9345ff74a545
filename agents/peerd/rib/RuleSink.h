#pragma once

#include "Flowspec/config/RuleAction.h"

namespace Peerd {

/// A number of the caller's own for a peer.
using PeerId = U32;

/// Takes what is to be in force of the rules that peers announced.
class RuleSink {
public:
   /// What follows until `commit` is one change: a key that a rule leaves and the one that it goes
   /// to. Only called when there is something to change.
   virtual void begin() = 0;
   /// The rule of `key`, which was filed, goes. All that goes is told before anything comes.
   virtual void withdraw( const Flowspec::FlowspecKey& key ) = 0;
   /// A rule comes, or the one of `key` becomes this. May be called although nothing changes.
   virtual void file( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action,
                      PeerId from ) = 0;
   virtual void commit() = 0;

protected:
   ~RuleSink() = default;
};

} // namespace Peerd
