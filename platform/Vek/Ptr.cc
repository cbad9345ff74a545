#include "Vek/Ptr.h"

namespace Vek {

Counted::~Counted() = default;

void Counted::destroy() const { delete this; }

} // namespace Vek
