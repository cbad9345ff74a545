#include "Classification/Fragment.h"

namespace Classification {

Fragment::~Fragment() = default;

Vek::Ptr< const Fragment > fragmentFactory( FragmentType fragmentType ) {
   return Vek::Ptr< const Fragment >::adopt( new Fragment( fragmentType ) );
}

} // namespace Classification
