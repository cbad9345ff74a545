#include "Flowspec/status/Counter.h"

#include "Vek/entity/EntityInfo.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

struct CounterVersion::Table {
   using T = CounterVersion;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::coloredCounters_, &T::coloredCountersIs >( 2, "coloredCounters" ),
      Vek::attr< &T::version_, &T::versionIs >( 3, "version" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

struct Counter::Table {
   using T = Counter;
   static constexpr Vek::Rows rows{
      Vek::coll< &T::snapshot_, &T::snapshotIs, Vek::byKey( &T::snapshotDel ) >( 258, "snapshot" ),
      Vek::attr< &T::timestamp_, &T::timestampIs >( 259, "timestamp" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& Counter::type() { return Table::info; }

const Vek::TypeInfo& CounterVersion::typeInfo() { return Table::info; }

CounterVersion Counter::snapshot( const FlowspecKey& key ) const {
   return memberAt( snapshot_, key );
}

void Counter::snapshotIs( const FlowspecKey& key, const CounterVersion& snapshot ) {
   memberIs< Table, &Counter::snapshot_ >( key, snapshot );
}

void Counter::snapshotDel( const FlowspecKey& key ) {
   memberDel< Table, &Counter::snapshot_ >( key );
}

Counter::Snapshots::const_iterator Counter::snapshotDel( Snapshots::const_iterator at ) {
   return memberDelAt< Table, &Counter::snapshot_ >( at );
}

void Counter::snapshotDelAll() { memberDelAll< Table, &Counter::snapshot_ >(); }

void Counter::timestampIs( double timestamp ) { put< Table, &Counter::timestamp_ >( timestamp ); }

Vek::Ptr< Counter > counterFactory( const Vek::String& name ) {
   return Vek::create< Counter >( name );
}

} // namespace Flowspec
