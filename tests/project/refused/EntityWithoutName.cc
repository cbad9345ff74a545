// error: the entity type has no name of its own
#include "tests/project/refused/Sample.h"

namespace Sample {

class Other : public Vek::EntityOf< Other > {
public:
#ifdef FIXED
   static constexpr std::string_view typeName = "Sample::Other";
#endif
   static const Vek::TypeInfo& type();
   explicit Other( ByCreate by ) : EntityOf( by ) {}

protected:
   ~Other() override = default;
};
constexpr Vek::TypeInfo info = Vek::entityInfo< Other, Vek::noRows >( Vek::TypeKind::child );

} // namespace Sample
