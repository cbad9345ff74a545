#pragma once

#include "Vek/collections/DirtyKeys.h"
#include "Vek/types/Member.h"
#include "Vek/types/TypeInfo.h"

#include <array>
#include <tuple>

/// The builders of rows, for the sources that describe types. Ids and names are ordinary arguments;
/// members, getters and setters are template arguments. An object is handed over as the address of
/// the class that has the member; types of tables use single inheritance, so that is the address of
/// the whole object.
///
/// A row knows the class and the type of its member as long as it is in its table. Whether they
/// fit the other rows and the type that the table describes is checked there (`Rows`), so that each
/// mistake ends the compilation with one sentence. Later a row is a plain `Field`, without types.
namespace Vek {

/// A row with the class of its member, void for a static function, and the type of the attribute.
template < typename C, typename T >
struct Row : Field {
   using Class = C;
   using Type = T;

   /// The same row, shown with another name of its type.
   constexpr Row as( std::string_view shownName ) const {
      Row row = *this;
      row.typeName = shownName;
      return row;
   }

   /// The same row as a stored attribute, shown with another name of its type.
   constexpr Row asAttribute( std::string_view shownName ) const {
      Row row = as( shownName );
      row.kind = FieldKind::attribute;
      return row;
   }
};

/// The table of a type: `static constexpr Vek::Rows rows{ key< ... >( ... ), attr< ... >( ... )
/// };`. The descriptions that are made of it (`entityInfo`, `valueInfo`) check it.
template < typename... R >
class Rows {
public:
   /// The type of the attribute in a row.
   template < std::size_t position >
   using TypeAt = typename std::tuple_element_t< position, std::tuple< R... > >::Type;

   /// Whether each row is about a member of `T` or of a base.
   template < typename T >
   static constexpr bool areOf = ( (std::is_void_v< typename R::Class > ||
                                    std::is_base_of_v< typename R::Class, T >)&&... );

   constexpr explicit Rows( const R&... rows ) : fields_{ rows... } {}

   constexpr std::size_t size() const { return sizeof...( R ); }
   constexpr const Field& operator[]( std::size_t position ) const { return fields_[position]; }
   constexpr auto begin() const { return fields_.begin(); }
   constexpr auto end() const { return fields_.end(); }
   constexpr operator std::span< const Field >() const { return fields_; }

