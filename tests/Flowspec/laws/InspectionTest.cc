#include "Vek/entity/Inspect.h"

#include "tests/support/Registered.h"

#include <gmock/gmock.h>

/// What reflection answers on every row of every type: what the row does, and a refusal that
/// changes nothing for all else.

namespace Flowspec {
namespace {

using testing::IsEmpty;
using namespace TestSupport;
using Vek::Any;
using Vek::Field;
using Vek::FieldKind;
using Vek::InspectAnswer;
using Vek::InspectCode;
using enum Vek::InspectAnswer;

using Arguments = std::vector< Any >;

// An object of a type, entity or value, and reflection on it.
class Subject {
public:
   Subject( const Vek::TypeInfo& type, RandomValues& random ) : type_( type ) {
      if ( type.isEntity() ) {
         entity_ = newEntity( type, random );
         changes_.emplace( *entity_ );
      } else {
         value_.emplace( *type.value, random );
      }
   }

   void* object() { return entity_ ? objectOf( *entity_ ) : value_->get(); }

   InspectAnswer operator()( const Field& row, unsigned code, const Arguments& arguments = {},
                             Any result = {} ) {
      const Vek::FieldDescriptor field{ row.id };
      return inspectOperation( type_, object(), &field, static_cast< U8 >( code ), arguments,
                               result );
   }

