#include "Vek/log/Schema.h"

#include "Vek/log/StreamType.h"
#include "Vek/text/Printable.h"
#include "Vek/types/TypeRegistry.h"

#include <algorithm>
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

// Takes a line off, with its end.
std::string_view takeLine( std::string_view& text ) {
   const std::string_view line = text.substr( 0, text.find( '\n' ) + 1 );
   text.remove_prefix( line.size() );
   return line;
}

// Takes the lines of a type off.
std::string_view takeBlock( std::string_view& text ) {
   const std::string_view all = text;
   takeLine( text );
   while ( text.starts_with( ' ' ) ) {
      takeLine( text );
   }
   return all.substr( 0, all.size() - text.size() );
}

std::string_view nameOf( std::string_view block ) {
   return block.substr( 0, block.find_first_of( " \n" ) );
}

// The lines of each type, by its name.
using Blocks = std::map< std::string_view, std::string_view >;

Blocks blocksOf( std::string_view text ) {
   Blocks blocks;
   while ( !text.empty() ) {
      const std::string_view block = takeBlock( text );
      blocks.emplace( nameOf( block ), block );
   }
   return blocks;
}

// A line as it is shown: without its indentation and its end.
String shown( std::string_view line ) {
   line.remove_prefix( line.starts_with( "  " ) ? 2 : 0 );
   line.remove_suffix( line.ends_with( '\n' ) );
   return printable( line );
}

String firstDifference( std::string_view name, std::string_view theirs, std::string_view ours ) {
   std::string_view line;
   std::string_view ownLine;
   do {
      line = takeLine( theirs );
      ownLine = takeLine( ours );
   } while ( line == ownLine );
   return concat( name, " is different: '", shown( line ), "' at the peer, '", shown( ownLine ),
                  "' in this process" );
}

// Calls with every name in the lines of a type.
template < typename Visit >
void forEachName( std::string_view block, Visit visit ) {
   while ( !block.empty() ) {
      const std::size_t length = std::min( block.find_first_of( " ,()\n" ), block.size() );
      visit( block.substr( 0, length ) );
      block.remove_prefix( std::min( length + 1, block.size() ) );
   }
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

String typesTextOf( std::string_view type ) {
   const Blocks all = blocksOf( typesText() );
   Blocks told;
   std::vector< std::string_view > waiting{ type };
   while ( !waiting.empty() ) {
      const auto block = all.find( waiting.back() );
      waiting.pop_back();
      if ( block != all.end() && told.insert( *block ).second ) {
         forEachName( block->second, [&]( std::string_view name ) { waiting.push_back( name ); } );
      }
   }
   String text;
   for ( const auto& [name, block] : told ) {
      text += block;
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
   if ( !theirs.empty() && !theirs.ends_with( '\n' ) ) {
      return "the text of the types does not end with the end of a line";
   }
   const Blocks ours = blocksOf( typesText() );
   Blocks told; // of the types that this process has, too
   std::string_view last;
   while ( !theirs.empty() ) {
      const std::string_view block = takeBlock( theirs );
      const std::string_view name = nameOf( block );
      if ( name <= last ) {
         return last.empty() ? "the text of the types begins without a name"
                             : concat( "the types do not ascend: ", printable( name ), " after ",
                                       printable( last ) );
      }
      last = name;
      const auto own = ours.find( name );
      if ( own == ours.end() ) {
         continue;
      }
      if ( block != own->second ) {
         return firstDifference( name, block, own->second );
      }
      told.emplace_hint( told.end(), name, block );
   }
   String difference;
   for ( const auto& [name, block] : told ) {
      forEachName( block, [&, &type = name]( std::string_view part ) {
         if ( difference.empty() && ours.contains( part ) && !told.contains( part ) ) {
            difference =
               concat( "the peer tells of ", type, ", but not of ", part, ", which is in it" );
         }
      } );
   }
   return difference;
}

bool typesTell( std::string_view text, std::string_view name ) {
   const String line = concat( '\n', name, ' ' );
   return text.starts_with( std::string_view( line ).substr( 1 ) ) ||
          text.find( line ) != std::string_view::npos;
}

} // namespace Vek::log
