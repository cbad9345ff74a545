#include "Vek/text/Text.h"
#include "dataplane/nftables/Ruleset.h"

namespace Dataplane::Nftables {

namespace {

using Vek::concat;
using Zorv::AddressFamily;

std::string_view familyName( AddressFamily family ) {
   return family == AddressFamily::ipv6 ? "ip6" : "ip";
}

std::string_view unitName( U64 seconds ) {
   return seconds == 1       ? "second"
          : seconds == 60    ? "minute"
          : seconds == 3600  ? "hour"
          : seconds == 86400 ? "day"
                             : "week";
}

Vek::String hex( U32 value ) {
   constexpr std::string_view digits = "0123456789abcdef";
   Vek::String text;
   do {
      text.insert( text.begin(), digits[value & 0xF] );
      value >>= 4;
   } while ( value != 0 );
   return "0x" + text;
}

Vek::String fieldText( const Field& field, AddressFamily family ) {
   switch ( field.source ) {
   case Field::Source::l4proto:
      return "meta l4proto";
   case Field::Source::fragmentHeader:
      return field.size == 1 ? "frag more-fragments" : "frag frag-off";
   default:
      if ( field.source == Field::Source::network && field.mask == 0xFFFF ) {
         return concat( familyName( family ), " length" );
      }
      const std::string_view base = field.source == Field::Source::network ? "@nh," : "@th,";
      Vek::String text = concat( base, 8 * field.offset, ",", 8 * field.size );
      return field.mask == field.allBits() ? text : concat( text, " & ", hex( field.mask ) );
   }
}

Vek::String rangeText( const Range& range ) {
   return range.low == range.high ? concat( range.low ) : concat( range.low, "-", range.high );
}

class LineText {
public:
   explicit LineText( AddressFamily family ) : family_( family ) {}

   Vek::String operator()( const Test& test ) const {
      Vek::String text = fieldText( test.field, family_ );
      text += test.negated ? " != " : " ";
      if ( test.ranges.size() == 1 ) {
         return text + rangeText( test.ranges.front() );
      }
      text += "{ ";
      for ( const Range& range : test.ranges ) {
         text += ( &range == &test.ranges.front() ? "" : ", " ) + rangeText( range );
      }
      return text + " }";
   }
   Vek::String operator()( const SourceTest& test ) const {
      return concat( familyName( family_ ), " saddr ", test.prefix.stringValue() );
   }
   Vek::String operator()( const NoFragmentHeader& ) const { return "exthdr frag missing"; }
   Vek::String operator()( const InterfaceTest& test ) const {
      return concat( "iifname @", test.set );
   }
   Vek::String operator()( const Count& count ) const {
      return concat( "counter name \"", count.counter, "\"" );
   }
   Vek::String operator()( const OverLimit& limit ) const {
      return concat( "limit name \"", limit.limit, "\"" );
   }
   Vek::String operator()( const Log& log ) const {
      return concat( "log prefix \"", log.prefix, "\" group ", log.group );
   }
   Vek::String operator()( const SetMark& set ) const {
      return concat( "meta mark set meta mark & ", hex( ~markMask ), " | ", hex( set.mark ) );
   }
   Vek::String operator()( const Duplicate& duplicate ) const {
      return concat( "dup to ", duplicate.nextHop.stringValue() );
   }
   Vek::String operator()( const SetDscp& set ) const {
      return concat( familyName( family_ ), " dscp set ", set.dscp );
   }
   Vek::String operator()( const Dispatch& dispatch ) const {
      return dispatch.by == Dispatch::By::interface ? concat( "iifname vmap @", dispatch.map )
                                                    : concat( familyName( family_ ),
                                                              " daddr vmap @", dispatch.map );
   }
   Vek::String operator()( const Verdict& verdict ) const {
      switch ( verdict.kind ) {
      case Verdict::Kind::accept:
         return "accept";
      case Verdict::Kind::drop:
         return "drop";
      case Verdict::Kind::jump:
         return "jump " + verdict.chain;
      case Verdict::Kind::jumpTo:
         break;
      }
      return "goto " + verdict.chain;
   }

private:
   const AddressFamily family_;
};

Vek::String limitText( const Limit& limit ) {
   return limit.bytes ? concat( "rate over ", limit.perUnit, " bytes/", unitName( limit.unit ) )
                      : concat( "rate over ", limit.perUnit, "/", unitName( limit.unit ), " burst ",
                                limit.burst, " packets" );
}

// The elements of a set or map, none of which is given when there is none.
template < typename Elements, typename TextOf >
Vek::String elementsText( const Elements& elements, TextOf textOf ) {
   if ( elements.empty() ) {
      return "";
   }
   Vek::String text = "\t\telements = { ";
   bool first = true;
   for ( const auto& element : elements ) {
      text += first ? "" : ",\n\t\t\t     ";
      text += textOf( element );
      first = false;
   }
   return text + " }\n";
}

} // namespace

Vek::String text( const Line& line, AddressFamily family ) {
   Vek::String text;
   const LineText lineText( family );
   for ( const Expression& expression : line ) {
      text += text.empty() ? "" : " ";
      text += std::visit( lineText, expression );
   }
   return text;
}

Vek::String text( const Ruleset& ruleset ) {
   const bool v6 = ruleset.family == AddressFamily::ipv6;
   Vek::String all = concat( "table ", familyName( ruleset.family ), " ", tableName, " {\n" );
   for ( const Vek::String& counter : ruleset.counters ) {
      all += concat( "\tcounter ", counter, " {\n\t\tpackets 0 bytes 0\n\t}\n" );
   }
   for ( const auto& [name, limit] : ruleset.limits ) {
      all += concat( "\tlimit ", name, " {\n\t\t", limitText( limit ), "\n\t}\n" );
   }
   all += concat( "\tmap ", interfaceMap, " {\n\t\ttype ifname : verdict\n" );
   all += elementsText( ruleset.interfaces, []( const auto& one ) {
      return concat( '"', one.first, "\" : goto ", one.second );
   } );
   all += "\t}\n";
   for ( const auto& [name, interfaces] : ruleset.interfaceSets ) {
      all += concat( "\tset ", name, " {\n\t\ttype ifname\n" );
      all += elementsText( interfaces,
                           []( const Vek::String& one ) { return concat( '"', one, '"' ); } );
      all += "\t}\n";
   }
   for ( const auto& [name, intervals] : ruleset.destinations ) {
      all += concat( "\tmap ", name, " {\n\t\ttype ", v6 ? "ipv6_addr" : "ipv4_addr",
                     " : verdict\n\t\tflags interval\n" );
      all += elementsText( intervals, []( const Interval& one ) {
         return concat( one.first.stringValue(), "-", one.last.stringValue(), " : goto ",
                        one.chain );
      } );
      all += "\t}\n";
   }
   for ( const auto& [name, chain] : ruleset.chains ) {
      all += concat( "\tchain ", name, " {\n" );
      if ( name == baseChain ) {
         all += concat( "\t\ttype filter hook prerouting priority ", hookPriority,
                        "; policy accept;\n" );
      }
      for ( const Lines& lines : chain.parts ) {
         for ( const Line& line : *lines ) {
            all += concat( "\t\t", text( line, ruleset.family ), "\n" );
         }
      }
      all += "\t}\n";
   }
   return all + "}\n";
}

} // namespace Dataplane::Nftables
