#pragma once

#include "Vek/types/TypeInfo.h"

/// The builders of rows. Ids and names are ordinary arguments; members, getters and setters are
/// template arguments. An object is handed over as the address of the class that has the member;
/// types of tables use single inheritance, so that is the address of the whole object.
namespace Vek {

namespace detail {

/// In DirtyKeys.h, for the sources that describe collections.
template < typename Key, typename Order >
class DirtyKeysOf;
/// In KeyWalk.h, which that includes.
template < typename Row >
struct KeyWalkOf;

/// A number for each data member, by which a setter finds its row: a hash of the member's name as
/// the compiler spells it. (Addresses of objects would do, but g++ does not compare them at compile
/// time under its sanitizers.)
template < auto Member >
consteval U64 memberIdentity() {
   U64 hash = 0xCBF29CE484222325;
   for ( const char c : std::string_view( __PRETTY_FUNCTION__ ) ) {
      hash = ( hash ^ static_cast< U8 >( c ) ) * 0x100000001B3;
   }
   return hash;
}

template < typename T >
struct MemberPointer;
template < typename C, typename T >
struct MemberPointer< T C::* > {
   using Class = C;
   using Type = T;
};

/// The type in which reflection hands over a parameter or a result: a view of text is a string.
template < typename T >
using Handed = std::conditional_t< std::is_same_v< std::remove_cvref_t< T >, std::string_view >,
                                   String, std::remove_cvref_t< T > >;

template < typename T >
struct Function;
template < typename C, typename R, typename... A >
struct Function< R ( C::* )( A... ) > {
   using Class = C;
   using Result = Handed< R >;
   using Parameters = std::tuple< Handed< A >... >;
};
template < typename C, typename R, typename... A >
struct Function< R ( C::* )( A... ) const > : Function< R ( C::* )( A... ) > {};
template < typename R, typename... A >
struct Function< R ( * )( A... ) > {
   using Class = void;
   using Result = Handed< R >;
   using Parameters = std::tuple< Handed< A >... >;
};

template < typename T >
T& at( void* p ) {
   return *static_cast< T* >( p );
}
template < typename T >
const T& at( const void* p ) {
   return *static_cast< const T* >( p );
}

template < auto Member >
constexpr Field storedField( U16 id, std::string_view name, FieldKind kind ) {
   using Class = typename MemberPointer< decltype( Member ) >::Class;
   using Type = std::remove_const_t< typename MemberPointer< decltype( Member ) >::Type >;
   Field field{ .id = id, .kind = kind, .name = name };
   field.value = &valueType< Type >;
   field.member = memberIdentity< Member >();
   field.stored = []( const void* object ) -> const void* {
      return &( at< Class >( object ).*Member );
   };
   field.get = []( const void* object, void* value ) {
      at< Type >( value ) = at< Class >( object ).*Member;
   };
   return field;
}

template < auto Getter >
constexpr Field computedField( U16 id, std::string_view name, FieldKind kind ) {
   using Class = typename Function< decltype( Getter ) >::Class;
   using Type = typename Function< decltype( Getter ) >::Result;
   Field field{ .id = id, .kind = kind, .name = name };
   field.value = &valueType< Type >;
   field.get = []( [[maybe_unused]] const void* object, void* value ) {
      if constexpr ( std::is_void_v< Class > ) {
         at< Type >( value ) = Getter();
      } else {
         at< Type >( value ) = ( at< Class >( object ).*Getter )();
      }
   };
   return field;
}

template < auto Setter, typename Type >
void callSetter( void* object, const void* value ) {
   using Class = typename Function< decltype( Setter ) >::Class;
   ( at< Class >( object ).*Setter )( at< Type >( value ) );
}

/// What a data member or a getter gives.
template < auto Member >
struct Reads {
   using Class = typename MemberPointer< decltype( Member ) >::Class;
   using Type = std::remove_cvref_t< std::invoke_result_t< decltype( Member ), const Class& > >;
};

template < auto Member, auto Insert, auto Erase, auto... KeyOf >
struct CollectionRow {
   using Class = typename Reads< Member >::Class;
   using Access = CollectionAccess< typename Reads< Member >::Type >;
   using Key = typename Access::Key;
   using Value = typename Access::Value;

