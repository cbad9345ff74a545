#include "forms/KeyJson.h"

#include "Flowspec/key/FlowspecKeyReader.h"

namespace Forms {

using namespace Flowspec;

namespace {

// Indices ascend, so the last one tells.
bool hasHole( const FlowspecKey& key ) {
   const auto words = key.matchOpVal().packed();
   return !words.empty() && words.back() >> 32 != words.size() - 1;
}

// Whether the terms of the walk say all that the words do.
bool termsGiveTheWords( const FlowspecKey& key ) {
   if ( unprintableTerm( key ) ) {
      return false;
   }
   FlowspecKey again;
   U32 at = 0;
   for ( auto term = key.getOptVal( 0 ); !term.isEnd(); term = key.getOptVal( term.nextIndex() ) ) {
      at = again.setOpVal( at, term.matchType(), term.op(), term.val32() );
   }
   return again.matchOpVal() == key.matchOpVal();
}

void writePrefix( Vek::TextWriter& out, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      out << "null";
   } else {
      out << '"' << prefix << '"';
   }
}

// Calls `write( element )` for each, with commas between the calls.
void writeList( Vek::TextWriter& out, const auto& elements, auto write ) {
   bool first = true;
   for ( const auto& element : elements ) {
      if ( !first ) {
         out << ',';
      }
      first = false;
      write( element );
   }
}

void writeTerms( Vek::TextWriter& out, const FlowspecKey& key ) {
   const char* separator = "";
   for ( auto term = key.getOptVal( 0 ); !term.isEnd(); term = key.getOptVal( term.nextIndex() ) ) {
      out << std::string_view( separator ) << R"({"type":")" << stringValue( term.matchType() )
          << R"(","op":)" << term.op() << R"(,"value":)" << term.val32() << '}';
      separator = ",";
   }
}

} // namespace

std::optional< Vek::String > unwritableJson( const FlowspecKey& key ) {
   return hasHole( key ) ? std::optional< Vek::String >( "the indices of the words have holes" )
                         : std::nullopt;
}

void appendKeyJson( Vek::String& text, const FlowspecKey& key ) {
   Vek::TextWriter out( text );
   out << R"({"vrfId":)";
   if ( key.vrfId() == Vrf::VrfIdMap::invalid() ) {
      out << "null";
   } else {
      out << key.vrfId();
   }
   out << R"(,"addressFamily":")" << key.addressFamily() << R"(","destPrefix":)";
   writePrefix( out, key.destPrefix() );
   out << R"(,"srcPrefix":)";
   writePrefix( out, key.srcPrefix() );
   out << R"(,"interfaceSet":[)";
   writeList( out, key.interfaceSet(), [&]( U16 id ) { out << id; } );
   if ( termsGiveTheWords( key ) ) {
      out << R"(],"terms":[)";
      writeTerms( out, key );
   } else {
      out << R"(],"words":[)";
      writeList( out, key.matchOpVal(),
                 [&]( const TermWords::Member& member ) { out << member.word.storage(); } );
   }
   out << "]}";
}

void appendJsonString( Vek::String& text, std::string_view string ) {
   static constexpr char digits[] = "0123456789abcdef";
   Vek::TextWriter out( text );
   out << '"';
   for ( const char c : string ) {
      if ( c == '"' || c == '\\' ) {
         out << '\\' << c;
      } else if ( static_cast< unsigned char >( c ) < ' ' ) {
         out << "\\u00" << digits[c >> 4] << digits[c & 15];
      } else {
         out << c;
      }
   }
   out << '"';
}

} // namespace Forms
