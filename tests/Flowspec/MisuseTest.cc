#include "Classification/StructuredFilter.h"
#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/policy/FlowspecPolicyConfig.h"
#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "Vek/entity/Directory.h"
#include "Vek/entity/EntityInfo.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/Registered.h"
#include "tests/support/Setters.h"

#include <optional>
#include <sstream>

#include <gmock/gmock.h>

/// What programs do wrong ends them with an assertion that names the reason, and reads nothing that
/// is gone.

namespace Flowspec {
namespace {

using Osk::UniqueId;
using Zorv::AddressFamily;
using Zorv::IntfId;

constexpr const char* changed = "version == collection.version()";
constexpr const char* atEnd = "iterator != collection.end()";
constexpr const char* ofAnother = "iterator.collection() == collection";
constexpr const char* nullPointer = "pointer != nullptr";

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

MatchComponent ports( U32 count ) {
   MatchComponent component( destPort );
   for ( U32 i = 0; i < count; ++i ) {
      component.numericalRangeIs( NumericalRange( i, i ) );
   }
   return component;
}

// A rule whose `ipProto` the sanitiser replaces.
Vek::Ptr< RuleConfig > unsanitisedRule() {
   auto rule = ruleConfigFactory( keyOf( 0 ) );
   rule->matchSetIs( ports( 1 ) );
   MatchComponent protocols( ipProto );
   protocols.numericalRangeIs( NumericalRange( 0, 100 ) );
   protocols.numericalRangeIs( NumericalRange( 101, 255 ) );
   rule->matchSetIs( protocols );
   return rule;
}

TEST( Misuse, SanitisingARuleWhileItsProtocolsAreGoneOver ) {
   const auto sanitise = [] {
      const auto rule = unsanitisedRule();
      for ( const auto& range : rule->matchSet( ipProto ).numericalRange() ) {
         static_cast< void >( range );
         rule->sanitizeMatchSet();
      }
   };
   EXPECT_ASSERTION( sanitise(), changed );
   const auto remove = [] {
      const auto rule = unsanitisedRule();
      for ( const auto& range : rule->matchSet( ipProto ).numericalRange() ) {
         static_cast< void >( range );
         rule->matchSetDel( ipProto );
      }
   };
   EXPECT_ASSERTION( remove(), changed );
}

TEST( Misuse, RemovingTheParentOfWhatIsGoneOver ) {
   const auto run = [] {
      const auto config = configFactory( "config" );
      config->vrfRuleConfigIs( 0 )->ruleIs( keyOf( 1 ) );
      config->vrfRuleConfigIs( 0 )->ruleIs( keyOf( 2 ) );
      for ( const auto& rule : config->vrfRuleConfig( 0 )->rule() ) {
         static_cast< void >( rule );
         config->vrfRuleConfigDel( 0 );
      }
   };
   EXPECT_ASSERTION( run(), changed );
}

/// A collection of an entity or value, with two members or more, and its operations.
template < typename Owner, typename Collection, typename Del, typename DelAt, typename DelAll >
void expectChecked( Owner makeOwner, Collection collectionOf, Del del, DelAt delAt,
                    DelAll delAll ) {
   const auto deleteInLoop = [&] {
      auto owner = makeOwner();
      for ( auto at = collectionOf( owner ).begin(); at != collectionOf( owner ).end(); ++at ) {
         del( owner, at );
      }
   };
   EXPECT_ASSERTION( deleteInLoop(), changed );
   const auto deleteAllInLoop = [&] {
      auto owner = makeOwner();
      for ( const auto& member : collectionOf( owner ) ) {
         static_cast< void >( member );
         delAll( owner );
      }
   };
   EXPECT_ASSERTION( deleteAllInLoop(), changed );

   auto owner = makeOwner();
   auto other = makeOwner();
   EXPECT_ASSERTION( delAt( owner, collectionOf( owner ).end() ), atEnd );
   EXPECT_ASSERTION( delAt( owner, collectionOf( other ).begin() ), ofAnother );
   const auto old = collectionOf( owner ).begin();
   const auto size = collectionOf( owner ).size();
   delAt( owner, collectionOf( owner ).begin() );
   EXPECT_ASSERTION( delAt( owner, old ), changed );
   EXPECT_EQ( collectionOf( owner ).size(), size - 1 );
   for ( auto at = collectionOf( owner ).begin(); at != collectionOf( owner ).end(); ) {
      at = delAt( owner, at );
   }
   EXPECT_TRUE( collectionOf( owner ).empty() );
   delAll( other );
   EXPECT_TRUE( collectionOf( other ).empty() );
}

#define EXPECT_CHECKED( makeOwner, attribute, keyOfMember )                                        \
   {                                                                                               \
      SCOPED_TRACE( #attribute );                                                                  \
      expectChecked( [] { return makeOwner; },                                                     \
                     []( auto& owner ) -> const auto& { return access( owner ).attribute(); },     \
                     []( auto& owner, const auto& at ) {                                           \
                        [[maybe_unused]] const auto& member = *at;                                 \
                        access( owner ).attribute##Del( keyOfMember );                             \
                     },                                                                            \
                     []( auto& owner, auto at ) { return access( owner ).attribute##Del( at ); },  \
                     []( auto& owner ) { access( owner ).attribute##DelAll(); } );                 \
   }

template < typename T >
T& access( Vek::Ptr< T >& entity ) {
   return *entity;
}
template < typename T >
T& access( T& value ) {
   return value;
}

// `owner` after `add( owner, number )` of three numbers.
template < typename Owner, typename Add >
Owner with( Owner owner, Add add ) {
   for ( const U16 number : std::initializer_list< U16 >{ 1, 2, 3 } ) {
      add( access( owner ), number );
   }
   return owner;
}

template < typename T >
Vek::Ptr< T > withMembers( std::string_view name ) {
   TestSupport::RandomValues random( 41 );
   const Vek::Ptr< T > entity = TestSupport::newOf< T >( random );
   TestSupport::addMembers( *entity, *T::type().field( name ), random, 20 );
   return entity;
}

template < typename Collection, typename At >
auto keyAt( const Collection&, const At& at ) {
   return Vek::CollectionAccess< Collection >::keyAt( at );
}

TEST( Misuse, ChangingACollectionOfAnEntityThatIsGoneOver ) {
#define CHECK( T, name )                                                                           \
   EXPECT_CHECKED( withMembers< T >( #name ), name, keyAt( access( owner ).name(), at ) );
   FLOWSPEC_COLLECTIONS( CHECK )
#undef CHECK
}

TEST( Misuse, ChangingACollectionOfAValueThatIsGoneOver ) {
   const auto component = [] {
      return with( MatchComponent( destPort ), []( MatchComponent& c, U16 n ) {
         c.numericalRangeIs( NumericalRange( n, n ) );
         c.ipBitMaskIs( IpBitMask( true, n, n ) );
         c.tcpBitMaskIs( TcpBitMask( true, n, n ) );
      } );
   };
   EXPECT_CHECKED( decltype( component )()(), numericalRange, NumericalRange( member ) );
   EXPECT_CHECKED( decltype( component )()(), ipBitMask, IpBitMask( member ) );
   EXPECT_CHECKED( decltype( component )()(), tcpBitMask, TcpBitMask( member ) );
   EXPECT_CHECKED( with( UnsupportedQual( AddressFamily::ipv4 ),
                         []( UnsupportedQual& q, U16 n ) {
                            q.qualIs( static_cast< MatchCompType >( n ), "reason" );
                         } ),
                   qual, member.first );
   EXPECT_CHECKED( with( FlowspecIntfInterfaceSetConfig( IntfId( 1 ) ),
                         []( FlowspecIntfInterfaceSetConfig& c, U16 n ) {
                            c.interfaceSetIs( FlowspecIntfSetId( n ) );
                         } ),
                   interfaceSet, FlowspecIntfSetId( member ) );
}

/// Does something else to a collection when it changes.
class Meddler : public Vek::Observer {
public:
   Meddler( Vek::Entity& entity, std::function< void() > meddle )
      : meddle_( std::move( meddle ) ), observation_( entity.observe( *this ) ) {}

   void onChange( const Vek::Change& ) override {
      if ( const auto meddle = std::exchange( meddle_, nullptr ) ) {
         meddle();
      }
   }

private:
   std::function< void() > meddle_;
   Vek::Observation observation_;
};

TEST( Misuse, RemovalByIteratorGoesOnWhateverObserversDo ) {
   const auto set =
      with( interfaceSetFactory( 1 ), []( InterfaceSet& s, U16 n ) { s.intfIs( IntfId( n ) ); } );
   const Meddler meddler( *set, [&] { set->intfIs( IntfId( 4 ) ); } );
   U32 met = 0;
   for ( auto at = set->intf().begin(); at != set->intf().end(); ++met ) {
      at = set->intfDel( at );
   }
   EXPECT_EQ( met, 4U );

   const auto rule = with( ruleConfigFactory( keyOf( 0 ) ), []( RuleConfig& r, U16 n ) {
      r.matchSetIs( MatchComponent( static_cast< MatchCompType >( n ) ) );
   } );
   const Meddler removing( *rule, [&] { rule->matchSetDel( destPrefix ); } );
   const auto next = rule->matchSetDel( rule->matchSet().find( srcPrefix ) );
   EXPECT_EQ( next->first, ipProto );
   EXPECT_EQ( rule->matchSet().size(), 1U );

   auto status = with( statusFactory( "a" ), []( Status& s, U16 n ) { s.interfaceSetIs( n ); } );
   const Meddler dropping( *status, [&] { status = nullptr; } );
   const auto at = status->interfaceSetDel( status->interfaceSet().begin() );
   EXPECT_ASSERTION( static_cast< void >( *at ), changed ) << "the entity is gone";
}

TEST( Misuse, ANullPointerIsNotFollowed ) {
   const auto vrf = vrfRuleConfigFactory( 0 );
   EXPECT_ASSERTION( vrf->rule( keyOf( 1 ) )->ruleIdIs( 1 ), nullPointer );
   EXPECT_ASSERTION( static_cast< void >( *Vek::Ptr< RuleConfig >() ), nullPointer );
   const auto print = [] {
      std::ostringstream out;
      out << Vek::Ptr< RuleConfig >();
   };
   EXPECT_ASSERTION( print(), "rule != nullptr" );
}

TEST( Misuse, ANullFilterIsRefusedBeforeAnythingChanges ) {
   constexpr const char* text = "filter != nullptr";
   const FlowspecKey::FilterPtr filter;
   FlowspecKey key;
   EXPECT_ASSERTION( key.copyInStructuredFilter( filter ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterProto( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterDestPort( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterSourcePort( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterIcmpType( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterIcmpCode( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterTcpFlags( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterPacketLength( filter, 0 ), text );
   EXPECT_ASSERTION( key.copyInStructuredFilterDscp( filter, 0 ), text );
}

TEST( Misuse, AnObserverThatGoesBeforeItsObservation ) {
   struct Silent final : Vek::Observer {
      void onChange( const Vek::Change& ) override {}
   };
   const auto status = statusFactory( "a" );
   const auto run = [&] {
      std::optional< Silent > observer( std::in_place );
      const Vek::Observation observation = status->observe( *observer );
      observer.reset();
   };
   EXPECT_ASSERTION( run(), "observations == 0" );
   EXPECT_ASSERTION( static_cast< void >( Vek::Observation().observer() ), "observer != nullptr" );

   // One that was copied, moved and ended as often as it began.
   Silent first;
   Vek::Observation observation = status->observe( first );
   {
      Silent second = first;
      Vek::Observation other = status->observe( second );
      other = status->observe( second );
      Vek::Observation moved = std::move( other );
      second = first;
      moved.end();
      moved.end();
   }
   EXPECT_EQ( &observation.observer(), &first );
   {
      const auto gone = statusFactory( "b" );
      observation = gone->observe( first );
   }
   EXPECT_EQ( observation.entity(), nullptr ) << "it ended with its entity";
}

// Entities are made by `create` alone: what is written in its place does not compile.
template < typename T, typename... Arguments >
concept New = requires( Arguments... arguments ) {
   new T( arguments... );
};
template < typename T, typename... Arguments >
concept NewByNothing = requires( Arguments... arguments ) {
   new T( {}, arguments... );
};
template < typename T >
concept Deleted = requires( T* entity ) {
   delete entity;
};
template < typename T >
concept Adopted = requires( T* entity ) {
   Vek::Ptr< T >::adopt( entity );
};
template < typename T >
concept Released = requires( Vek::Ptr< T > entity ) {
   entity.release();
};
template < typename T >
concept Counted = requires( const T& entity ) {
   entity.addReference();
}
|| requires( const T& entity ) { entity.dropReference(); };

template < typename T, typename... Arguments >
constexpr bool isMadeOnlyByCreate() {
   return New< T, const Vek::Creation< T >&, Arguments... > && !New< T, Arguments... > &&
          !NewByNothing< T, Arguments... > && !New< T, const T& > && !std::is_destructible_v< T > &&
          !Deleted< T > && !Adopted< T > && !Released< T > && !Counted< T >;
}
static_assert( isMadeOnlyByCreate< Config, Vek::String >() );
static_assert( isMadeOnlyByCreate< CliConfig, Vek::String >() );
static_assert( isMadeOnlyByCreate< VrfRuleConfig, U32 >() );
static_assert( isMadeOnlyByCreate< RuleConfig, FlowspecKey >() );
static_assert( isMadeOnlyByCreate< InfeasibleRule, FlowspecKey >() );
static_assert( isMadeOnlyByCreate< Status, Vek::String >() );
static_assert( isMadeOnlyByCreate< Counter, Vek::String >() );
static_assert( isMadeOnlyByCreate< VrfRuleStatus, U32 >() );
static_assert( isMadeOnlyByCreate< RuleStatus, FlowspecKey >() );
static_assert( isMadeOnlyByCreate< InterfaceSet, U16 >() );
static_assert( isMadeOnlyByCreate< AfIntfColl, AddressFamily >() );
static_assert( isMadeOnlyByCreate< FlowspecPolicyConfig, Vek::String >() );
static_assert( isMadeOnlyByCreate< FlowspecPolicyActionContainer, Vek::String >() );
static_assert( isMadeOnlyByCreate< FlowspecRedirectVrfRtAction, Vek::String, UniqueId, U64 >() );
static_assert( isMadeOnlyByCreate< PolicyMap::DropAction, Vek::String, UniqueId >() );
static_assert( isMadeOnlyByCreate< PolicyMap::PoliceAction, Vek::String, UniqueId,
                                   PolicyMap::PoliceRate, PolicyMap::PoliceBurstSize >() );
static_assert(
   isMadeOnlyByCreate< PolicyMap::SetDscpAction, Vek::String, UniqueId, PolicyMap::Dscp >() );
static_assert( isMadeOnlyByCreate< PolicyMap::NexthopAction, Vek::String, UniqueId >() );

// Nor does one entity's proof make another one.
static_assert( !std::is_convertible_v< const Vek::Creation< RuleConfig >&,
                                       const Vek::Creation< RuleStatus >& > );
static_assert( !std::is_copy_constructible_v< Vek::Creation< RuleConfig > > );
static_assert( !std::is_default_constructible_v< Vek::Creation< RuleConfig > > );

/// A user's own entity: an action.
class OwnAction final : public Vek::EntityOf< OwnAction, PolicyMap::Action > {
public:
   static constexpr std::string_view typeName = "Test::OwnAction";
   static const Vek::TypeInfo& type();

   OwnAction( ByCreate by, const Vek::String& name, UniqueId id, U64 number )
      : EntityOf( by, name, id, 99U ), number_( number ) {}

   bool equalTo( const PolicyMap::Action& other ) const override {
      const auto* const own = dynamic_cast< const OwnAction* >( &other );
      return own && own->number_ == number_;
   }

   struct Table;

protected:
   ~OwnAction() override = default;

private:
   U64 number_;
};

struct OwnAction::Table {
   static constexpr Vek::Rows rows{ Vek::key< &OwnAction::number_ >( 260, "number" ) };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< OwnAction, rows, Vek::String, UniqueId, U64 >( Vek::TypeKind::child );
};
const Vek::TypeInfo& OwnAction::type() { return Table::info; }

static_assert( isMadeOnlyByCreate< OwnAction, Vek::String, UniqueId, U64 >() );

TEST( Entity, OfAUsersOwnTypeIsMadeByCreate ) {
   {
      const auto action = Vek::create< OwnAction >( "own", UniqueId( 1 ), 5U );
      EXPECT_EQ( action->useCount(), 1U );
      EXPECT_EQ( action->actionType(), 99U );
      EXPECT_TRUE( action->equalTo( *Vek::create< OwnAction >( "b", UniqueId( 2 ), 5U ) ) );
      Vek::String name = "c";
      UniqueId id( 3 );
      U64 number = 6;
      void* const arguments[] = { &name, &id, &number };
      const auto made = OwnAction::type().construct( arguments );
      EXPECT_FALSE( action->equalTo( dynamic_cast< const OwnAction& >( *made ) ) );
      EXPECT_EQ( OwnAction::type().allocator->live(), 2U );
   }
   EXPECT_EQ( OwnAction::type().allocator->live(), 0U );
}

} // namespace
} // namespace Flowspec
