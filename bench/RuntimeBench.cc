#include "Flowspec/config/RuleConfig.h"
#include "Vek/entity/EntityInfo.h"
#include "bench/plain/PlainRule.h"
#include "bench/support/Measure.h"
#include "bench/support/Rules.h"

#include <array>
#include <memory>
#include <thread>

/// What the runtime adds to an object: its memory, its references, its setters, and the sanitiser
/// that is written with them.

namespace {

using Flowspec::RuleConfig;

// What an entity holds, left as it is found.
struct Content {
   Content() {}
   std::byte bytes[sizeof( RuleConfig ) - sizeof( Vek::Entity )];
};

// An entity, counted, with a parent and observers.
class Item : public Vek::EntityOf< Item > {
public:
   static constexpr std::string_view typeName = "Bench::Item";
   static const Vek::TypeInfo& type();

   explicit Item( ByCreate by ) : EntityOf( by ) {}

protected:
   ~Item() override = default;

private:
   [[maybe_unused]] Content content_;
};
constexpr Vek::Rows itemRows{ Vek::derived< &Vek::Entity::parentReference >( 258, "owner" ) };
constinit const Vek::TypeInfo itemInfo = Vek::entityInfo< Item, itemRows >( Vek::TypeKind::child );
const Vek::TypeInfo& Item::type() { return itemInfo; }

// As large, without what makes it an entity.
class Counted : public Vek::Counted {
public:
   static void* operator new( std::size_t ) { return slab.allocate(); }
   static void operator delete( void* memory ) { slab.free( memory ); }

private:
   static constinit Mell::Slab slab;

   [[maybe_unused]] Vek::Entity* parent_ = nullptr;
   [[maybe_unused]] Vek::Observation* observations_ = nullptr;
   [[maybe_unused]] Content content_;
};
constinit Mell::Slab Counted::slab( sizeof( Counted ), alignof( Counted ) );
static_assert( sizeof( Counted ) == sizeof( Item ) );

// As large, for the standard library's counted pointer.
struct SharedItem {
   Vek::Entity* parent = nullptr;
   Vek::Observation* observations = nullptr;
   Content content;
};

// The standard library counts atomically from the first thread on.
void startThread() {
   std::thread( [] {} ).join();
}

template < typename Make >
void createAndDrop( benchmark::State& state, Make make ) {
   startThread();
   // The type's memory is warm: other objects of it live.
   const auto other = make();
   for ( auto _ : state ) {
      auto item = make();
      benchmark::DoNotOptimize( item );
   }
   Bench::perItemCounter( state, 1 );
}

void createEntity( benchmark::State& state ) {
   createAndDrop( state, [] { return Vek::create< Item >(); } );
}

void createCounted( benchmark::State& state ) {
   createAndDrop( state, [] { return Vek::make< Counted >(); } );
}

void createShared( benchmark::State& state ) {
   createAndDrop( state, [] { return std::make_shared< SharedItem >(); } );
}

// One more reference to each of some objects that are at hand, dropped at once. It need not stand
// in memory: a forced store and load would take as long as the count.
template < typename Make >
void reference( benchmark::State& state, Make make ) {
   startThread();
   std::array< decltype( make() ), 64 > items;
   for ( auto& item : items ) {
      item = make();
   }
   Bench::perItem( state, items, []( const auto& item ) {
      const auto copy = item;
      auto* const object = copy.get();
      benchmark::DoNotOptimize( object );
   } );
}

void referenceEntity( benchmark::State& state ) {
   reference( state, [] { return Vek::create< Item >(); } );
}

void referenceShared( benchmark::State& state ) {
   reference( state, [] { return std::make_shared< SharedItem >(); } );
}

// Sets numbers that differ from one call to the next by `step`.
template < typename Rule >
void setNumber( benchmark::State& state, Rule& rule, U64 step ) {
   U64 number = 7;
   for ( auto _ : state ) {
      for ( int i = 0; i < 100; ++i ) {
         number += step;
         rule.ruleIdIs( number );
      }
   }
   Bench::require( rule.ruleId() == number, "the number set" );
   Bench::perItemCounter( state, 100 );
}

void setSame( benchmark::State& state ) {
   const auto rule = Flowspec::ruleConfigFactory( Bench::sixWordRule( 1 ) );
   setNumber( state, *rule, 0 );
}

void setOther( benchmark::State& state ) {
   const auto rule = Flowspec::ruleConfigFactory( Bench::sixWordRule( 1 ) );
   setNumber( state, *rule, 1 );
}

void setSamePlain( benchmark::State& state ) {
   Bench::PlainRule rule;
   setNumber( state, rule, 0 );
}

void setOtherPlain( benchmark::State& state ) {
   Bench::PlainRule rule;
   setNumber( state, rule, 1 );
}

// Two prefixes, a protocol and ports, made explicit already.
Vek::Ptr< RuleConfig > sanitizedRule() {
   using Flowspec::MatchComponent;
   using Flowspec::NumericalRange;
   const auto rule = Flowspec::ruleConfigFactory( Bench::sixWordRule( 1 ) );
   for ( const auto type : { Flowspec::destPrefix, Flowspec::srcPrefix } ) {
      MatchComponent component( type );
      component.prefixIs( *Zorv::IpGenPrefix::fromText( "192.0.2.0/24" ) );
      rule->matchSetIs( component );
   }
   MatchComponent protocol( Flowspec::ipProto );
   protocol.numericalRangeIs( NumericalRange( 6, 6 ) );
   rule->matchSetIs( protocol );
   MatchComponent ports( Flowspec::destPort );
   for ( const U32 port : { 53U, 80U, 443U } ) {
      ports.numericalRangeIs( NumericalRange( port, port ) );
   }
   rule->matchSetIs( ports );
   Bench::require( rule->sanitizeMatchSet() == Flowspec::invalid, "the rule's feasibility" );
   return rule;
}

void sanitize( benchmark::State& state ) {
   const auto rule = sanitizedRule();
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( rule->sanitizeMatchSet() );
   }
   Bench::perItemCounter( state, 1 );
}

void copyMatchSet( benchmark::State& state ) {
   const auto rule = sanitizedRule();
   for ( auto _ : state ) {
      RuleConfig::MatchSet copy = rule->matchSet();
      benchmark::DoNotOptimize( copy );
   }
   Bench::perItemCounter( state, 1 );
}

BENCHMARK( createEntity );
BENCHMARK( createCounted );
BENCHMARK( createShared );
BENCHMARK( referenceEntity );
BENCHMARK( referenceShared );
BENCHMARK( setSame );
BENCHMARK( setSamePlain );
BENCHMARK( setOther );
BENCHMARK( setOtherPlain );
BENCHMARK( sanitize );
BENCHMARK( copyMatchSet );

} // namespace
