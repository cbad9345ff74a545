#include "bench/support/Measure.h"
#include "tests/wire/PlainNlri.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <cstring>
#include <fstream>

/// Reading and writing NLRI, beside the plain decoder of vectors and beside a copy of the octets.
/// The input is the octets of the public rules that a key can hold, in one block, in the order of
/// their file.

namespace {

using namespace Wire;

struct Rule {
   std::size_t at;
   std::size_t size;
   NlriFormat format;
   Nlri nlri;
   std::vector< U8 > octets;
};

U8 digit( char c ) { return static_cast< U8 >( c <= '9' ? c - '0' : c - 'a' + 10 ); }

// The text of a member of one line of the file.
std::string_view member( const std::string& line, std::string_view name ) {
   const std::size_t begin = line.find( name ) + name.size();
   return std::string_view( line ).substr( begin, line.find( '"', begin ) - begin );
}

struct Input {
   std::vector< U8 > block;
   std::vector< Rule > rules;

   Input() {
      std::ifstream in( PUBLIC_RULES );
      for ( std::string line; std::getline( in, line ); ) {
         const bool ipv6 = member( line, "\"af\":\"" ) == "ipv6";
         Rule rule{ block.size(),
                    0,
                    { ipv6 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4,
                      line.find( "\"rd\":null" ) == std::string::npos },
                    {},
                    {} };
         const std::string_view hex = member( line, "\"hexNlri\":\"" );
         for ( std::size_t i = 0; i < hex.size(); i += 2 ) {
            rule.octets.push_back(
               static_cast< U8 >( digit( hex[i] ) << 4 | digit( hex[i + 1] ) ) );
         }
         rule.size = rule.octets.size();
         if ( decodeNlri( rule.octets, rule.format, rule.nlri ) ) {
            continue; // an offset
         }
         Bench::require( plainKey( TestSupport::plainDecode( rule.octets, rule.format, true ),
                                   rule.format ) == rule.nlri.key,
                         line );
         block.insert( block.end(), rule.octets.begin(), rule.octets.end() );
         rules.push_back( std::move( rule ) );
      }
      Bench::require( rules.size() == 140, PUBLIC_RULES );
   }
};

const Input& input() {
   static const Input theInput;
   return theInput;
}

void decodeRules( benchmark::State& state ) {
   const std::span< const U8 > block = input().block;
   Nlri nlri;
   Bench::perItem( state, input().rules, [&]( const Rule& rule ) {
      NlriList list( block.subspan( rule.at ), rule.format );
      benchmark::DoNotOptimize( list.next( nlri ).has_value() );
      benchmark::DoNotOptimize( nlri );
   } );
}
BENCHMARK( decodeRules );

void decodeRulesPlain( benchmark::State& state ) {
   Bench::perItem( state, input().rules, []( const Rule& rule ) {
      benchmark::DoNotOptimize( TestSupport::plainDecode( rule.octets, rule.format, true ) );
   } );
}
BENCHMARK( decodeRulesPlain );

void encodeRules( benchmark::State& state ) {
   std::vector< U8 > out;
   out.reserve( maxNlriLength + 2 );
   Bench::perItem( state, input().rules, [&]( const Rule& rule ) {
      out.clear();
      benchmark::DoNotOptimize(
         encodeNlri( rule.nlri.key, rule.format, rule.nlri.rd, ValueLengths::asStored, out ) );
      benchmark::DoNotOptimize( out.data() );
      benchmark::ClobberMemory();
   } );
}
BENCHMARK( encodeRules );

void copyRules( benchmark::State& state ) {
   const U8* const block = input().block.data();
   std::vector< U8 > out( input().block.size() );
   Bench::perItem( state, input().rules, [&]( const Rule& rule ) {
      std::memcpy( out.data() + rule.at, block + rule.at, rule.size );
      benchmark::DoNotOptimize( out.data() );
      benchmark::ClobberMemory();
   } );
}
BENCHMARK( copyRules );

} // namespace
