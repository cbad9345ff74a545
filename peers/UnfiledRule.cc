#include "peers/UnfiledRule.h"

#include "Vek/entity/EntityInfo.h"

namespace Peers {

struct UnfiledRule::Table {
   using T = UnfiledRule;
   static constexpr Vek::Rows rows{
      Vek::key< &T::route_ >( 258, "route" ),
      Vek::attr< &T::reason_, &T::reasonIs >( 259, "reason" ),
      Vek::attr< &T::time_, &T::timeIs >( 260, "time" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, RouteKey >( Vek::TypeKind::child );
};

const Vek::TypeInfo& UnfiledRule::type() { return Table::info; }

void UnfiledRule::reasonIs( const Vek::String& reason ) {
   put< Table, &UnfiledRule::reason_ >( reason );
}

void UnfiledRule::timeIs( double time ) { put< Table, &UnfiledRule::time_ >( time ); }

Vek::Ptr< UnfiledRule > unfiledRuleFactory( const RouteKey& route ) {
   return Vek::create< UnfiledRule >( route );
}

} // namespace Peers
