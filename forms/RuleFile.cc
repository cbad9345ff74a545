#include "forms/RuleFile.h"

#include "forms/Doubts.h"
#include "forms/InputFile.h"
#include "forms/LineReader.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace Forms {

using namespace Flowspec;

namespace {

using Zorv::AddressFamily;

void applyDefaults( const RuleDefaults& defaults, FlowspecKey& key ) {
   if ( key.vrfId() == Vrf::VrfIdMap::invalid() ) {
      key.vrfIdIs( defaults.vrfId );
   }
   if ( key.addressFamily() == AddressFamily::none && defaults.family ) {
      key.addressFamilyIs( *defaults.family );
   }
}

// Folds quantities into 64 bits. Unlike the hash of a key this is a format: the numbers are stored
// by those who keep state of rules, and are not to change.
class Fingerprint {
public:
   void add( U64 quantity ) {
      quantity *= factor;
      quantity ^= quantity >> 29;
      quantity *= factor;
      value_ = ( std::rotl( value_, 27 ) ^ quantity ) * factor;
   }

   void add( const Zorv::IpGenPrefix& prefix ) {
      const auto& bytes = prefix.address().bytes();
      add( Osk::loadBig64( bytes.data() ) );
      add( Osk::loadBig64( bytes.data() + 8 ) );
      add( U64{ static_cast< U8 >( prefix.family() ) } << 8 | prefix.length() );
   }

   U64 value() const {
      const U64 mixed = ( value_ ^ value_ >> 32 ) * factor;
      return mixed ^ mixed >> 29;
   }

private:
   static constexpr U64 factor = 0x9E3779B97F4A7C15;

   U64 value_ = factor;
};

RuleFile unreadable( const Vek::String& file, Vek::String reason ) {
   return { .file = file, .rules = {}, .errors = { { file, 0, std::move( reason ) } } };
}

RuleFile unreadable( const Vek::String& file, std::string_view what, int error ) {
   return unreadable( file, Vek::concat( what, ": ", std::string_view( std::strerror( error ) ) ) );
}

} // namespace

std::optional< RuleForm > ruleForm( std::string_view file ) {
   const std::string_view name = file.substr( file.rfind( '/' ) + 1 );
   const std::size_t dot = name.rfind( '.' );
   if ( dot == name.npos ) {
      return std::nullopt;
   }
   const std::string_view ending = name.substr( dot + 1 );
   if ( const auto* const dialect = dialectOf( ending == "jsonl" ? "json" : ending ) ) {
      return RuleForm{ .dialect = dialect };
   }
   const auto form = formOf( ending );
   return form && info( *form ).readable ? std::optional( RuleForm{ .form = *form } )
                                         : std::nullopt;
}

U64 defaultRuleId( const FlowspecKey& key ) {
   Fingerprint print;
   print.add( U64{ key.vrfId() } << 8 | static_cast< U8 >( key.addressFamily() ) );
   print.add( key.destPrefix() );
   print.add( key.srcPrefix() );
   print.add( key.matchOpVals() );
   for ( const U64 word : key.matchOpVal().packed() ) {
      print.add( word );
   }
   for ( const U16 id : key.interfaceSet() ) {
      print.add( id );
   }
   return print.value();
}

RuleReader::RuleReader( Vek::String file, const RuleForm& form, const RuleDefaults& defaults )
   : file_{ .file = std::move( file ) }, form_( form ),
     defaults_( defaults ), context_{ .family = defaults.family.value_or( AddressFamily::none ),
                                      .localAs = defaults.localAs,
                                      .vrfs = defaults.vrfs },
     lines_( form.dialect && form.dialect->spansLines ),
     known_( 0, KeyHash{ &file_.rules }, KeyEqual{ &file_.rules } ) {}

std::optional< Fault > RuleReader::readDialect( U64 first, std::string_view text, FiledRule& rule,
                                                std::optional< U64 >& ruleId ) {
   remarks_.clear();
   if ( auto fault = readRule( *form_.dialect, text, context_, textRule_, remarks_ ) ) {
      return fault;
   }
   for ( Fault& remark : remarks_ ) {
      file_.warnings.push_back( errorAt( first, std::move( remark ) ) );
   }
   rule.key = textRule_.key;
   rule.action = textRule_.action;
   rule.expires = textRule_.expires;
   ruleId = textRule_.ruleId;
   return std::nullopt;
}