   // All attributes and members, and what was published.
   auto state() {
      std::vector< Members > members;
      type_.forEachField( [&]( const Field& row ) {
         if ( row.collection ) {
            members.push_back( membersOf( row, object() ) );
         }
      } );
      return std::tuple( attributesOf( type_, object() ), members,
                         changes_ ? changes_->take() : std::vector< Published >() );
   }

private:
   const Vek::TypeInfo& type_;
   Vek::Ptr< Vek::Entity > entity_;
   std::optional< PublishedChanges > changes_;
   std::optional< Value > value_;
};

// Visits the rows that reflection knows of types of which there can be values.
template < typename Check >
void forEachSubject( RandomValues& random, Check check ) {
   forEachType( [&]( const Vek::TypeInfo& type ) {
      if ( type.kind != Vek::TypeKind::utility && !type.rows.empty() ) {
         Subject subject( type, random );
         type.forEachField( [&]( const Field& row ) {
            if ( row.id != 256 && row.id != 257 ) {
               SCOPED_TRACE( Vek::concat( type.name, ' ', row.name ) );
               check( subject, row );
            }
         } );
      }
   } );
}

bool isScalar( const Field& row ) { return row.get != nullptr; }

TEST( InspectionLaws, OfAttributes ) {
   RandomValues random( 11 );
   forEachSubject( random, [&]( Subject& inspect, const Field& row ) {
      if ( !isScalar( row ) ) {
         return;
      }
      const Value got( *row.value, random );
      const Value stored( *row.value );
      for ( unsigned round = 0; round < 5; ++round ) {
         const Value value( *row.value, random );
         EXPECT_EQ( inspect( row, 1, { value.any() } ), row.set ? done : readOnly );
         EXPECT_EQ( inspect( row, 0, {}, got.any() ), done );
         row.get( inspect.object(), stored.get() );
         EXPECT_EQ( bytesOf( *row.value, got.get() ), bytesOf( *row.value, stored.get() ) );
         if ( row.set ) {
            EXPECT_EQ( bytesOf( *row.value, got.get() ), bytesOf( *row.value, value.get() ) );
         }
      }
   } );
}

// A type that no attribute has.
struct Stranger {
   static constexpr std::string_view typeName = "Test::Stranger";
};

TEST( InspectionLaws, OfRefusalsOnAttributes ) {
   RandomValues random( 12 );
   Stranger stranger;
   const Any wrong = Any::of( stranger );
   forEachSubject( random, [&]( Subject& inspect, const Field& row ) {
      if ( !isScalar( row ) ) {
         return;
      }
      const Value value( *row.value, random );
      const Any right = value.any();
      const Any none{ row.value, nullptr };
      inspect.state();
      const auto before = inspect.state();
      for ( const Any& result : { Any(), wrong, none } ) {
         EXPECT_EQ( inspect( row, 0, {}, result ), wrongArgument );
      }
      EXPECT_EQ( inspect( row, 0, { right }, right ), wrongArgument );
      for ( const Arguments& arguments :
            { Arguments{}, { wrong }, { none }, { Any() }, { right, right } } ) {
         EXPECT_EQ( inspect( row, 1, arguments ), row.set ? wrongArgument : readOnly );
      }
      for ( unsigned code = 2; code < 256; ++code ) {
         EXPECT_EQ( inspect( row, code, { right }, right ), noSuchOperation );
      }
      EXPECT_EQ( inspect.state(), before );
   } );
}

TEST( InspectionLaws, OfCollections ) {
   RandomValues random( 13 );
   forEachSubject( random, [&]( Subject& inspect, const Field& row ) {
      // Words of a key and positions of a vector have rules of their own.
      if ( !row.collection || !row.collection->walk ) {
         return;
      }
      for ( unsigned round = 0; round < 30; ++round ) {
         const Value key( *row.key, random );
         const bool keyed = row.value != nullptr;
         const Value value( keyed ? *row.value : *row.key, random );
         const void* const object = inspect.object();
         const auto count = [&] {
            U32 number = 9999;
            EXPECT_EQ( inspect( row, 2, {}, Any::of( number ) ), done );
            EXPECT_EQ( number, row.collection->size( object ) );
            return number;
         };
         const Arguments inserted =
            keyed ? Arguments{ key.any(), value.any() } : Arguments{ key.any() };
         const InspectAnswer answer = inspect( row, 0, inserted );
         if ( !row.collection->insert ) {
            EXPECT_EQ( answer, readOnly );
         } else if ( row.collection->find( object, key.get() ) ) {
            EXPECT_TRUE( answer == done || answer == wrongArgument );
         } else {
            EXPECT_EQ( answer, wrongArgument ) << "the key is not the value's own";
         }
         const void* const member = row.collection->find( object, key.get() );
         Vek::Ptr< Vek::Entity > entity;
         const Any found = row.kind == FieldKind::children ? Any::of( entity )
                           : keyed                         ? value.any()
                                                           : Any();
         EXPECT_EQ( inspect( row, 3, { key.any() }, found ), member ? done : absent );
         if ( member && row.kind == FieldKind::children ) {
            EXPECT_EQ( static_cast< const void* >( entity.get() ), member );
         } else if ( member && keyed ) {
            EXPECT_EQ( bytesOf( *row.value, value.get() ), bytesOf( *row.value, member ) );
         }
         std::vector< std::string > keys;
         row.collection->visit( object, [&]( const void* each, const void* ) {
            keys.push_back( bytesOf( *row.key, each ) );
         } );
         const U32 size = count();
         ASSERT_EQ( keys.size(), size );
         const Value at( *row.key );
         for ( U32 position = 0; position < size; ++position ) {
            EXPECT_EQ( inspect( row, 4, { Any::of( position ) }, at.any() ), done );
            EXPECT_EQ( bytesOf( *row.key, at.get() ), keys[position] );
         }
         U32 behind = size;
         EXPECT_EQ( inspect( row, 4, { Any::of( behind ) }, at.any() ), absent );
         if ( row.collection->erase && random.oneIn( 2 ) ) {
            EXPECT_EQ( inspect( row, 1, { key.any() } ), done );
            EXPECT_EQ( row.collection->find( object, key.get() ), nullptr );
            EXPECT_EQ( count(), size - ( member ? 1 : 0 ) );
         }
      }
   } );
}

TEST( InspectionLaws, OfRefusalsOnCollections ) {
   RandomValues random( 14 );
   Stranger stranger;
   const Any wrong = Any::of( stranger );
   forEachSubject( random, [&]( Subject& inspect, const Field& row ) {
      if ( !row.collection ) {
         return;
      }
      const Value keyValue( *row.key, random );
      const Any key = keyValue.any();
      const Value memberValue( row.value ? *row.value : *row.key, random );
      const Any member = memberValue.any();
      U32 number = 0;
      inspect.state();
      const auto before = inspect.state();
      std::vector< Arguments > insertions = { {}, { wrong }, { key, member, member } };
      if ( row.value ) {
         insertions.insert( insertions.end(), { { key }, { wrong, member }, { key, wrong } } );
      } else {
         insertions.push_back( { key, key } );
      }
      for ( const Arguments& arguments : insertions ) {
         EXPECT_EQ( inspect( row, 0, arguments ), wrongArgument );
      }
      for ( const Arguments& arguments : { Arguments{}, { wrong }, { key, key } } ) {
         EXPECT_EQ( inspect( row, 1, arguments ), wrongArgument );
         EXPECT_EQ( inspect( row, 3, arguments, member ), wrongArgument );
      }
      EXPECT_EQ( inspect( row, 2 ), wrongArgument );
      EXPECT_EQ( inspect( row, 2, {}, wrong ), wrongArgument );
      EXPECT_EQ( inspect( row, 2, { key }, Any::of( number ) ), wrongArgument );
      if ( row.value || row.kind == FieldKind::children ) {
         EXPECT_EQ( inspect( row, 3, { key }, wrong ), wrongArgument );
         EXPECT_EQ( inspect( row, 3, { key } ), wrongArgument );
      }
      EXPECT_EQ( inspect( row, 4, {}, key ), wrongArgument );
      EXPECT_EQ( inspect( row, 4, { wrong }, key ), wrongArgument );
      EXPECT_EQ( inspect( row, 4, { Any::of( number ) }, wrong ), wrongArgument );
      EXPECT_EQ( inspect( row, 4, { Any::of( number ) } ), wrongArgument );
      for ( unsigned code = 5; code < 256; ++code ) {
         EXPECT_EQ( inspect( row, code, { key }, member ), noSuchOperation );
      }
      EXPECT_EQ( inspect.state(), before );
   } );
}

TEST( InspectionLaws, OfRefusalsOnOperations ) {
   RandomValues random( 15 );
   Stranger stranger;
   const Any wrong = Any::of( stranger );
   forEachSubject( random, [&]( Subject& inspect, const Field& row ) {
      if ( !row.operation ) {
         return;
      }
      const std::size_t count = row.operation->parameters.size();
      inspect.state();
      const auto before = inspect.state();
      EXPECT_EQ( inspect( row, 0, Arguments( count + 1, wrong ), wrong ), wrongArgument );
      if ( count > 0 || row.operation->result ) {
         EXPECT_EQ( inspect( row, 0, Arguments( count, wrong ), wrong ), wrongArgument );
      }
      for ( unsigned code = 1; code < 256; ++code ) {
         EXPECT_EQ( inspect( row, code, Arguments( count, wrong ), wrong ), noSuchOperation );
      }
      EXPECT_EQ( inspect.state(), before );
   } );
}

TEST( InspectionLaws, OfIdsThatNoRowHas ) {
   RandomValues random( 16 );
   forEachType( [&]( const Vek::TypeInfo& type ) {
      if ( type.kind == Vek::TypeKind::utility || type.rows.empty() ) {
         return;
      }
      SCOPED_TRACE( type.name );
      Subject inspect( type, random );
      const auto before = inspect.state();
      U64 value = 5;
      for ( unsigned id = 0; id < 300; ++id ) {
         const bool ofBase = type.isEntity() && id < Vek::Entity::firstOwnField;
         if ( !type.field( static_cast< U16 >( id ) ) || ofBase ) {
            Field row;
            row.id = static_cast< U16 >( id );
            for ( unsigned code = 0; code < 6; ++code ) {
               EXPECT_EQ( inspect( row, code, { Any::of( value ) }, Any::of( value ) ),
                          noSuchField );
            }
         }
      }
      EXPECT_EQ( inspect.state(), before );
   } );
}

// Codes on a value as a whole.
TEST( InspectionLaws, OfValues ) {
   RandomValues random( 17 );
   unsigned types = 0;
   forEachType( [&]( const Vek::TypeInfo& type ) {
      if ( !type.value || !type.value->equal || !type.value->construct ||
           type.name == "Vek::String" || type.kind == Vek::TypeKind::utility ||
           type.name == "char" ) {
         return;
      }
      SCOPED_TRACE( type.name );
      ++types;
      const auto whole = [&]( const Value& value, unsigned code, const Arguments& arguments,
                              Any result ) {
         return inspectOperation( type, value.get(), nullptr, static_cast< U8 >( code ), arguments,
                                  result );
      };
      const Value none( *type.value );
      U32 wrong = 1;
      for ( unsigned round = 0; round < 5; ++round ) {
         const Value value( *type.value, random );
         const Value other( *type.value, random );
         bool answer = false;
         EXPECT_EQ( whole( value, 11, {}, Any::of( answer ) ), done );
         EXPECT_EQ( answer, !type.value->equal( value.get(), none.get() ) ||
                               type.name == "Flowspec::CounterVersion" ||
                               type.name == "Osk::UniqueId" );
         EXPECT_EQ( whole( value, 12, { other.any() }, Any::of( answer ) ), done );
         EXPECT_EQ( answer, type.value->equal( value.get(), other.get() ) );
         EXPECT_EQ( whole( value, 12, { value.any() }, Any::of( answer ) ), done );
         EXPECT_TRUE( answer );
         EXPECT_EQ( whole( value, 11, {}, {} ), wrongArgument );
         EXPECT_EQ( whole( value, 11, {}, Any::of( wrong ) ), wrongArgument );
         EXPECT_EQ( whole( value, 11, { value.any() }, Any::of( answer ) ), wrongArgument );
         EXPECT_EQ( whole( value, 12, {}, Any::of( answer ) ), wrongArgument );
         EXPECT_EQ( whole( value, 12, { value.any(), value.any() }, Any::of( answer ) ),
                    wrongArgument );
         EXPECT_EQ( whole( value, 12, { value.any() }, {} ), wrongArgument );
         const Any ofNoType{ nullptr, value.any().value };
         const Any ofNoValue{ value.any().type, nullptr };
         EXPECT_EQ( whole( value, 12, { ofNoType }, Any::of( answer ) ), wrongArgument );
         EXPECT_EQ( whole( value, 12, { ofNoValue }, Any::of( answer ) ), wrongArgument );
         for ( unsigned code = 0; code < 256; ++code ) {
            if ( code != 11 && code != 12 ) {
               EXPECT_EQ( whole( value, code, { value.any() }, Any::of( answer ) ),
                          noSuchOperation );
            }
         }
      }
   } );
   EXPECT_GT( types, 40U );
}

} // namespace
} // namespace Flowspec