   /// Whether the ids ascend, as `TypeInfo` and readers of the table expect.
   constexpr bool ascend() const {
      for ( std::size_t i = 1; i < size(); ++i ) {
         if ( fields_[i - 1].id >= fields_[i].id ) {
            return false;
         }
      }
      return true;
   }

private:
   std::array< Field, sizeof...( R ) > fields_;
};

/// The table of a type that adds nothing to its base.
inline constexpr Rows<> noRows;

namespace detail {

template < typename T, const auto& rows >
inline constexpr bool rowsAreOf = std::remove_cvref_t< decltype( rows ) >::template areOf< T >;

/// The table `rows` of the type `T`: what each kind of description asks of it.
template < typename T, const auto& rows >
consteval void checkTable() {
   static_assert( rowsAreOf< T, rows >, "a row of the table names a member of another class" );
   static_assert( rows.ascend(), "the ids of the table do not ascend" );
   if constexpr ( requires { T::rowCount; } ) {
      static_assert( T::rowCount == rows.size(), "the table has another number of rows than the "
                                                 "rowCount of its type: look at what lists them" );
   }
}

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

template < typename C, typename T >
constexpr Row< C, T > row( U16 id, std::string_view name, FieldKind kind ) {
   Row< C, T > made{};
   made.id = id;
   made.name = name;
   made.kind = kind;
   return made;
}

template < auto Member >
constexpr auto storedField( U16 id, std::string_view name, FieldKind kind ) {
   using Class = typename MemberPointer< decltype( Member ) >::Class;
   using Type = std::remove_const_t< typename MemberPointer< decltype( Member ) >::Type >;
   auto field = row< Class, Type >( id, name, kind );
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
constexpr auto computedField( U16 id, std::string_view name, FieldKind kind ) {
   using Class = typename Function< decltype( Getter ) >::Class;
   using Type = typename Function< decltype( Getter ) >::Result;
   auto field = row< Class, Type >( id, name, kind );
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
   ( at< Class >( object ).*Setter )( at< const Type >( value ) );
}

/// The row with its setter.
template < auto Setter, typename C, typename T >
constexpr Row< C, T > withSetter( Row< C, T > field ) {
   using F = Function< decltype( Setter ) >;
   constexpr bool ofClass = std::is_base_of_v< typename F::Class, C >;
   constexpr bool takesType = std::is_same_v< typename F::Parameters, std::tuple< T > >;
   static_assert( ofClass, "the setter of the row is of another class than its member" );
   static_assert( takesType, "the setter of the row takes another type than its attribute has" );
   if constexpr ( ofClass && takesType ) {
      field.set = callSetter< Setter, T >;
   }
   return field;
}

/// Whether a parameter holds all values of a type: it is of the same type, or a position in 64
/// bits.
template < typename Parameter, typename T >
inline constexpr bool holds = std::is_same_v< Parameter, T > ||
                              ( std::is_same_v< Parameter, U64 > && std::is_same_v< T, U32 > );

template < typename Parameters, typename Types >
inline constexpr bool holdAll = false;
template < typename... Parameters, typename... Types >
requires( sizeof...( Parameters ) == sizeof...( Types ) ) //
   inline constexpr bool holdAll< std::tuple< Parameters... >, std::tuple< Types... > > =
      ( holds< Parameters, Types > && ... );

/// Whether a function takes just parameters for these types; null takes any.
template < typename F, typename... Types >
constexpr bool takes() {
   if constexpr ( std::is_null_pointer_v< F > ) {
      return true;
   } else {
      return holdAll< typename Function< F >::Parameters, std::tuple< Types... > >;
   }
}

/// What a data member or a getter gives.
template < auto Member >
struct Reads {
   using Class = typename MemberPointer< decltype( Member ) >::Class;
   using Type = std::remove_cvref_t< std::invoke_result_t< decltype( Member ), const Class& > >;
};

template < typename Insert, typename Key, typename Value, typename... KeyOf >
constexpr bool inserts() {
   if constexpr ( std::is_void_v< Value > ) {
      return takes< Insert, Key >();
   } else if constexpr ( sizeof...( KeyOf ) == 1 ) {
      return takes< Insert, Value >() &&
             ( std::is_same_v<
                  Key, std::remove_cvref_t< std::invoke_result_t< KeyOf, const Value& > > > &&
               ... );
   } else {
      return takes< Insert, Key, Value >();
   }
}

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

/// How a row's member takes in a child; in EntityInfo.h.
template < auto Member >
struct Adoption;

/// Whether a type is a reference to an entity.
template < typename T >
inline constexpr bool isReference = false;
template < typename T >
inline constexpr bool isReference< Ptr< T > > = std::is_base_of_v< Entity, T >;

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
constexpr auto key( U16 id, std::string_view name ) {
   return detail::storedField< Member >( id, name, FieldKind::key );
}

/// A stored attribute; without a setter it is read-only by reflection.
template < auto Member >
constexpr auto attr( U16 id, std::string_view name ) {
   return detail::storedField< Member >( id, name, FieldKind::attribute );
}
template < auto Member, auto Setter >
constexpr auto attr( U16 id, std::string_view name ) {
   return detail::withSetter< Setter >( attr< Member >( id, name ) );
}

/// A stored attribute that is reached by its getter; without a setter it is read-only.
template < auto Getter >
constexpr auto property( U16 id, std::string_view name ) {
   return detail::computedField< Getter >( id, name, FieldKind::attribute );
}
template < auto Getter, auto Setter >
constexpr auto property( U16 id, std::string_view name ) {
   return detail::withSetter< Setter >( property< Getter >( id, name ) );
}

/// A part of a stored attribute, read and written by operations of its own.
template < auto Getter, auto Setter >
constexpr auto view( U16 id, std::string_view name ) {
   return detail::withSetter< Setter >(
      detail::computedField< Getter >( id, name, FieldKind::view ) );
}

/// A computed, read-only attribute.
template < auto Getter >
constexpr auto derived( U16 id, std::string_view name ) {
   return detail::computedField< Getter >( id, name, FieldKind::derived );
}

/// A constant of the type, given by a static function.
template < auto Getter >
constexpr auto constant( U16 id, std::string_view name ) {
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
constexpr auto coll( U16 id, std::string_view name ) {
   using C = detail::CollectionRow< Member, Insert, Erase >;
   using Key = typename C::Key;
   using Value = typename C::Value;
   constexpr bool inserts =
      detail::inserts< decltype( Insert ), Key, Value, decltype( KeyOf )... >();
   constexpr bool erases = detail::takes< decltype( Erase ), Key >();
   static_assert( inserts, "the insertion of the row takes other types than the collection holds" );
   static_assert( erases,
                  "the deletion of the row takes another type than the keys of the collection" );
   auto field = detail::row< typename C::Class, void >( id, name, FieldKind::collection );
   if constexpr ( inserts && erases ) {
      field.key = &valueType< Key >;
      if constexpr ( !std::is_void_v< Value > ) {
         field.value = &valueType< Value >;
      }
      field.member = detail::memberIdentity< Member >();
      field.collection = &detail::collectionOps< Member, Insert, Erase, KeyOf... >;
   }
   return field;
}

/// A collection of entities that the object owns.
template < auto Member, auto Insert, auto Erase >
constexpr auto children( U16 id, std::string_view name ) {
   using C = detail::CollectionRow< Member, Insert, Erase >;
   using Key = typename C::Key;
   constexpr bool owns = detail::isReference< typename C::Value >;
   constexpr bool inserts = detail::takes< decltype( Insert ), Key >();
   constexpr bool erases = detail::takes< decltype( Erase ), Key >();
   static_assert( owns, "a row of children is about a collection of references to entities" );
   static_assert( inserts,
                  "the insertion of the row takes another type than the keys of the children" );
   static_assert( erases,
                  "the deletion of the row takes another type than the keys of the children" );
   auto field = detail::row< typename C::Class, void >( id, name, FieldKind::children );
   if constexpr ( owns && inserts && erases ) {
      field.key = &valueType< Key >;
      field.typeName = C::Value::Object::typeName;
      field.member = detail::memberIdentity< Member >();
      field.collection = &detail::collectionOps< Member, Insert, Erase >;
      field.adopt = detail::Adoption< Member >::adopt;
   }
   return field;
}

/// One entity that the object owns, or none; `stored` gives the entity itself.
template < auto Member >
constexpr auto child( U16 id, std::string_view name ) {
   using Class = typename detail::MemberPointer< decltype( Member ) >::Class;
   using Stored = typename detail::MemberPointer< decltype( Member ) >::Type;
   constexpr bool owns = detail::isReference< Stored >;
   static_assert( owns, "a row of one child is about a reference to an entity" );
   auto field = detail::row< Class, void >( id, name, FieldKind::child );
   if constexpr ( owns ) {
      field.typeName = Stored::Object::typeName;
      field.member = detail::memberIdentity< Member >();
      field.stored = []( const void* object ) -> const void* {
         return static_cast< const Entity* >( ( detail::at< Class >( object ).*Member ).get() );
      };
      field.adopt = detail::Adoption< Member >::adopt;
   }
   return field;
}

/// An operation with the names of its parameters.
template < auto Method, typename... Names >
constexpr auto operation( U16 id, std::string_view name, Names... arguments ) {
   using Operation = detail::OperationRow< Method >;
   static_assert( sizeof...( Names ) == Operation::count,
                  "the row names another number of parameters than the operation has" );
   auto field = detail::row< typename Operation::Class, void >( id, name, FieldKind::operation );
   if constexpr ( sizeof...( Names ) == Operation::count ) {
      [[maybe_unused]] std::size_t i = 0;
      ( ( field.arguments[i++] = arguments ), ... );
      field.value = Operation::resultType();
      field.operation = &Operation::ops;
   }
   return field;
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
