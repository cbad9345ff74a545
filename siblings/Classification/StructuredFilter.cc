#include "Classification/StructuredFilter.h"

namespace Classification {

StructuredFilter::~StructuredFilter() = default;

Vek::Ptr< StructuredFilter > structuredFilterFactory() {
   return Vek::Ptr< StructuredFilter >::adopt( new StructuredFilter );
}

} // namespace Classification
