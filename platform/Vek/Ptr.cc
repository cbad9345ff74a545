#include "Vek/Ptr.h"

namespace Vek {

namespace detail {
constinit std::atomic< bool > threadSafe{ false };
}

Counted::~Counted() = default;

void Counted::destroy() const { delete this; }

} // namespace Vek