// An error, or nothing after a warning.
std::optional< Fault > RuleReader::judge( U64 first, std::optional< Fault > doubt ) {
   if ( !doubt || defaults_.strict ) {
      return doubt;
   }
   file_.warnings.push_back( errorAt( first, *std::move( doubt ) ) );
   return std::nullopt;
}

std::optional< Fault > RuleReader::readText( U64 first, std::string_view text, FiledRule& rule ) {
   std::optional< U64 > ruleId;
   if ( form_.dialect ) {
      if ( auto fault = readDialect( first, text, rule, ruleId ) ) {
         return fault;
      }
   } else {
      clear( textRule_.key );
      // Octets can be read by one who knows the family only.
      if ( !info( form_.form ).hasInstance && defaults_.family ) {
         textRule_.key.addressFamilyIs( *defaults_.family );
      }
      if ( auto fault = readRuleAt( form_.form, text, textRule_ ) ) {
         return fault;
      }
      if ( auto fault = judge( first, misreading( form_.form, text, textRule_ ) ) ) {
         return fault;
      }
      rule.key = textRule_.key;
   }
   applyDefaults( defaults_, rule.key );
   if ( defaults_.strict ) {
      if ( auto conflict = familyConflict( rule.key ) ) {
         return Fault{ 1, 0, std::move( conflict->reason ) };
      }
   }
   rule.ruleId = ruleId ? *ruleId : defaultRuleId( rule.key );
   return std::nullopt;
}

void RuleReader::line( U64 number, std::string_view text ) {
   if ( !isPassedOver( text ) ) {
      lines_.line( number, text,
                   [&]( U64 first, std::string_view whole ) { take( first, whole ); } );
   }
}

void RuleReader::take( U64 first, std::string_view text ) {
   // Read where it is to stay, and taken back when that cannot be.
   FiledRule& rule = file_.rules.emplace_back();
   rule.line = first;
   if ( auto fault = readText( first, text, rule ) ) {
      file_.errors.push_back( errorAt( first, *std::move( fault ) ) );
   } else if ( const auto [same, added] = known_.insert( file_.rules.size() - 1 ); !added ) {
      badLine( first, Vek::concat( "line ", first, " is the rule of line ", file_.rules[*same].line,
                                   " again" ) );
   } else {
      return;
   }
   file_.rules.pop_back();
}

RuleError RuleReader::errorAt( U64 first, Fault fault ) const {
   return { file_.file, first + std::max( fault.line, U64{ 1 } ) - 1, std::move( fault.reason ),
            fault.column };
}

void RuleReader::badLine( U64 number, Vek::String reason ) {
   file_.errors.push_back( { file_.file, number, std::move( reason ) } );
}

RuleFile RuleReader::take() {
   lines_.end( [&]( U64 first, std::string_view text ) { take( first, text ); } );
   return std::move( file_ );
}

RuleFile readRuleFile( const Vek::String& file, const RuleDefaults& defaults ) {
   const auto form = ruleForm( file );
   if ( !form ) {
      return unreadable( file, "the ending of the name is not a form of rules" );
   }
   // A pipe or a device may have no end.
   struct stat status;
   if ( ::stat( file.c_str(), &status ) == 0 && !S_ISREG( status.st_mode ) ) {
      return unreadable( file, "not a regular file" );
   }
   const InputFile input( file );
   if ( input.fd() < 0 ) {
      return unreadable( file, "cannot open", errno );
   }
   RuleReader rules( file, *form, defaults );
   LineReader lines( input.fd(), [] {} );
   using Result = LineReader::Result;
   std::string_view line;
   for ( ;; ) {
      switch ( lines.next( line ) ) {
      case Result::line:
         rules.line( lines.lineNumber(), line );
         break;
      case Result::tooLong:
         rules.badLine( lines.lineNumber(),
                        Vek::concat( "the line is longer than ", LineReader::maxLine, " bytes" ) );
         break;
      case Result::failed:
         return unreadable( file, "cannot read", lines.error() );
      case Result::end:
         return rules.take();
      }
   }
}

} // namespace Forms