   static decltype( auto ) collection( const void* object ) {
      return std::invoke( Member, at< Class >( object ) );
   }
   static U32 size( const void* object ) { return Access::size( collection( object ) ); }
   static const void* find( const void* object, const void* key ) {
      return Access::find( collection( object ), at< Key >( key ) );
   }
   static void visit( const void* object, const MemberVisitor& visitor ) {
      Access::visit( collection( object ), visitor );
   }
   static bool before( const void* a, const void* b ) {
      return typename Access::Order()( at< Key >( a ), at< Key >( b ) );
   }
   static bool insert( void* object, const void* key, [[maybe_unused]] const void* value ) {
      Class& self = at< Class >( object );
      using F = decltype( Insert );
      if constexpr ( sizeof...( KeyOf ) == 1 ) {
         if ( !( ( std::invoke( KeyOf, at< Value >( value ) ) == at< Key >( key ) ) && ... ) ) {
            return false;
         }
         std::invoke( Insert, self, at< Value >( value ) );
      } else if constexpr ( std::is_invocable_v< F, Class&, const Key& > ) {
         std::invoke( Insert, self, at< Key >( key ) );
      } else {
         std::invoke( Insert, self, at< Key >( key ), at< Value >( value ) );
      }
      return true;
   }
   static void erase( void* object, const void* key ) {
      std::invoke( Erase, at< Class >( object ), at< Key >( key ) );
   }
};

/// How a row's member takes in a child; in Entity.h.
template < auto Member >
struct Adoption;

template < auto Member, auto Insert, auto Erase, auto... KeyOf >
constexpr CollectionOps describeCollection() {
   using Row = CollectionRow< Member, Insert, Erase, KeyOf... >;
   CollectionOps ops{};
   ops.size = Row::size;
   ops.find = Row::find;
   ops.visit = Row::visit;
   ops.dirtyKeys = DirtyKeysOf< typename Row::Key, typename Row::Access::Order >::make;
   ops.walk = KeyWalkOf< CollectionRow< Member, nullptr, nullptr > >::make();
   ops.before = Row::before;
   if constexpr ( !std::is_null_pointer_v< decltype( Insert ) > ) {
      ops.insert = Row::insert;
   }
   if constexpr ( !std::is_null_pointer_v< decltype( Erase ) > ) {
      ops.erase = Row::erase;
   }
   return ops;
}

template < auto Member, auto Insert, auto Erase, auto... KeyOf >
inline constexpr CollectionOps
   collectionOps = describeCollection< Member, Insert, Erase, KeyOf... >();

template < auto Method >
struct OperationRow {
   using F = Function< decltype( Method ) >;
   using Class = typename F::Class;
   using Result = typename F::Result;

   template < typename Tuple >
   struct Types;
   template < typename... A >
   struct Types< std::tuple< A... > > {
      static constexpr const ValueType* list[sizeof...( A ) + 1] = { &valueType< A >..., nullptr };

      template < std::size_t... I >
      static void call( [[maybe_unused]] void* object, [[maybe_unused]] void* const* arguments,
                        [[maybe_unused]] void* result, std::index_sequence< I... > ) {
         const auto run = [&]() -> decltype( auto ) {
            if constexpr ( std::is_void_v< Class > ) {
               return Method( at< A >( arguments[I] )... );
            } else {
               return ( at< Class >( object ).*Method )( at< A >( arguments[I] )... );
            }
         };
         if constexpr ( std::is_void_v< Result > ) {
            run();
         } else {
            at< Result >( result ) = run();
         }
      }
   };
   using Parameters = Types< typename F::Parameters >;
   static constexpr std::size_t count = std::tuple_size_v< typename F::Parameters >;

   static constexpr const ValueType* resultType() {
      if constexpr ( std::is_void_v< Result > ) {
         return nullptr;
      } else {
         return &valueType< Result >;
      }
   }

