#include "tools/flowspecctl/NlriCommand.h"

#include "tools/lib/Diagnostics.h"
#include "tools/lib/InputFiles.h"
#include "tools/lib/JsonMembers.h"
#include "tools/lib/KeyForms.h"
#include "tools/lib/KeyJson.h"
#include "tools/lib/NlriText.h"
#include "wire/NlriDecoder.h"

namespace Flowspec::Tools {

namespace {

using Wire::Nlri;

// What a line has for an answer when it is not good.
struct Fault {
   std::string_view code;
   std::string_view place; // what `at` counts: a member's name in JSON
   std::size_t at;
   Vek::String message;
};

class NlriRun : private LineSink {
public:
   NlriRun( const NlriOptions& options, Output& output )
      : options_( options ), output_( output ), input_( *this, output ) {}

   bool run() {
      const bool read = input_.read( options_.files );
      output_.flush();
      return read && good_;
   }

private:
   void line( const Place& place, std::string_view line ) override {
      nlri_.remarks.clear();
      options_.encode ? encode( place, line ) : decode( place, line );
      output_.flushIfLarge();
   }

   void badLine( const Place& place, std::string_view, std::string_view message ) override {
      fail( place, { "bad-line", "offset", 0, Vek::String( message ) } );
   }

   void decode( const Place& place, std::string_view line ) {
      if ( const auto at = readHex( line, octets_ ) ) {
         return fail( place,
                      { "bad-hex", "offset", *at,
                        Vek::concat( "expected two hexadecimal digits at character ", *at + 1 ) } );
      }
      if ( const auto rejection = Wire::decodeNlri( octets_, options_.format, nlri_ ) ) {
         return fail(
            place, { name( rejection->code ), "offset", rejection->offset, rejection->message() } );
      }
      Vek::String& out = output_.text();
      if ( !options_.json ) {
         remarkLines( place );
         const auto rd = options_.format.vpn ? std::optional( nlri_.rd ) : std::nullopt;
         appendRule( rd ? Form::rdLen : Form::cliLen, { nlri_.key, rd }, out );
         out += '\n';
         return;
      }
      out += R"({"ok":true,"key":)";
      appendKeyJson( out, nlri_.key );
      out += R"(,"rd":)";
      if ( options_.format.vpn ) {
         appendJsonString( out, nlri_.rd.stringValue() );
      } else {
         out += "null";
      }
      appendRemarks( out );
      out += Vek::concat( R"(,"octets":)", nlri_.octets.size(), "}\n" );
   }

   void encode( const Place& place, std::string_view line ) {
      FlowspecKey key;
      auto rd = options_.rd;
      try {
         readObject( JsonMembers::parsedObject( line, 5, "rule key" ), key, rd );
      } catch ( const JsonMembers::BadJson& bad ) {
         return fail( place, { "bad-key", "index", 0, bad.reason } );
      }
      if ( options_.format.vpn && !rd ) {
         return fail( place, { "no-rd", "index", 0, "the rule has no route distinguisher" } );
      }
      octets_.clear();
      const auto lengths =
         options_.shortest ? Wire::ValueLengths::shortest : Wire::ValueLengths::asStored;
      if ( const auto refusal = Wire::encodeNlri( key, options_.format, rd.value_or( nlri_.rd ),
                                                  lengths, octets_ ) ) {
         return fail( place,
                      { name( refusal->code ), "index", refusal->index, refusal->message() } );
      }
      Vek::String& out = output_.text();
      out += options_.json ? R"({"ok":true,"nlri":")" : "";
      appendHex( out, octets_ );
      out += options_.json ? Vek::concat( R"(","octets":)", octets_.size(), "}\n" )
                           : Vek::String( "\n" );
   }

   // A key's object, or one that was written for an NLRI.
   static void readObject( const JsonMembers::Json& object, FlowspecKey& key,
                           std::optional< Zorv::RouteDistinguisher >& rd ) {
      using namespace JsonMembers;
      if ( !object.contains( "key" ) ) {
         return readKeyMembers( object, key );
      }
      checkMembers( object, "", { "ok", "key", "rd", "remarks", "octets" } );
      const Json& keyObject = object["key"];
      if ( !keyObject.is_object() ) {
         JsonMembers::fail( "'key' is not an object" );
      }
      readKeyMembers( keyObject, key );
      const auto text = object.find( "rd" );
      if ( text != object.end() && !text->is_null() ) {
         rd = Zorv::RouteDistinguisher::fromText( string( *text, "rd" ) );
         if ( !rd ) {
            JsonMembers::fail( "'rd' is not a route distinguisher" );
         }
      }
   }

   void fail( const Place& place, const Fault& fault ) {
      good_ = false;
      if ( !options_.json ) {
         input_.clearProgress();
         output_.flush();
         reportLine(
            place.file, place.line,
            Vek::concat( fault.code, " at ", fault.place, ' ', fault.at, ": ", fault.message ) );
         return;
      }
      Vek::String& out = output_.text();
      out += Vek::concat( R"({"ok":false,"code":")", fault.code, R"(",")", fault.place, R"(":)",
                          fault.at, R"(,"error":)" );
      appendJsonString( out, fault.message );
      if ( !options_.encode ) {
         appendRemarks( out );
      }
      out += "}\n";
   }

   void appendRemarks( Vek::String& out ) {
      out += R"(,"remarks":[)";
      const char* separator = "\"";
      for ( const Wire::Remark& remark : nlri_.remarks ) {
         ( ( out += separator ) += name( remark.code ) ) += '"';
         separator = ",\"";
      }
      out += ']';
   }

   void remarkLines( const Place& place ) {
      for ( const Wire::Remark& remark : nlri_.remarks ) {
         input_.clearProgress();
         output_.flush();
         warnLine( place.file, place.line,
                   Vek::concat( name( remark.code ), " at offset ", remark.offset ) );
      }
   }

   const NlriOptions& options_;
   Output& output_;
   InputFiles input_;
   std::vector< U8 > octets_;
   Nlri nlri_;
   bool good_ = true;
};

} // namespace

bool runNlri( const NlriOptions& options, Output& output ) {
   return NlriRun( options, output ).run();
}

} // namespace Flowspec::Tools
