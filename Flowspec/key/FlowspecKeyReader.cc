#include "Flowspec/key/FlowspecKeyReader.h"

#include "Flowspec/key/CliReader.h"
#include "Flowspec/key/ValueReader.h"
#include "Flowspec/vocab/TraceHandle.h"
#include "Osk/Assert.h"

#include <algorithm>

namespace Flowspec {

namespace {

KeyTextError error( const ReadFailure& failure, std::string_view text ) {
   return { failure.text(), static_cast< std::size_t >( failure.where - text.data() ) };
}

// Takes "RD:" and the distinguisher off the front; `offset` is that of the command-line form.
bool readRd( std::string_view text, Zorv::RouteDistinguisher& rd, std::size_t& offset,
             ReadFailure& failure ) {
   constexpr std::string_view anchor = FlowspecKey::cliStrRdAnchor();
   if ( !text.starts_with( anchor ) ) {
      failure.where = text.data();
      failure.message = "Did not find route distinguisher anchor ";
      failure.subject = text;
      return false;
   }
   FieldReader fields( text.substr( anchor.size() ) );
   std::string_view field;
   if ( !fields.next( field ) ) {
      failure.where = text.data() + text.size();
      failure.message = "Did not find route distinguisher";
      failure.subject = text;
      return false;
   }
   const auto parsed = Zorv::RouteDistinguisher::fromText( field );
   if ( !parsed ) {
      failure.where = field.data();
      failure.message = "Could not parse route distinguisher ";
      failure.subject = field;
      failure.cause = Zorv::RouteDistinguisher::badTextMessage;
      failure.causeSubject = field;
      return false;
   }
   rd = *parsed;
   offset = anchor.size() + field.size() + 1;
   return true;
}

// Does what an operation that asserts does about a failure; returns after a trace record.
void raise( const ReadFailure& failure, const char* function ) {
   switch ( failure.kind ) {
   case ReadFailure::Kind::text:
      if ( traceHandle.levelIsOn( 2 ) ) {
         traceHandle.write( 2, __LINE__, function, failure.text() );
      }
      return;
   case ReadFailure::Kind::assertion:
      Osk::assertionFailed( OSK_MODULE, failure.assertion, function );
   case ReadFailure::Kind::notANumber:
      throw std::invalid_argument( "stol" );
   case ReadFailure::Kind::numberTooLarge:
      throw std::out_of_range( "stol" );
   case ReadFailure::Kind::indexTooLarge:
      MatchOpValIndex::throwOutOfRange();
   case ReadFailure::Kind::valueTooLong:
      Osk::assertionFailed( OSK_MODULE, "byteLength < 8", function );
   }
}

bool copyInCli( FlowspecKey& key, std::string_view text, std::size_t offset,
                bool includesValueLength ) {
   static constexpr const char* function = "copyInStrCliAtOffset";
   if ( traceHandle.levelIsOn( 8 ) ) {
      traceHandle.write( 8, __LINE__, function,
                         Vek::concat( function, " constructing match components at offset ", offset,
                                      " from ", text ) );
   }
   ReadFailure failure;
   if ( readCli( text, offset, includesValueLength, key, failure ) ) {
      return true;
   }
   raise( failure, function );
   return false;
}

std::string_view withoutEnd( std::string_view text ) {
   text.remove_suffix( text.ends_with( '@' ) );
   return text;
}

} // namespace

KeyTextResult readStrCli( std::string_view text, bool includesValueLength, FlowspecKey& key ) {
   ReadFailure failure;
   if ( readCli( text, 0, includesValueLength, key, failure ) ) {
      return std::nullopt;
   }
   return error( failure, text );
}

KeyTextResult readStrCliWithRd( std::string_view text, bool includesValueLength,
                                Zorv::RouteDistinguisher& rd, FlowspecKey& key ) {
   ReadFailure failure;
   std::size_t offset = 0;
   if ( readRd( text, rd, offset, failure ) &&
        readCli( text, offset, includesValueLength, key, failure ) ) {
      return std::nullopt;
   }
   return error( failure, text );
}

KeyTextResult readStringValue( std::string_view text, FlowspecKey& key ) {
   ReadFailure failure;
   std::string_view rest;
   if ( readValueHead( text, key, rest, failure ) && readCli( rest, 0, true, key, failure ) ) {
      return std::nullopt;
   }
   return error( failure, text );
}

KeyTextResult readInterfaceSet( std::string_view text, FlowspecKey& key ) {
   if ( !text.starts_with( interfaceSetAnchor ) ) {
      return KeyTextError{ Vek::concat( "Did not find ", interfaceSetAnchor, " in ", text ), 0 };
   }
   ReadFailure failure;
   std::size_t end = 0;
   if ( readInterfaceSetList( text, maxInterfaceSetId, key, end, failure ) ) {
      return std::nullopt;
   }
   return error( failure, text );
}

KeyTextResult readStrep( std::string_view text, FlowspecKey& key ) {
   ReadFailure failure;
   if ( readDiagnostic( withoutEnd( text ), key, failure ) ) {
      return std::nullopt;
   }
   return error( failure, text );
}

std::optional< UnprintableTerm > unprintableTerm( const FlowspecKey& key ) {
   const U32 count = key.matchOpVals();
   for ( U32 index = 0; index < count; ) {
      const U16 at = static_cast< U16 >( index );
      const MatchOpVal word = key.matchOpVal( index );
      if ( static_cast< U8 >( word.matchType() ) >= numComponentTypes ) {
         return UnprintableTerm{ at, "its component type is not known" };
      }
      if ( word.byteLength() == 8 ) {
         return UnprintableTerm{ at, "its value has 8 bytes" };
      }
      index += word.byteLength() == 4 ? 2 : 1;
      if ( index > MatchOpValIndex::max() ) {
         return UnprintableTerm{ at, "it ends above index 2047" };
      }
      if ( index > count ) {
         return UnprintableTerm{ at, "the second half of its value is missing" };
      }
   }
   return std::nullopt;
}

bool FlowspecKey::copyInStrCli( std::string_view text, bool includesValueLength ) {
   return copyInStrCliAtOffset( text, 0, includesValueLength );
}

bool FlowspecKey::copyInStrCliAtOffset( std::string_view text, U32 offset,
                                        bool includesValueLength ) {
   return copyInCli( *this, text, offset, includesValueLength );
}

Zorv::RouteDistinguisher FlowspecKey::copyInStrCliWithRd( std::string_view text,
                                                          bool includesValueLength ) {
   ReadFailure failure;
   Zorv::RouteDistinguisher rd;
   std::size_t offset = 0;
   if ( !readRd( text, rd, offset, failure ) ) {
      raise( failure, __func__ );
      return {};
   }
   return copyInCli( *this, text, offset, includesValueLength ) ? rd : Zorv::RouteDistinguisher();
}

void FlowspecKey::copyInStringValue( std::string_view text ) {
   VEK_TRACE( traceHandle, 8, "copyInStringValue", "Parsing arg ", text );
   ReadFailure failure;
   std::string_view rest;
   if ( !readValueHead( text, *this, rest, failure ) ) {
      raise( failure, __func__ );
   }
   const bool copied = copyInCli( *this, rest, 0, true );
   OSK_ASSERT( copied, "copyInStrCli( compString, true )" );
}

void FlowspecKey::copyInStr( std::string_view text ) {
   FlowspecKey key;
   ReadFailure failure;
   if ( !readDiagnostic( withoutEnd( text ), key, failure ) ) {
      if ( failure.kind == ReadFailure::Kind::indexTooLarge ) {
         MatchOpValIndex::throwOutOfRange();
      }
      Vek::throwRange(
         Vek::concat( "Flowspec::FlowspecKey: '", text, "' is not a key: ", failure.text() ) );
   }
   copyIn( key );
}

void sequenceToValue( Vek::CharRange& range, FlowspecKey* key ) {
   const std::size_t end = range.rest().find( '@' );
   key->copyInStr( range.take( std::min( end, range.rest().size() - 1 ) + 1 ) );
}

std::size_t flowspecKeyCopyInInterfaceSet( std::string_view text, FlowspecKey& key ) {
   ReadFailure failure;
   std::size_t end = 0;
   if ( !readInterfaceSetList( text, maxInterfaceSetId, key, end, failure ) ) {
      raise( failure, __func__ );
   }
   return end;
}

} // namespace Flowspec
