#include "bench/plain/PlainRule.h"

namespace Bench {

void PlainRule::ruleIdIs( U64 ruleId ) { ruleId_ = ruleId; }

} // namespace Bench