   static constexpr OperationOps ops{
      { Parameters::list, count },
      resultType(),
      []( void* object, void* const* arguments, void* result ) {
         Parameters::call( object, arguments, result, std::make_index_sequence< count >() );
      },
   };
};

} // namespace detail

/// A constructor argument that never changes.
template < auto Member >
constexpr Field key( U16 id, std::string_view name ) {
   return detail::storedField< Member >( id, name, FieldKind::key );
}

/// A stored attribute; without a setter it is read-only by reflection.
template < auto Member, auto... Setter >
constexpr Field attr( U16 id, std::string_view name ) {
   Field field = detail::storedField< Member >( id, name, FieldKind::attribute );
   if constexpr ( sizeof...( Setter ) == 1 ) {
      using Type = typename detail::MemberPointer< decltype( Member ) >::Type;
      field.set = ( detail::callSetter< Setter, Type >, ... );
   }
   return field;
}

/// A stored attribute that is reached by its getter; without a setter it is read-only.
template < auto Getter, auto... Setter >
constexpr Field property( U16 id, std::string_view name ) {
   Field field = detail::computedField< Getter >( id, name, FieldKind::attribute );
   if constexpr ( sizeof...( Setter ) == 1 ) {
      using Type = typename detail::Function< decltype( Getter ) >::Result;
      field.set = ( detail::callSetter< Setter, Type >, ... );
   }
   return field;
}

/// A part of a stored attribute, read and written by operations of its own.
template < auto Getter, auto Setter >
constexpr Field view( U16 id, std::string_view name ) {
   using Type = typename detail::Function< decltype( Getter ) >::Result;
   Field field = detail::computedField< Getter >( id, name, FieldKind::view );
   field.set = detail::callSetter< Setter, Type >;
   return field;
}

/// A computed, read-only attribute.
template < auto Getter >
constexpr Field derived( U16 id, std::string_view name ) {
   return detail::computedField< Getter >( id, name, FieldKind::derived );
}

/// A constant of the type, given by a static function.
template < auto Getter >
constexpr Field constant( U16 id, std::string_view name ) {
   return detail::computedField< Getter >( id, name, FieldKind::constant );
}

/// The deletion by key of those that a collection has.
template < typename T, typename Key >
constexpr auto byKey( void ( T::*del )( Key ) ) {
   return del;
}

/// A collection of values, a data member or a getter, with the operations that insert and erase a
/// member; null for an operation that the type does not have. `Insert` takes key and value, the key
/// alone of a set, or, when values know their keys by a getter `KeyOf`, the value alone.
template < auto Member, auto Insert, auto Erase, auto... KeyOf >
constexpr Field coll( U16 id, std::string_view name ) {
   using Row = detail::CollectionRow< Member, Insert, Erase >;
   Field field{ .id = id, .kind = FieldKind::collection, .name = name };
   field.key = &valueType< typename Row::Key >;
   if constexpr ( !std::is_void_v< typename Row::Value > ) {
      field.value = &valueType< typename Row::Value >;
   }
   field.member = detail::memberIdentity< Member >();
   field.collection = &detail::collectionOps< Member, Insert, Erase, KeyOf... >;
   return field;
}

/// A collection of entities that the object owns; `childType` is shown as the members' type.
template < auto Member, auto Insert, auto Erase >
constexpr Field children( U16 id, std::string_view name, std::string_view childType ) {
   using Row = detail::CollectionRow< Member, Insert, Erase >;
   Field field{ .id = id, .kind = FieldKind::children, .name = name };
   field.key = &valueType< typename Row::Key >;
   field.typeName = childType;
   field.member = detail::memberIdentity< Member >();
   field.collection = &detail::collectionOps< Member, Insert, Erase >;
   field.adopt = detail::Adoption< Member >::adopt;
   return field;
}

/// One entity that the object owns, or none; `stored` gives the entity itself.
template < auto Member >
constexpr Field child( U16 id, std::string_view name, std::string_view childType ) {
   using Class = typename detail::MemberPointer< decltype( Member ) >::Class;
   Field field{ .id = id, .kind = FieldKind::child, .name = name };
   field.typeName = childType;
   field.member = detail::memberIdentity< Member >();
   field.stored = []( const void* object ) -> const void* {
      return static_cast< const Entity* >( ( detail::at< Class >( object ).*Member ).get() );
   };
   field.adopt = detail::Adoption< Member >::adopt;
   return field;
}

/// An operation with the names of its parameters.
template < auto Method, typename... Names >
constexpr Field operation( U16 id, std::string_view name, Names... arguments ) {
   using Row = detail::OperationRow< Method >;
   static_assert( sizeof...( Names ) == Row::count, "each parameter has a name" );
   Field field{ .id = id, .kind = FieldKind::operation, .name = name };
   [[maybe_unused]] std::size_t i = 0;
   ( ( field.arguments[i++] = arguments ), ... );
   field.value = Row::resultType();
   field.operation = &Row::ops;
   return field;
}

/// The position in `Table::rows` of the row of a data member; no such row is a compile-time error.
template < typename Table, auto Member >
consteval std::size_t rowOf() {
   for ( std::size_t i = 0; i < std::size( Table::rows ); ++i ) {
      if ( Table::rows[i].member == detail::memberIdentity< Member >() ) {
         return i;
      }
   }
   throw "the member has no row in the table";
}

namespace detail {

template < typename... Parameters >
struct ParameterList {
   static constexpr const ValueType* list[sizeof...( Parameters ) + 1] = {
      &valueType< Parameters >..., nullptr };
   static constexpr std::span< const ValueType* const > types{ list, sizeof...( Parameters ) };
};

} // namespace detail

} // namespace Vek
