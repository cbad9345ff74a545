#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/vocab/TermText.h"

namespace Flowspec {

namespace {

void writePrefix( Vek::TextWriter& out, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      out << '*';
   } else {
      out << prefix;
   }
}

// The term at `index` as `getOptVal` gives it. Nearly all are one word, at the place of their
// index.
inline MatchOpValResult termAt( const FlowspecKey& key, MatchOpValIndex index ) {
   const auto words = key.matchOpVal().packed();
   const U16 at = index.value();
   if ( at >= words.size() ) {
      return MatchOpValResult();
   }
   const MatchOpVal word( static_cast< U32 >( words[at] ) );
   if ( words[at] >> 32 != at || word.byteLength() >= 4 ) [[unlikely]] {
      return key.getOptVal( index );
   }
   return MatchOpValResult( word.matchType(), word.op(), word.val(), MatchOpValIndex( at + 1U ) );
}

// Calls `write( term, newComponent )` for each term of the walk.
template < typename Write >
void writeTerms( const FlowspecKey& key, Write write ) {
   constexpr int none = -1;
   int component = none;
   MatchOpValIndex index = 0;
   for ( ;; ) {
      const MatchOpValResult term = termAt( key, index );
      if ( term.isEnd() ) {
         return;
      }
      const int type = static_cast< int >( term.matchType() );
      write( term, type != component );
      component = type;
      index = term.nextIndex();
   }
}

void writeCli( Vek::TextWriter& out, const FlowspecKey& key, bool includeValueLength ) {
   writePrefix( out, key.destPrefix() );
   out << FlowspecKey::compSeparator();
   writePrefix( out, key.srcPrefix() );
   writeTerms( key, [&]( const MatchOpValResult& term, bool newComponent ) {
      writeTerm( out, term, newComponent, includeValueLength );
   } );
   out << FlowspecKey::compSeparator();
}

void writeCliDetail( Vek::TextWriter& out, const FlowspecKey& key ) {
   out << "Destination Prefix: ";
   writePrefix( out, key.destPrefix() );
   out << ";Source Prefix: ";
   writePrefix( out, key.srcPrefix() );
   writeTerms( key, [&]( const MatchOpValResult& term, bool newComponent ) {
      writeTermDetail( out, term, newComponent );
   } );
   out << FlowspecKey::compSeparator();
}

void writeInterfaceSets( Vek::TextWriter& out, const FlowspecKey& key ) {
   if ( key.interfaceSets() == 0 ) {
      return;
   }
   out << interfaceSetAnchor << key.interfaceSet( 0 );
   for ( U32 i = 1; i < key.interfaceSets(); ++i ) {
      out << interfaceSetListDelim << key.interfaceSet( i );
   }
   out << FlowspecKey::compSeparator();
}

void writeStringValue( Vek::TextWriter& out, const FlowspecKey& key ) {
   out << key.vrfId() << FlowspecKey::compSeparator() << key.addressFamily()
       << FlowspecKey::compSeparator();
   writeInterfaceSets( out, key );
   writeCli( out, key, true );
}

void writeStrep( Vek::TextWriter& out, const FlowspecKey& key ) {
   constexpr char separator = FlowspecKey::compSeparator();
   if ( key.vrfId() != Vrf::VrfIdMap::invalid() ) {
      out << key.vrfId();
   }
   out << separator;
   if ( key.addressFamily() != Zorv::AddressFamily::none ) {
      out << key.addressFamily();
   }
   out << separator;
   writeInterfaceSets( out, key );
   out << key.destPrefix() << separator << key.srcPrefix() << separator;
   for ( U32 i = 0; i < key.matchOpVals(); i = MatchOpValIndex( i + 1 ).value() ) {
      out << key.matchOpVal( i ).storage() << separator;
   }
}

// The text that `write( writer )` writes, appended to a string or alone.
template < typename Write >
void append( Vek::String& text, Write write ) {
   Vek::TextWriter out( text );
   write( out );
}

template < typename Write >
Vek::String written( Write write ) {
   Vek::String text;
   append( text, write );
   return text;
}

template < typename Write >
void writeTo( std::ostream& stream, Write write ) {
   const Vek::String text = written( write );
   Vek::writeText( stream, text );
}

} // namespace

void FlowspecKey::appendStrepCli( Vek::String& out, bool includeValueLength ) const {
   append( out, [&]( Vek::TextWriter& w ) { writeCli( w, *this, includeValueLength ); } );
}

void FlowspecKey::appendStrepCliDetail( Vek::String& out ) const {
   append( out, [&]( Vek::TextWriter& w ) { writeCliDetail( w, *this ); } );
}

void FlowspecKey::appendStringValue( Vek::String& out ) const {
   append( out, [&]( Vek::TextWriter& w ) { writeStringValue( w, *this ); } );
}

void FlowspecKey::appendStrep( Vek::String& out ) const {
   append( out, [&]( Vek::TextWriter& w ) { writeStrep( w, *this ); } );
}

Vek::String FlowspecKey::toStrepCli( bool includeValueLength ) const {
   return written( [&]( Vek::TextWriter& w ) { writeCli( w, *this, includeValueLength ); } );
}

Vek::String FlowspecKey::toStrepCliWithRd( const Zorv::RouteDistinguisher& rd,
                                           bool includeValueLength ) const {
   return written( [&]( Vek::TextWriter& w ) {
      w << cliStrRdAnchor() << rd << compSeparator();
      writeCli( w, *this, includeValueLength );
   } );
}

Vek::String FlowspecKey::toStrepCliDetail() const {
   return written( [&]( Vek::TextWriter& w ) { writeCliDetail( w, *this ); } );
}

Vek::String FlowspecKey::toStrepCliDetailWithRd( const Zorv::RouteDistinguisher& rd ) const {
   return written( [&]( Vek::TextWriter& w ) {
      w << cliStrRdDetail() << rd << compSeparator();
      writeCliDetail( w, *this );
   } );
}

Vek::String FlowspecKey::stringValue() const {
   return written( [&]( Vek::TextWriter& w ) { writeStringValue( w, *this ); } );
}

Vek::String FlowspecKey::toStrep() const {
   return written( [&]( Vek::TextWriter& w ) { writeStrep( w, *this ); } );
}

void flowspecKeyComponentsStrepCli( std::ostream& out, const FlowspecKey& key,
                                    bool includeValueLength ) {
   writeTo( out, [&]( Vek::TextWriter& w ) { writeCli( w, key, includeValueLength ); } );
}

void flowspecKeyComponentsStrepCliDetail( std::ostream& out, const FlowspecKey& key ) {
   writeTo( out, [&]( Vek::TextWriter& w ) { writeCliDetail( w, key ); } );
}

void flowspecKeyInterfaceSetStrep( std::ostream& out, const FlowspecKey& key ) {
   writeTo( out, [&]( Vek::TextWriter& w ) { writeInterfaceSets( w, key ); } );
}

std::ostream& operator<<( std::ostream& out, const FlowspecKey& key ) {
   writeTo( out, [&]( Vek::TextWriter& w ) { writeStringValue( w, key ); } );
   return out;
}

Vek::String valueToStrep( const FlowspecKey& key ) {
   return written( [&]( Vek::TextWriter& w ) {
      writeStrep( w, key );
      w << '@';
   } );
}

} // namespace Flowspec
