#include "tests/support/Folder.h"
#include "tests/support/Registered.h"

#include <algorithm>
#include <regex>
#include <set>

#include <gmock/gmock.h>

/// The lists of types and attributes in the Wireshark dissector are those of the registry.

namespace {

using testing::ElementsAreArray;
using TestSupport::forEachType;
using Vek::Field;
using Vek::FieldKind;
using Names = std::vector< std::string >;

// What the dissector's source says of the reader of one type.
struct Reader {
   std::string kind; ///< "record", "flags", "enumeration", the type whose reader it is, or ""
   std::string text;

   // The first group of every match.
   Names all( const char* pattern ) const {
      Names found;
      const std::regex regex( pattern );
      for ( std::sregex_iterator at( text.begin(), text.end(), regex ), end; at != end; ++at ) {
         found.push_back( ( *at )[1] );
      }
      return found;
   }
};

std::map< std::string, Reader, std::less<> > readers() {
   const std::string source = TestSupport::contents( "tools/wireshark/attribute-log.lua" );
   static const std::regex begin(
      "\nreaders\\[\"([^\"]+)\"\\] = (?:(record|flags|enumeration)|readers\\[\"([^\"]+)\"\\])?" );
   std::map< std::string, Reader, std::less<> > found;
   for ( std::sregex_iterator at( source.begin(), source.end(), begin ), end; at != end; ++at ) {
      const std::smatch& match = *at;
      const auto from = static_cast< std::size_t >( match.position() + match.length() );
      const std::size_t to =
         std::min( source.find( "\nreaders[", from ), source.find( "\n\n", from ) );
      found[match[1]] = { match[2].matched ? match[2].str() : match[3].str(),
                          source.substr( from, to - from ) };
   }
   return found;
}

// The types of all that is streamed of entities, and of what these are made of.
std::set< std::string > streamed() {
   std::set< std::string > names;
   const auto add = [&]( const auto& self, const Vek::ValueType* type ) -> void {
      if ( type && type->logWrite && names.insert( std::string( type->name ) ).second ) {
         const Vek::TypeInfo* const info = Vek::TypeRegistry::find( type->name );
         for ( const Field& row : info ? info->rows : std::span< const Field >() ) {
            if ( row.kind <= FieldKind::attribute && info->kind == Vek::TypeKind::value ) {
               self( self, row.value );
            }
         }
      }
   };
   forEachType( [&]( const Vek::TypeInfo& type ) {
      if ( type.isEntity() ) {
         type.forEachField( [&]( const Field& row ) {
            if ( row.kind == FieldKind::key || row.kind == FieldKind::attribute ||
                 row.kind == FieldKind::collection || row.kind == FieldKind::children ) {
               add( add, row.key );
               add( add, row.value );
            }
         } );
      }
   } );
   return names;
}

TEST( DissectorReaders, AreThereForAllThatIsStreamed ) {
   const auto known = readers();
   ASSERT_GT( known.size(), 30U );
   for ( const std::string& name : streamed() ) {
      EXPECT_TRUE( known.contains( name ) ) << name;
   }
}

TEST( DissectorReaders, ListTheEnumeratorsAndFlags ) {
   unsigned lists = 0;
   for ( const auto& [name, reader] : readers() ) {
      SCOPED_TRACE( name );
      const Vek::TypeInfo* const type = Vek::TypeRegistry::find( name );
      if ( !type || ( reader.kind != "enumeration" && reader.kind != "flags" ) ) {
         continue;
      }
      Names expected;
      if ( type->enumeration ) {
         for ( std::size_t i = 0; i < type->enumeration->count; ++i ) {
            expected.emplace_back( type->enumeration->rows[i].name );
         }
      } else if ( reader.kind == "flags" ) {
         for ( const Field& row : type->rows ) {
            expected.emplace_back( row.name );
         }
      } else {
         continue; // the names of a type whose registry entry has none
      }
      ++lists;
      EXPECT_THAT( reader.all( "\"(\\w+)\"" ), ElementsAreArray( expected ) );
   }
   EXPECT_EQ( lists, 8U );
}

TEST( DissectorReaders, ListTheAttributesOfValues ) {
   const auto known = readers();
   unsigned records = 0;
   for ( const auto& [name, reader] : known ) {
      if ( reader.kind != "record" ) {
         continue;
      }
      ++records;
      SCOPED_TRACE( name );
      const Vek::TypeInfo* const type = Vek::TypeRegistry::find( name );
      ASSERT_NE( type, nullptr );
      Names attributes;
      Names types;
      for ( const Field& row : type->rows ) {
         if ( row.kind == FieldKind::key || row.kind == FieldKind::attribute ||
              row.kind == FieldKind::collection ) {
            attributes.emplace_back( row.name );
            if ( row.kind != FieldKind::collection ) {
               const auto alias = known.find( row.value->name );
               const bool isNumber = alias != known.end() && alias->second.kind == "U16";
               types.emplace_back( isNumber ? alias->second.kind : row.value->name );
            }
         }
      }
      EXPECT_THAT( reader.all( "\\{ \"(\\w+)\", (?:\"|members|function)" ),
                   ElementsAreArray( attributes ) );
      EXPECT_THAT( reader.all( "\\{ \"\\w+\", \"([\\w:]+)\" \\}" ), ElementsAreArray( types ) );
   }
   EXPECT_EQ( records, 15U );
}

} // namespace
