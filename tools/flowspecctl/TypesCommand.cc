#include "Vek/types/TypeRegistry.h"
#include "forms/Diagnostics.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/Commands.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;

// The type of a field as a declaration would have it: "U32", "FlowspecKey -> RuleConfig", or the
// parameters and the result of an operation.
Vek::String typeOf( const Vek::Field& field ) {
   if ( field.operation ) {
      Vek::String text = "(";
      std::size_t i = 0;
      for ( const Vek::ValueType* const parameter : field.operation->parameters ) {
         text += Vek::concat( std::string_view( i == 0 ? " " : ", " ), parameter->name, ' ',
                              field.arguments[i] );
         ++i;
      }
      text += i == 0 ? ")" : " )";
      return field.value ? Vek::concat( text, " -> ", field.value->name ) : text;
   }
   if ( !field.key ) {
      return Vek::String( field.shownType() );
   }
   return field.shownType().empty() ? Vek::concat( "set of ", field.key->name )
                                    : Vek::concat( field.key->name, " -> ", field.shownType() );
}

Json fieldJson( const Vek::Field& field ) {
   return { { "id", field.id },
            { "name", field.name },
            { "kind", Vek::stringValue( field.kind ) },
            { "type", typeOf( field ) } };
}

Json typeJson( const Vek::TypeInfo& type ) {
   Json json{ { "name", type.name }, { "kind", Vek::stringValue( type.kind ) } };
   if ( type.isEntity() ) {
      json["constructor"] = Json::array();
      for ( const Vek::ValueType* const parameter : type.parameters ) {
         json["constructor"].push_back( parameter->name );
      }
   }
   Json fields = Json::array();
   type.forEachField( [&]( const Vek::Field& field ) { fields.push_back( fieldJson( field ) ); } );
   std::stable_sort( fields.begin(), fields.end(),
                     []( const Json& a, const Json& b ) { return a["id"] < b["id"]; } );
   json["fields"] = std::move( fields );
   if ( type.enumeration ) {
      Json names = Json::array();
      for ( std::size_t i = 0; i < type.enumeration->count; ++i ) {
         const Vek::Enumerator& row = type.enumeration->rows[i];
         names.push_back( { { "number", row.number }, { "name", row.name } } );
      }
      json["enumerators"] = std::move( names );
   }
   return json;
}

Json moduleJson( const Vek::Module& module ) {
   Json json{ { "name", module.name() }, { "needs", Json::array() }, { "types", Json::array() } };
   for ( const std::string_view name : module.needs() ) {
      json["needs"].push_back( name );
   }
   for ( const Vek::TypeInfo* const type : module.types() ) {
      json["types"].push_back( typeJson( *type ) );
   }
   return json;
}

Vek::String text( const Json& json ) {
   return json.is_string() ? json.get< Vek::String >() : json.dump();
}

void appendType( Vek::String& out, const Json& type ) {
   out += Vek::concat( "\n### ", text( type["name"] ), "\n\n", text( type["kind"] ) );
   if ( type.contains( "constructor" ) ) {
      const char* separator = ", made from ";
      for ( const Json& parameter : type["constructor"] ) {
         out += separator + text( parameter );
         separator = ", ";
      }
   }
   out += '\n';
   if ( !type["fields"].empty() ) {
      out += "\n| id | name | kind | type |\n|---|---|---|---|\n";
      for ( const Json& field : type["fields"] ) {
         out += Vek::concat( "| ", text( field["id"] ), " | `", text( field["name"] ), "` | ",
                             text( field["kind"] ), " | ", text( field["type"] ), " |\n" );
      }
   }
   if ( type.contains( "enumerators" ) ) {
      out += "\n| number | name |\n|---|---|\n";
      for ( const Json& row : type["enumerators"] ) {
         out += Vek::concat( "| ", text( row["number"] ), " | `", text( row["name"] ), "` |\n" );
      }
   }
}

void appendModule( Vek::String& out, const Json& module ) {
   out += Vek::concat( "\n## Module ", text( module["name"] ), '\n' );
   const char* separator = "\nNeeds ";
   for ( const Json& name : module["needs"] ) {
      out += Vek::concat( std::string_view( separator ), '`', text( name ), '`' );
      separator = ", ";
   }
   out += module["needs"].empty() ? "" : "\n";
   for ( const Json& type : module["types"] ) {
      appendType( out, type );
   }
}

bool writeOne( const Vek::String& typeName, bool json, Output& output ) {
   const Vek::TypeInfo* const type = Vek::TypeRegistry::find( typeName );
   if ( !type ) {
      reportFile( "flowspecctl",
                  Vek::concat( "no module has the type '", printable( typeName ), "'" ) );
      return false;
   }
   if ( json ) {
      output.text() += typeJson( *type ).dump( 2 ) + '\n';
   } else {
      appendType( output.text(), typeJson( *type ) );
      output.text().erase( 0, 1 );
   }
   return true;
}

struct TypesOptions {
   Vek::String type; // all when it is empty
   bool json = false;
};

bool showTypes( const TypesOptions& options, Output& output ) {
   const auto& [typeName, json] = options;
   if ( !typeName.empty() ) {
      return writeOne( typeName, json, output );
   }
   Json modules = Json::array();
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      modules.push_back( moduleJson( *module ) );
   }
   Vek::String& out = output.text();
   if ( json ) {
      out += Json{ { "modules", modules } }.dump( 2 ) + '\n';
      return true;
   }
   out += "# Types\n\nThe modules of the type registry, as `flowspecctl types` prints them.\n";
   for ( const Json& module : modules ) {
      appendModule( out, module );
   }
   return true;
}

} // namespace

Run addTypes( CLI::App& command ) {
   const auto options = std::make_shared< TypesOptions >();
   command.add_option( "TYPE", options->type, "Name of a type, such as Flowspec::RuleConfig" )
      ->type_name( "" );
   command.add_flag( "--json", options->json, "As one JSON object" );
   return [options]( Output& output ) { return showTypes( *options, output ); };
}

} // namespace Tools
