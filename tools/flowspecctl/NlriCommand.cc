#include "forms/JsonMembers.h"
#include "forms/KeyForms.h"
#include "forms/KeyJson.h"
#include "forms/NlriText.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/LineCommand.h"
#include "tools/flowspecctl/Options.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Wire::Nlri;

struct NlriOptions {
   Wire::NlriFormat format{ Zorv::AddressFamily::ipv4, false };
   bool encode = false;
   bool json = false;
   bool shortest = false; // values as short as they should be sent; for `encode`
   RuleDefaults defaults; // the distinguisher; for `encode`
   std::vector< Vek::String > files;
};

// What a line has for an answer when it is not good.
struct Fault {
   std::string_view code;
   std::string_view place; // what `at` counts: a member's name in JSON
   std::size_t at;
   Vek::String message;
};

// Reads NLRI as hexadecimal digits and writes what they say; or, with `encode`, reads the JSON
// objects of keys, or those that were written for NLRI, and writes the NLRI.
class NlriCommand : public LineCommand {
public:
   NlriCommand( const NlriOptions& options, Output& output )
      : LineCommand( options.files, output ), options_( options ) {}

private:
   void take( const Place& place, std::string_view line ) override {
      nlri_.remarks.clear();
      options_.encode ? encode( place, line ) : decode( place, line );
   }

   void badLine( const Place& place, std::string_view, std::string_view message ) override {
      refuse( place, { "bad-line", "offset", 0, Vek::String( message ) } );
   }

   void decode( const Place& place, std::string_view line ) {
      if ( const auto at = readHex( line, octets_ ) ) {
         return refuse(
            place, { "bad-hex", "offset", *at,
                     Vek::concat( "expected two hexadecimal digits at character ", *at + 1 ) } );
      }
      if ( const auto rejection = Wire::decodeNlri( octets_, options_.format, nlri_ ) ) {
         return refuse(
            place, { name( rejection->code ), "offset", rejection->offset, rejection->message() } );
      }
      Vek::String& out = this->out();
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
      auto rd = options_.defaults.rd;
      try {
         readObject( JsonMembers::parsedObject( line, 5, "rule key" ), key, rd );
      } catch ( const JsonMembers::BadJson& bad ) {
         return refuse( place, { "bad-key", "index", 0, bad.reason } );
      }
      if ( options_.format.vpn && !rd ) {
         return refuse( place, { "no-rd", "index", 0, "the rule has no route distinguisher" } );
      }
      octets_.clear();
      const auto lengths =
         options_.shortest ? Wire::ValueLengths::shortest : Wire::ValueLengths::asStored;
      if ( const auto refusal = Wire::encodeNlri( key, options_.format, rd.value_or( nlri_.rd ),
                                                  lengths, octets_ ) ) {
         return refuse( place,
                        { name( refusal->code ), "index", refusal->index, refusal->message() } );
      }
      Vek::String& out = this->out();
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

   void refuse( const Place& place, const Fault& fault ) {
      if ( !options_.json ) {
         return report( place, Vek::concat( fault.code, " at ", fault.place, ' ', fault.at, ": ",
                                            fault.message ) );
      }
      fail();
      Vek::String& out = this->out();
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
         warn( place, Vek::concat( name( remark.code ), " at offset ", remark.offset ) );
      }
   }

   const NlriOptions& options_;
   std::vector< U8 > octets_;
   Nlri nlri_;
};

// A reader of the number `first` or the one after it.
auto oneOf( U64 first ) {
   return [first]( std::string_view text ) {
      const auto number = Vek::decimal( text, first + 1 );
      return number && *number >= first ? number : std::nullopt;
   };
}

} // namespace

Run addNlri( CLI::App& command ) {
   const auto options = std::make_shared< NlriOptions >();
   Wire::NlriFormat& format = options->format;
   addOption( command, "--afi", "NUMBER", "Address family, 1 for IPv4 (when not given), 2 for IPv6",
              oneOf( 1 ), "1 or 2",
              [&]( U64 afi ) { format.family = static_cast< Zorv::AddressFamily >( afi ); } );
   addOption( command, "--safi", "NUMBER",
              "133 (when not given), or 134 for rules with a route distinguisher", oneOf( 133 ),
              "133 or 134", [&]( U64 safi ) { format.vpn = safi == 134; } );
   command.add_flag( "--json", options->json, "Write an object for each line, good or bad" );
   CLI::Option* const encode = command.add_flag( "--encode", options->encode,
                                                 "Read JSON objects of keys and write their NLRI" );
   command
      .add_flag( "--shortest", options->shortest,
                 "Write values as short as they should be sent, not as the keys have them" )
      ->needs( encode );
   addRd( command, options->defaults )->needs( encode );
   addFiles( command, options->files );
   return [options]( Output& output ) { return NlriCommand( *options, output ).run(); };
}

} // namespace Tools
