#include "agents/programd/Metrics.h"

#include "Flowspec/vocab/HwRuleProgrammingStatus.h"
#include "Vek/text/Text.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>

namespace Agents {

using namespace Flowspec;

namespace {

constexpr std::size_t statusCount = std::size( hwRuleProgrammingStatusRows );

void begin( Vek::String& out, std::string_view name, std::string_view type,
            std::string_view help ) {
   out += Vek::concat( "# HELP ", name, ' ', help, "\n# TYPE ", name, ' ', type, '\n' );
}

// Backslashes, quotes and ends of lines are escaped in the value of a label.
void appendLabel( Vek::String& out, std::string_view value ) {
   for ( const char c : value ) {
      if ( c == '\\' || c == '"' ) {
         out += '\\';
      }
      if ( c == '\n' ) {
         out += "\\n";
      } else {
         out += c;
      }
   }
}

Vek::String number( double value ) {
   std::array< char, 32 > room{};
   return { room.data(),
            static_cast< std::size_t >( std::snprintf( room.data(), room.size(), "%g", value ) ) };
}

[[noreturn]] void failToWrite( const Vek::String& file, int error ) {
   throw std::runtime_error(
      Vek::concat( "cannot write ", file, ": ", std::string_view( std::strerror( error ) ) ) );
}

} // namespace

Vek::String metricsText( const Status& status, double programming, U64 maxRules ) {
   std::array< U64, statusCount > rules{};
   Vek::String packets;
   Vek::String bytes;
   QosLib::ColoredCounters others;
   U64 labelled = 0;
   U64 unlabelled = 0;
   for ( const auto* const vrf : status.vrfRuleStatus().sorted() ) {
      for ( const auto& rule : vrf->second->ruleStatus() ) {
         ++rules[static_cast< std::size_t >( rule->statusCode() )];
         if ( !rule->isProgrammed() ) {
            continue;
         }
         const QosLib::ColoredCounters& counters = rule->coloredCounters();
         if ( labelled == maxRules ) {
            ++unlabelled;
            others.packetHitsIs( others.packetHits() + counters.packetHits() );
            others.byteHitsIs( others.byteHits() + counters.byteHits() );
            continue;
         }
         ++labelled;
         Vek::String labels =
            Vek::concat( "{vrf=\"", rule->key().vrfId(), "\",family=\"",
                         stringValue( rule->key().addressFamily() ), "\",rule=\"" );
         appendLabel( labels, rule->key().toStrepCli( false ) );
         labels += "\"} ";
         packets +=
            Vek::concat( "flowspec_rule_packets_total", labels, counters.packetHits(), '\n' );
         bytes += Vek::concat( "flowspec_rule_bytes_total", labels, counters.byteHits(), '\n' );
      }
   }
   Vek::String out;
   begin( out, "flowspec_rules", "gauge", "Rules by what became of them." );
   for ( const Vek::Enumerator& row : hwRuleProgrammingStatusRows ) {
      out += Vek::concat( "flowspec_rules{status=\"", row.name, "\"} ", rules[row.number], '\n' );
   }
   begin( out, "flowspec_rule_packets_total", "counter", "Packets that a rule counted." );
   out += packets;
   begin( out, "flowspec_rule_bytes_total", "counter", "Bytes that a rule counted." );
   out += bytes;
   begin( out, "flowspec_other_rules", "gauge", "Rules in force without a series of their own." );
   out += Vek::concat( "flowspec_other_rules ", unlabelled, '\n' );
   begin( out, "flowspec_other_rules_packets_total", "counter", "Packets that these counted." );
   out += Vek::concat( "flowspec_other_rules_packets_total ", others.packetHits(), '\n' );
   begin( out, "flowspec_other_rules_bytes_total", "counter", "Bytes that these counted." );
   out += Vek::concat( "flowspec_other_rules_bytes_total ", others.byteHits(), '\n' );
   begin( out, "flowspec_programming_seconds", "gauge",
          "How long the last change of rules took to be in force." );
   out += Vek::concat( "flowspec_programming_seconds ", number( programming ), '\n' );
   begin( out, "flowspec_counters_timestamp_seconds", "gauge", "When counters were last read." );
   std::array< char, 32 > time{};
   std::snprintf( time.data(), time.size(), "%.3f", status.counterUpdateTime() );
   out +=
      Vek::concat( "flowspec_counters_timestamp_seconds ", std::string_view( time.data() ), '\n' );
   return out;
}

void writeWhole( const Vek::String& file, std::string_view text ) {
   const Vek::String beside = file + ".new";
   const int fd =
      ::open( beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644 );
   if ( fd < 0 ) {
      failToWrite( beside, errno );
   }
   int error = 0;
   while ( !text.empty() && error == 0 ) {
      const ssize_t written = ::write( fd, text.data(), text.size() );
      if ( written >= 0 ) {
         text.remove_prefix( static_cast< std::size_t >( written ) );
      } else if ( errno != EINTR ) {
         error = errno;
      }
   }
   ::close( fd );
   if ( error == 0 && ::rename( beside.c_str(), file.c_str() ) != 0 ) {
      error = errno;
   }
   if ( error != 0 ) {
      ::unlink( beside.c_str() );
      failToWrite( file, error );
   }
}

Repeat::Repeat( EventLoop& loop, EventLoop::Clock::duration distance,
                std::function< void() > action )
   : loop_( loop ), distance_( distance ), action_( std::move( action ) ),
     due_( EventLoop::Clock::now() + distance ) {
   loop_.add( *this );
}

void Repeat::ready() {
   action_();
   due_ += distance_;
   if ( const auto now = EventLoop::Clock::now(); due_ <= now ) {
      due_ = now + distance_;
   }
}

} // namespace Agents
