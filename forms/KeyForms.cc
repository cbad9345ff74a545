#include "forms/KeyForms.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "forms/Hints.h"
#include "forms/KeyJson.h"
#include "forms/NlriText.h"
#include "forms/dialects/Dialect.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

namespace Forms {

using namespace Flowspec;

namespace {

constexpr FormInfo infos[] = {
   { "cli", 30, Form::cli, true, false, false },
   { "cli-len", 30, Form::cliLen, true, false, false },
   { "rd", 30, Form::rd, true, true, false },
   { "rd-len", 30, Form::rdLen, true, true, false },
   { "value", 40, Form::value, true, false, true },
   { "diag", 40, Form::diag, true, false, true },
   { "json", 50, Form::json, true, false, true },
   { "detail", 40, Form::detail, false, false, false },
   { "rd-detail", 40, Form::rdDetail, false, true, false },
   { "words", 22, Form::words, false, false, false },
   { "nlri", 40, Form::nlri, true, false, false },
   { "nlri-vpn", 40, Form::nlriVpn, true, true, false },
   { "bird", 60, Form::bird, true, false, false, true },
   { "exabgp", 60, Form::exabgp, true, false, false, true },
   { "exabgp-json", 60, Form::exabgpJson, true, false, false, true },
   { "gobgp", 60, Form::gobgp, true, false, false, true },
   { "gobgp-json", 60, Form::gobgpJson, true, false, false, true },
};

// The words as they are in the key, in hexadecimal: type, operator and value can be told apart.
void appendWords( const FlowspecKey& key, Vek::String& out ) {
   static constexpr char digits[] = "0123456789abcdef";
   if ( key.matchOpVals() == 0 ) {
      out += '-';
      return;
   }
   const char* separator = "0x";
   for ( const auto& [index, word] : key.matchOpVal() ) {
      out += separator;
      separator = " 0x";
      for ( int shift = 28; shift >= 0; shift -= 4 ) {
         out += digits[word.storage() >> shift & 15];
      }
   }
}

using Failure = std::optional< Fault >;

// Of one of the forms that people type, with a hint.
Failure typedFailure( std::string_view text, const KeyTextResult& result ) {
   if ( !result ) {
      return std::nullopt;
   }
   const Vek::String meant = hint( text, result->offset );
   return Fault{ 1, result->offset + 1,
                 Vek::concat( result->message, std::string_view( meant.empty() ? "" : ": " ),
                              std::string_view( meant ) ) };
}

Failure failure( KeyTextResult result ) {
   return result ? Failure( { 1, result->offset + 1, std::move( result->message ) } )
                 : std::nullopt;
}

// Of the text as a whole.
Failure failure( Reason reason ) {
   return reason ? Failure( { 0, 0, *std::move( reason ) } ) : std::nullopt;
}

Failure readWithRd( std::string_view text, bool includesValueLength, Rule& rule ) {
   return typedFailure(
      text, readStrCliWithRd( text, includesValueLength, rule.rd.emplace(), rule.key ) );
}

Reason readNlri( std::string_view text, bool vpn, Rule& rule ) {
   const Zorv::AddressFamily family = rule.key.addressFamily();
   if ( family != Zorv::AddressFamily::ipv4 && family != Zorv::AddressFamily::ipv6 ) {
      return "an NLRI does not tell its address family: it must be given";
   }
   std::vector< U8 > octets;
   if ( const auto at = readHex( text, octets ) ) {
      return Vek::concat( "expected two hexadecimal digits at character ", *at + 1 );
   }
   Wire::Nlri nlri;
   nlri.key = std::move( rule.key );
   const auto rejection = Wire::decodeNlri( octets, { family, vpn }, nlri );
   rule.key = std::move( nlri.key );
   if ( rejection ) {
      return Vek::concat( name( rejection->code ), " at offset ", rejection->offset, ": ",
                          rejection->message() );
   }
   if ( nlri.octets.size() != octets.size() ) {
      return Vek::concat( "the NLRI ends at offset ", nlri.octets.size(), " of ", octets.size() );
   }
   if ( vpn ) {
      rule.rd = nlri.rd;
   }
   return std::nullopt;
}

std::optional< Wire::Refusal > encodeRule( Form form, const Rule& rule,
                                           std::vector< U8 >& octets ) {
   return Wire::encodeNlri( rule.key, { rule.key.addressFamily(), form == Form::nlriVpn },
                            rule.rd.value_or( Zorv::RouteDistinguisher() ),
                            Wire::ValueLengths::asStored, octets );
}

// The rest of a rule is not the key's.
Forms::Context contextOf( const Rule& rule ) {
   return { .family = rule.key.addressFamily(), .vrfs = {}, .matchOnly = true };
}

Failure readDialect( Form form, std::string_view text, Rule& rule ) {
   Rule read;
   std::vector< Fault > remarks;
   Failure fault = Forms::readRule( dialect( form ), text, contextOf( rule ), read, remarks );
   read.key.vrfIdIs( rule.key.vrfId() );
   rule.key = std::move( read.key );
   return fault;
}

Reason writeDialect( Form form, const Rule& rule, Vek::String& out ) {
   return Forms::writeRule( dialect( form ), { .key = rule.key }, contextOf( rule ), out );
}

} // namespace

std::span< const FormInfo > forms() { return infos; }

const FormInfo& info( Form form ) { return infos[static_cast< U8 >( form )]; }

const Forms::Dialect& dialect( Form form ) { return *Forms::dialectOf( info( form ).name ); }

bool spansLines( Form form ) { return info( form ).isDialect && dialect( form ).spansLines; }

std::optional< Form > formOf( std::string_view name ) {
   for ( const FormInfo& row : infos ) {
      if ( row.name == name ) {
         return row.form;
      }
   }
   return std::nullopt;
}

std::optional< Fault > readRuleAt( Form form, std::string_view text, Rule& rule ) {
   switch ( form ) {
   case Form::cli:
      return typedFailure( text, readStrCli( text, false, rule.key ) );
   case Form::cliLen:
      return typedFailure( text, readStrCli( text, true, rule.key ) );
   case Form::rd:
      return readWithRd( text, false, rule );
   case Form::rdLen:
      return readWithRd( text, true, rule );
   case Form::value:
      return failure( readStringValue( text, rule.key ) );
   case Form::diag:
      return failure( readStrep( text, rule.key ) );
   case Form::json:
      return failure( readKeyJson( text, rule.key ) );
   case Form::nlri:
   case Form::nlriVpn:
      return failure( readNlri( text, form == Form::nlriVpn, rule ) );
   case Form::bird:
   case Form::exabgp:
   case Form::exabgpJson:
   case Form::gobgp:
   case Form::gobgpJson:
      return readDialect( form, text, rule );
   case Form::detail:
   case Form::rdDetail:
   case Form::words:
      break;
   }
   return failure( Reason( "this form is only written" ) );
}

Reason readRule( Form form, std::string_view text, Rule& rule ) {
   auto fault = readRuleAt( form, text, rule );
   return fault ? Reason( std::move( fault->reason ) ) : std::nullopt;
}

void clear( FlowspecKey& key ) {
   key.vrfIdIs( Vrf::VrfIdMap::invalid() );
   key.addressFamilyIs( Zorv::AddressFamily::none );
   key.destPrefixIs( {} );
   key.srcPrefixIs( {} );
   key.matchOpValDelAll();
   key.interfaceSetPopAll();
}

Reason unwritable( Form form, const Rule& rule ) {
   if ( info( form ).hasRd && !rule.rd ) {
      return "the rule has no route distinguisher";
   }
   if ( form == Form::words ) {
      return std::nullopt;
   }
   if ( form == Form::json ) {
      return unwritableJson( rule.key );
   }
   if ( form == Form::nlri || form == Form::nlriVpn ) {
      std::vector< U8 > octets;
      const auto refusal = encodeRule( form, rule, octets );
      return refusal ? Reason( refusal->message() ) : std::nullopt;
   }
   if ( info( form ).isDialect ) {
      Vek::String text;
      return writeDialect( form, rule, text );
   }
   if ( form == Form::diag ) {
      return rule.key.matchOpVals() > MatchOpValIndex::max()
                ? Reason( "a key of 2048 words has no diagnostic form" )
                : std::nullopt;
   }
   if ( const auto term = unprintableTerm( rule.key ) ) {
      return Vek::concat( "the term at index ", term->index,
                          " cannot be printed: ", std::string_view( term->reason ) );
   }
   return std::nullopt;
}

void appendRule( Form form, const Rule& rule, Vek::String& out ) {
   switch ( form ) {
   case Form::cli:
      return rule.key.appendStrepCli( out, false );
   case Form::cliLen:
      return rule.key.appendStrepCli( out, true );
   case Form::rd:
      out += rule.key.toStrepCliWithRd( *rule.rd, false );
      return;
   case Form::rdLen:
      out += rule.key.toStrepCliWithRd( *rule.rd, true );
      return;
   case Form::value:
      return rule.key.appendStringValue( out );
   case Form::diag:
      return rule.key.appendStrep( out );
   case Form::json:
      return appendKeyJson( out, rule.key );
   case Form::detail:
      return rule.key.appendStrepCliDetail( out );
   case Form::rdDetail:
      out += rule.key.toStrepCliDetailWithRd( *rule.rd );
      return;
   case Form::words:
      return appendWords( rule.key, out );
   case Form::nlri:
   case Form::nlriVpn: {
      std::vector< U8 > octets;
      static_cast< void >( encodeRule( form, rule, octets ) );
      return appendHex( out, octets );
   }
   case Form::bird:
   case Form::exabgp:
   case Form::exabgpJson:
   case Form::gobgp:
   case Form::gobgpJson:
      static_cast< void >( writeDialect( form, rule, out ) );
      return;
   }
}

} // namespace Forms
