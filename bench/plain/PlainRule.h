#pragma once

#include "Osk/Types.h"

namespace Bench {

/// A rule's number among as many bytes as a rule has in front of it, without a runtime: the rival
/// of its setter, in a shared library as that is.
class OSK_EXPORT PlainRule {
public:
   void ruleIdIs( U64 ruleId );
   U64 ruleId() const { return ruleId_; }

private:
   U64 before_[22] = {};
   U64 ruleId_ = 0;
};

} // namespace Bench
