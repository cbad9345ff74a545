#include "Classification/StructuredFilter.h"

namespace Classification {

StructuredFilter::~StructuredFilter() = default;

Vek::Ptr< StructuredFilter > structuredFilterFactory() { return Vek::make< StructuredFilter >(); }

} // namespace Classification
