#include "Vek/log/Schema.h"

#include "Vek/Printable.h"
#include "Vek/TypeRegistry.h"
#include "Vek/log/StreamType.h"

#include <map>

namespace Vek::log {

namespace {

void writeRow( TextWriter& out, const Field& row ) {
   out << "  " << row.id << ' ' << row.name << ' ' << stringValue( row.kind ) << ' ';
   if ( row.key ) {
      out << row.key->name << " -> ";
   }
   out << ( row.value || !row.typeName.empty() ? row.shownType() : "nothing" ) << '\n';
}

void writeType( TextWriter& out, const TypeInfo& info ) {
   out << info.name << ' ' << stringValue( info.kind ) << " (";
   std::string_view separator;
   for ( const ValueType* const parameter : info.parameters ) {
      out << separator << parameter->name;
      separator = ", ";
   }
   out << ")\n";
   if ( info.isEntity() ) {
      const StreamType type( info );
      for ( const Field* const row : type.rows() ) {
         writeRow( out, *row );
      }
      return;
   }
   info.forEachField( [&]( const Field& row ) {
      if ( row.kind == FieldKind::collection ) {
         writeRow( out, row );
      }
   } );
}

// The lines of each type, by its name.
std::map< std::string_view, std::string_view > blocks( std::string_view text ) {
   std::map< std::string_view, std::string_view > result;
   while ( !text.empty() ) {
      std::size_t end = text.find( '\n' );
      while ( end != std::string_view::npos && end + 1 < text.size() && text[end + 1] == ' ' ) {
         end = text.find( '\n', end + 1 );
      }
      const std::string_view block = text.substr( 0, end );
      result.emplace( block.substr( 0, block.find( ' ' ) ), block );
      text.remove_prefix( std::min( block.size() + 1, text.size() ) );
   }
   return result;
}

std::string_view takeLine( std::string_view& text ) {
   const std::string_view line = text.substr( 0, text.find( '\n' ) );
   text.remove_prefix( std::min( line.size() + 1, text.size() ) );
   return line.substr( std::min( line.find_first_not_of( ' ' ), line.size() ) );
}

String textOf( std::span< const Module* const > modules ) {
   std::map< std::string_view, const TypeInfo* > types;
   for ( const Module* const module : modules ) {
      for ( const TypeInfo* const info : module->types() ) {
         if ( info->isEntity() || info->kind == TypeKind::value ) {
            types.emplace( info->name, info );
         }
      }
   }
   String text;
   TextWriter out( text );
   for ( const auto& [name, info] : types ) {
      writeType( out, *info );
   }
   out.flush();
   return text;
}

} // namespace

const String& typesText() {
   // Every connection asks for it, and it changes with the loaded modules only.
   thread_local std::vector< const Module* > described;
   thread_local String text;
   auto modules = TypeRegistry::modules();
   if ( modules != described ) {
      text = textOf( modules );
      described = std::move( modules );
   }
   return text;
}

U64 typesDigest( std::string_view text ) {
   U64 digest = 0xCBF29CE484222325;
   for ( const char c : text ) {
      digest = ( digest ^ static_cast< U8 >( c ) ) * 0x100000001B3;
   }
   return digest;
}

String typesDifference( std::string_view theirs ) {
   const String& text = typesText();
   if ( theirs == text ) {
      return {};
   }
   const auto ours = blocks( text );
   for ( auto [name, block] : blocks( theirs ) ) {
      const auto own = ours.find( name );
      if ( own == ours.end() ) {
         return concat( "the peer has a type ", printable( name ), ", which this process has not" );
      }
      std::string_view ownBlock = own->second;
      while ( !block.empty() || !ownBlock.empty() ) {
         const std::string_view line = takeLine( block );
         const std::string_view ownLine = takeLine( ownBlock );
         if ( line != ownLine ) {
            return concat( name, " is different: '", printable( line ), "' at the peer, '", ownLine,
                           "' in this process" );
         }
      }
   }
   return {};
}

} // namespace Vek::log
