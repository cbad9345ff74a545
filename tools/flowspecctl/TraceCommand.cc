#include "Flowspec/config/MatchSetBuilder.h"
#include "dataplane/CaptureFile.h"
#include "dataplane/Overlaps.h"
#include "dataplane/PacketText.h"
#include "forms/ActionJson.h"
#include "forms/ComponentWords.h"
#include "forms/Diagnostics.h"
#include "forms/NlriText.h"
#include "forms/Printable.h"
#include "match/LinkLayer.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleTrace.h"
#include "tools/terminal/Lines.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;
using Dataplane::packetText;
using Match::Packet;

namespace {

using Json = nlohmann::ordered_json;

struct TraceOptions {
   bool json = false;
   bool all = false;
   RuleDefaults defaults;
   std::vector< U16 > interfaceSets;
   RuleSource source;
   Vek::String capture;
   std::vector< Vek::String > packets;
};

bool isPrefix( MatchCompType type ) { return componentType( type ).kind == ComponentKind::prefix; }

Vek::String actionOf( const ConfiguredRule& rule ) { return actionText( rule.action ); }

// What a packet has where a component looks.
Vek::String fieldText( MatchCompType type, const Packet& packet ) {
   if ( isPrefix( type ) ) {
      return ( type == destPrefix ? packet.destination : packet.source ).stringValue();
   }
   Vek::String text;
   for ( const U32 value : packet.values( type ) ) {
      text += text.empty() ? "" : " and ";
      if ( isBitmask( type ) ) {
         Vek::TextWriter( text ) << "0x";
         Vek::TextWriter( text ).hex( value );
      } else {
         text += Vek::concat( value );
      }
   }
   return text.empty() ? "none" : text;
}

// What the component asks for, as far as the rule can be taken apart.
Vek::String askedText( MatchCompType type, const FlowspecKey& key ) {
   std::vector< MatchComponent > components;
   if ( matchSetFromKey( key, components ) ) {
      return Vek::String( stringValue( type ) );
   }
   const auto at = std::ranges::find( components, type, &MatchComponent::compType );
   return at == components.end() ? Vek::String( stringValue( type ) ) : componentWords( *at );
}

// Writes what becomes of packets, one after the other.
class TraceWriter {
public:
   TraceWriter( const TraceOptions& options, const RuleTrace& rules, Output& output )
      : options_( options ), rules_( rules ), output_( output ) {}

   void write( const Packet& packet ) {
      const Trace trace = rules_.trace( packet );
      options_.json ? appendJson( packet, trace ) : appendText( packet, trace );
      output_.flushIfLarge();
   }

private:
   void appendText( const Packet& packet, const Trace& trace ) {
      output_.text() += std::exchange( first_, false ) ? "" : "\n";
      Lines lines( output_.text() );
      lines.add( "packet", packetText( packet ) );
      U64 others = 0;
      for ( const TriedRule& tried : trace.tried ) {
         if ( isListed( tried ) ) {
            lines.add( "tried", Vek::concat( std::string_view( nameOf( *tried.rule ) ), ' ',
                                             std::string_view( resultText( tried, packet ) ) ) );
         } else {
            ++others;
         }
      }
      if ( others != 0 ) {
         lines.add( "tried", Vek::concat( others, others == 1 ? " more of another prefix"
                                                              : " more of other prefixes" ) );
      }
      if ( trace.elsewhere != 0 ) {
         lines.add( "elsewhere",
                    Vek::concat( trace.elsewhere, trace.elsewhere == 1
                                                     ? " rule of other interface sets"
                                                     : " rules of other interface sets" ) );
      }
      lines.add( "wins", trace.winner
                            ? Vek::concat( std::string_view( nameOf( *trace.winner ) ), ' ',
                                           std::string_view( actionOf( *trace.winner ) ) )
                            : Vek::String( "no rule" ) );
   }

   void appendJson( const Packet& packet, const Trace& trace ) {
      Json json{ { "packet", packetText( packet ) }, { "tried", Json::array() } };
      U64 others = 0;
      for ( const TriedRule& tried : trace.tried ) {
         if ( !isListed( tried ) ) {
            ++others;
            continue;
         }
         Json member = ruleJson( *tried.rule );
         member["matches"] = tried.failed == invalid;
         if ( tried.failed != invalid ) {
            member["failed"] = stringValue( tried.failed );
            member["has"] = fieldText( tried.failed, packet );
            member["asked"] = askedText( tried.failed, tried.rule->key );
         }
         json["tried"].push_back( std::move( member ) );
      }
      json["ofOtherPrefixes"] = others;
      json["elsewhere"] = trace.elsewhere;
      json["wins"] = trace.winner ? ruleJson( *trace.winner ) : Json();
      if ( trace.winner ) {
         json["wins"]["action"] = actionJson( trace.winner->action );
      }
      output_.text() += json.dump();
      output_.text() += '\n';
   }

