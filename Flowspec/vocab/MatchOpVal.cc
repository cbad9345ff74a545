#include "Flowspec/vocab/MatchOpVal.h"

#include "Flowspec/vocab/BitMask.h"
#include "Flowspec/vocab/TermText.h"
#include "Osk/Assert.h"

#include <algorithm>

namespace Flowspec {

namespace {

// What the diagnostic forms of a word and of a term have in common.
template < typename T >
void writeFlags( Vek::TextWriter& out, const T& term ) {
   out << "<matchType=" << stringValue( term.matchType() )
       << ";andPrevious=" << int{ term.andPrevious() } << ";lt=" << int{ term.lt() }
       << ";gt=" << int{ term.gt() } << ";eq=" << int{ term.eq() }
       << ";invert=" << int{ term.invert() } << ";match=" << int{ term.match() };
}

template < typename Mask >
void writeMask( Vek::TextWriter& out, const MatchOpValResult& term ) {
   const U16 bits = static_cast< U16 >( term.val32() );
   writeStrepCli( out, Mask( true, term.invert() ? U16{ 0 } : bits, bits ) );
}

void writeComparison( Vek::TextWriter& out, const MatchOpValResult& term ) {
   static constexpr std::string_view texts[] = { "", "=", ">", ">=", "<", "<=", "<>", "<>=" };
   out << texts[term.op() & ( OpBits::lt | OpBits::gt | OpBits::eq )];
}

void writeTo( std::ostream& out, const Vek::String& text ) { Vek::writeText( out, text ); }

} // namespace

void MatchOpValIndex::throwOutOfRange() {
   Vek::throwRange( "Flowspec::MatchOpValIndex::value < Flowspec::MatchOpValIndex::min or > "
                    "Flowspec::MatchOpValIndex::max not allowed" );
}

void sequenceToValue( Vek::CharRange& range, MatchOpValIndex* value ) {
   const std::string_view digits = range.takeName();
   const bool areDigits = std::ranges::all_of( digits, Vek::isDigit );
   const bool hasLeadingZero = digits.size() > 1 && digits.front() == '0';
   if ( digits.empty() || !areDigits || hasLeadingZero ) {
      Vek::throwRange( Vek::concat( "Flowspec::MatchOpValIndex: '", digits, "' is not a number" ) );
   }
   // What 64 bits do not hold is above the largest index as well.
   *value = MatchOpValIndex( Vek::decimal( digits, ~U64{ 0 } ).value_or( ~U64{ 0 } ) );
}

Vek::String MatchOpVal::toStrep() const {
   Vek::String text;
   Vek::TextWriter out( text );
   writeFlags( out, *this );
   out << ";byteLength=" << byteLength() << ";val=0x";
   out.hex( val() ) << '>';
   out.flush();
   return text;
}

Vek::String MatchOpValResult::toStrep() const {
   Vek::String text;
   Vek::TextWriter out( text );
   writeFlags( out, *this );
   out << ";nextIndex=" << nextIndex_.value() << ";val32=0x";
   out.hex( val32_ ) << '>';
   out.flush();
   return text;
}

void requireLabel( MatchCompType compType ) {
   OSK_ASSERT( static_cast< U8 >( compType ) < numComponentTypes, "compType < numComponentTypes" );
}

void writeTermDetail( Vek::TextWriter& out, MatchOpValResult term, bool newComponent ) {
   if ( newComponent ) {
      requireLabel( term.matchType() );
      out << ';' << componentType( term.matchType() ).detailLabel << ": ";
   } else {
      out << ( term.andPrevious() ? " & " : " | " );
   }
   if ( !isBitfieldType( term.matchType() ) ) {
      writeComparison( out, term );
      out << term.val32();
      return;
   }
   out << ( term.match() ? "ALL(" : "ANY(" );
   if ( term.matchType() == tcpFlags ) {
      writeMask< TcpBitMask >( out, term );
   } else {
      writeMask< IpBitMask >( out, term );
   }
   out << ')';
}

void MatchOpValResult::formatForCli( std::ostream& out, bool newComponent,
                                     bool includeValueLength ) const {
   Vek::String text;
   Vek::TextWriter writer( text );
   writeTerm( writer, *this, newComponent, includeValueLength );
   writer.flush();
   writeTo( out, text );
}

void MatchOpValResult::formatForCliDetail( std::ostream& out, bool newComponent ) const {
   Vek::String text;
   Vek::TextWriter writer( text );
   writeTermDetail( writer, *this, newComponent );
   writer.flush();
   writeTo( out, text );
}

} // namespace Flowspec
