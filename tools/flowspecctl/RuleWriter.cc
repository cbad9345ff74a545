#include "tools/flowspecctl/RuleWriter.h"

#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"
#include "forms/KeyJson.h"
#include "forms/Printable.h"
#include "tools/terminal/Terminal.h"

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

struct JsonMember {
   Form form;
   std::string_view front; // up to the text of the form
   std::string_view back;
};

constexpr JsonMember jsonMembers[] = {
   { Form::json, R"("key":)", "" },         { Form::cli, R"("cli":")", "\"" },
   { Form::cliLen, R"("cliLen":")", "\"" }, { Form::detail, R"("detail":")", "\"" },
   { Form::value, R"("value":")", "\"" },   { Form::diag, R"("diag":")", "\"" },
};
constexpr JsonMember jsonRdMembers[] = {
   { Form::rd, R"("rdCli":")", "\"" },
   { Form::rdLen, R"("rdCliLen":")", "\"" },
   { Form::rdDetail, R"("rdDetail":")", "\"" },
};

void appendMembers( Vek::String& out, std::span< const JsonMember > members, const Rule& rule ) {
   std::string_view separator;
   for ( const JsonMember& member : members ) {
      out += std::exchange( separator, "," );
      out += member.front;
      appendRule( member.form, rule, out );
      out += member.back;
   }
}

void appendWordsAndHash( Vek::String& out, const FlowspecKey& key ) {
   const char* separator = R"(,"words":[)";
   for ( const auto& [index, word] : key.matchOpVal() ) {
      out += separator;
      out += Vek::concat( word.storage() );
      separator = ",";
   }
   out += key.matchOpVals() == 0 ? R"(,"words":[])" : "]";
   Vek::String hash;
   Vek::TextWriter( hash ).hex( key.hash() );
   out += R"(,"hash":"0x)";
   out.append( 8 - hash.size(), '0' ).append( hash ).append( "\"" );
}

} // namespace

void appendKeyForms( Vek::String& out, const Rule& rule ) {
   appendMembers( out, jsonMembers, rule );
   appendWordsAndHash( out, rule.key );
}

RuleWriter::RuleWriter( RuleLayout layout, Output& output )
   : layout_( std::move( layout ) ), output_( output ) {
   if ( layout_.table ) {
      std::vector< Table::Column > columns;
      for ( const Form form : layout_.forms ) {
         columns.push_back( { info( form ).name, info( form ).share } );
      }
      table_ = Table::filling( lineWidth(), std::move( columns ) );
      table_->appendHeading( output.text() );
   }
}

Reason RuleWriter::unwritable( const Rule& rule ) const {
   for ( const Form form : layout_.forms ) {
      if ( Reason reason = Forms::unwritable( form, rule ) ) {
         return reason;
      }
   }
   return std::nullopt;
}

void RuleWriter::good( const Place& place, const Rule& rule ) {
   Vek::String& out = output_.text();
   if ( layout_.json ) {
      goodJson( place, rule );
   } else if ( table_ ) {
      std::vector< Vek::String > cells( layout_.forms.size() );
      for ( std::size_t i = 0; i < layout_.forms.size(); ++i ) {
         appendRule( layout_.forms[i], rule, cells[i] );
      }
      table_->appendRow( out, cells );
   } else {
      for ( const Form form : layout_.forms ) {
         appendRule( form, rule, out );
         out += '\t';
      }
      out.back() = '\n';
   }
   output_.flushIfLarge();
}

void RuleWriter::bad( const Place& place, std::string_view text, std::string_view message ) {
   if ( layout_.json ) {
      badJson( place, message );
   } else if ( table_ ) {
      badRow( place, text, message );
   } else {
      output_.flush();
      reportLine( place.file, place.line, message, place.column, text );
   }
}

void RuleWriter::beginJson( const Place& place, bool ok ) {
   Vek::String& out = output_.text();
   out += '{';
   if ( layout_.named ) {
      out += R"("file":)";
      appendJsonString( out, place.file );
      out += ',';
   }
   out += Vek::concat( R"("line":)", place.line, R"(,"ok":)",
                       std::string_view( ok ? "true" : "false" ) );
}

void RuleWriter::goodJson( const Place& place, const Rule& rule ) {
   beginJson( place, true );
   Vek::String& out = output_.text();
   out += ',';
   appendKeyForms( out, rule );
   if ( rule.rd ) {
      out += Vek::concat( R"(,"rd":")", rule.rd->stringValue(), R"(",)" );
      appendMembers( out, jsonRdMembers, rule );
   }
   out += "}\n";
}

void RuleWriter::badJson( const Place& place, std::string_view message ) {
   beginJson( place, false );
   Vek::String& out = output_.text();
   out += R"(,"error":)";
   // What was read may be no UTF-8.
   out += nlohmann::json( shortened( message ) )
             .dump( -1, ' ', false, nlohmann::json::error_handler_t::replace );
   if ( place.column != 0 ) {
      out += Vek::concat( R"(,"offset":)", place.column - 1 );
   }
   out += "}\n";
}

void RuleWriter::badRow( const Place& place, std::string_view text, std::string_view message ) {
   Vek::String reason = Vek::concat( "error in line ", place.line, ": ", printable( message ) );
   if ( layout_.forms.size() == 1 ) {
      table_->appendRow( output_.text(), { { std::move( reason ) } } );
      return;
   }
   table_->appendRow( output_.text(), { { printable( text ), std::move( reason ) } } );
}

} // namespace Tools