   bool isListed( const TriedRule& tried ) const {
      return options_.all || !isPrefix( tried.failed );
   }

   static Vek::String nameOf( const ConfiguredRule& rule ) {
      return Vek::concat( std::string_view( rule.place ), ": ",
                          std::string_view( rule.key.toStrepCli( false ) ) );
   }

   static Json ruleJson( const ConfiguredRule& rule ) {
      return { { "place", rule.place }, { "cli", rule.key.toStrepCli( false ) } };
   }

   static Vek::String resultText( const TriedRule& tried, const Packet& packet ) {
      if ( tried.failed == invalid ) {
         return Dataplane::continues( tried.rule->action ) ? "matches, and the packet goes on"
                                                           : "matches";
      }
      return Vek::concat( "fails at ", stringValue( tried.failed ), ": it asks for ",
                          std::string_view( askedText( tried.failed, tried.rule->key ) ),
                          ", and the packet has ",
                          std::string_view( fieldText( tried.failed, packet ) ) );
   }

   const TraceOptions& options_;
   const RuleTrace& rules_;
   Output& output_;
   bool first_ = true;
};

// A packet in words, or its octets from the IP header on as hexadecimal digits.
std::optional< Packet > readPacket( const Vek::String& text, Vek::String& reason ) {
   std::vector< U8 > octets;
   if ( !text.empty() && !readHex( text, octets ) ) {
      auto packet = Match::parsePacket( octets );
      reason = packet ? "" : "the octets are no packet of IPv4 or IPv6 with a whole header";
      return packet;
   }
   return Dataplane::readPacketText( text, reason );
}

bool traceCapture( const TraceOptions& options, TraceWriter& writer, Output& output ) {
   Dataplane::CaptureFile capture( options.capture );
   bool good = true;
   U64 number = 0;
   const auto report = [&]( const Vek::String& message ) {
      good = false;
      output.flush();
      reportLine( printable( options.capture ), number, printable( message ) );
   };
   while ( !capture.atEnd() ) {
      const auto frame = capture.next();
      if ( !frame ) {
         continue;
      }
      ++number;
      if ( const auto packet =
              Match::parsePacket( Match::ipPacketOf( frame->bytes, frame->linkType ) ) ) {
         writer.write( *packet );
      } else {
         report( "the frame has no packet of IPv4 or IPv6 with a whole header" );
      }
   }
   if ( !capture.fault().empty() ) {
      report( capture.fault() );
   }
   return good;
}

bool trace( const TraceOptions& options, Output& output ) {
   bool good = true;
   Forms::RuleDefaults defaults;
   defaults.vrfId = options.defaults.vrfId.value_or( 0 );
   defaults.family = options.defaults.family;
   const RuleTrace rules( configuredRules( options.source, defaults, good ).rules, defaults.vrfId,
                          options.interfaceSets );
   TraceWriter writer( options, rules, output );
   for ( std::size_t i = 0; i < options.packets.size(); ++i ) {
      Vek::String reason;
      if ( const auto packet = readPacket( options.packets[i], reason ) ) {
         writer.write( *packet );
      } else {
         good = false;
         output.flush();
         reportLine( "PACKET", i + 1, printable( reason ) );
      }
   }
   if ( !options.capture.empty() ) {
      good = traceCapture( options, writer, output ) && good;
   }
   output.flush();
   return good;
}

} // namespace

Run addTrace( CLI::App& command ) {
   const auto options = std::make_shared< TraceOptions >();
   command.add_flag( "--json", options->json, "Write an object for each packet" );
   command.add_flag( "--all", options->all,
                     "List rules of other prefixes, too, which are counted otherwise" );
   addVrf( command, "VRF of the packets, and of rules whose form has none; 0 when not given",
           options->defaults.vrfId );
   addFamily( command, options->defaults );
   command
      .add_option(
         "--interface-set", options->interfaceSets,
         "An interface set that the packets' interface is in; may be given several times" )
      ->type_name( "NUMBER" )
      ->expected( 1 )
      ->take_all()
      ->allow_extra_args( false );
   command
      .add_option( "--capture", options->capture,
                   "Trace the packets of a capture file, pcap or pcapng; \"-\" is standard input" )
      ->type_name( "FILE" );
   addRuleSource( command, options->source );
   command
      .add_option( "PACKET", options->packets,
                   "Packets in words, or their octets as hexadecimal digits" )
      ->type_name( "" );
   command.footer( "Exit status: 0 when all packets were traced, 1 when a packet or a file could "
                   "not be read, 2 for wrong usage." );
   return [options]( Output& output ) {
      if ( options->packets.empty() && options->capture.empty() ) {
         throw CLI::ValidationError( "give a PACKET, or --capture FILE" );
      }
      return trace( *options, output );
   };
}

} // namespace Tools
