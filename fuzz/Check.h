#pragma once

#include "Flowspec/key/FlowspecKeyReader.h"

#include <cstdio>
#include <cstdlib>

/// What the fuzz targets have in common. A condition that does not hold ends the process, which is
/// what the fuzzer looks for.
namespace Fuzz {

inline void require( bool holds, const char* what ) {
   if ( !holds ) {
      std::fprintf( stderr, "does not hold: %s\n", what );
      std::abort();
   }
}

inline std::string_view text( const std::uint8_t* data, std::size_t size ) {
   return { reinterpret_cast< const char* >( data ), size };
}

/// A failed reader points into the text, or right after it, and says something.
inline void checkError( const Flowspec::KeyTextError& error, std::string_view text ) {
   require( error.offset <= text.size(), "the offset is inside the text" );
   require( !error.message.empty(), "an error has a message" );
}

/// Whether no value is wider than its length says: of a value of one byte a reader keeps the low
/// one.
inline bool valuesFit( const Flowspec::FlowspecKey& key ) {
   for ( const auto& [index, word] : key.matchOpVal() ) {
      if ( word.byteLength() == 1 && word.val() > 0xFF ) {
         return false;
      }
   }
   return true;
}

/// Writes a key in every form and reads it back. What the command-line form keeps of a key it keeps
/// for good: its text is the same after a second round, and so is the key.
inline void checkForms( const Flowspec::FlowspecKey& key ) {
   using Flowspec::FlowspecKey;
   if ( key.matchOpVals() <= Flowspec::MatchOpValIndex::max() ) {
      FlowspecKey again;
      require( !Flowspec::readStrep( key.toStrep(), again ), "the diagnostic form reads back" );
      require( again == key && again.hash() == key.hash(), "the diagnostic form keeps the key" );
   }
   if ( Flowspec::unprintableTerm( key ) ) {
      return;
   }
   const Vek::String once = key.toStrepCli( true );
   require( !key.toStrepCliDetail().empty(), "the detail form can be written" );
   FlowspecKey read;
   if ( Flowspec::readStrCli( once, true, read ) ) {
      return; // types that have no label to be read by
   }
   require( !valuesFit( key ) || read.toStrepCli( true ) == once,
            "the command-line form is the same again" );
   FlowspecKey twice;
   require( !Flowspec::readStrCli( read.toStrepCli( true ), true, twice ) && twice == read,
            "a key that was read reads back" );
}

} // namespace Fuzz
