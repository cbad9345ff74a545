#include "Flowspec/status/Counter.h"

#include "Flowspec/types/Types.h"
#include "Vek/collections/DirtyKeys.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

struct CounterVersion::Table {
   using T = CounterVersion;
   static constexpr Vek::Field rows[] = {
      Vek::attr< &T::coloredCounters_, &T::coloredCountersIs >( 2, "coloredCounters" ),
      Vek::attr< &T::version_, &T::versionIs >( 3, "version" ),
   };
   static_assert( Vek::idsAscend( rows ) );
};

struct Counter::Table {
   using T = Counter;
   static constexpr Vek::Field rows[] = {
      Vek::coll< &T::snapshot_, &T::snapshotIs, Vek::byKey( &T::snapshotDel ) >( 258, "snapshot" ),
      Vek::attr< &T::timestamp_, &T::timestampIs >( 259, "timestamp" ),
   };
   static_assert( Vek::idsAscend( rows ) );
   static inline constinit Mell::Slab slab{ sizeof( T ), alignof( T ) };
};

constinit const Vek::TypeInfo counterVersionInfo =
   Vek::valueInfo< CounterVersion, CounterVersion::Table::rows, QosLib::ColoredCounters,
                   Osk::UniqueId >();

constinit const Vek::TypeInfo counterInfo = Vek::entityInfo< Counter, Vek::String >(
   "Flowspec::Counter", Vek::TypeKind::root, Counter::Table::rows, Counter::Table::slab,
   &Vek::NamedEntity::baseInfo );

const Vek::TypeInfo& Counter::type() { return counterInfo; }

const Vek::TypeInfo& CounterVersion::typeInfo() { return counterVersionInfo; }

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
