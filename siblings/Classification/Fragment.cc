#include "Classification/Fragment.h"

namespace Classification {

Fragment::~Fragment() = default;

Vek::Ptr< const Fragment > fragmentFactory( FragmentType fragmentType ) {
   return Vek::make< Fragment >( fragmentType );
}

} // namespace Classification
