#include "Flowspec/key/ValueReader.h"

#include "Flowspec/key/CliReader.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace Flowspec {

namespace {

using Kind = ReadFailure::Kind;

bool fail( ReadFailure& failure, Kind kind, const char* where, std::string_view message,
           std::string_view subject, const char* assertion = nullptr ) {
   failure.kind = kind;
   failure.where = where;
   failure.message = message;
   failure.subject = subject;
   failure.assertion = assertion;
   return false;
}

// As `std::stol` reads: blanks, a sign, digits; what follows them is left.
bool readSignedLong( std::string_view field, long& value, ReadFailure& failure ) {
   static constexpr std::string_view blanks = " \t\n\v\f\r";
   std::string_view digits = field;
   bool negative = false;
   if ( !Vek::isDigit( digits.front() ) ) [[unlikely]] {
      digits.remove_prefix( std::min( digits.find_first_not_of( blanks ), digits.size() ) );
      negative = digits.starts_with( '-' );
      if ( negative || digits.starts_with( '+' ) ) {
         digits.remove_prefix( 1 );
      }
   }
   // The largest magnitude that fits, as `std::stol` knows it.
   const U64 max = static_cast< U64 >( std::numeric_limits< long >::max() ) + negative;
   U64 magnitude = 0;
   const auto [stop, error] =
      std::from_chars( digits.data(), digits.data() + digits.size(), magnitude );
   if ( stop == digits.data() ) {
      return fail( failure, Kind::notANumber, field.data(), "Could not parse VRF ", field );
   }
   if ( error != std::errc() || magnitude > max ) {
      return fail( failure, Kind::numberTooLarge, field.data(), "Could not parse VRF ", field );
   }
   value = static_cast< long >( negative ? -magnitude : magnitude );
   return true;
}

} // namespace

bool readValueHead( std::string_view text, FlowspecKey& key, std::string_view& rest,
                    ReadFailure& failure ) {
   static constexpr const char* missingField =
      "std::getline( istr, compString, compSeparator() ) && !compString.empty()";
   FieldReader fields( text );
   std::string_view field;
   if ( !fields.next( field ) || field.empty() ) {
      return fail( failure, Kind::assertion, text.data(), "Did not find a VRF in ", text,
                   missingField );
   }
   long vrfId = 0;
   if ( !readSignedLong( field, vrfId, failure ) ) {
      return false;
   }
   key.vrfIdIs( static_cast< Vrf::VrfIdMap::VrfId >( vrfId ) );
   const char* const familyField = fields.rest().data();
   if ( !fields.next( field ) || field.empty() ) {
      return fail( failure, Kind::assertion, familyField, "Did not find an address family in ",
                   text, missingField );
   }
   const auto family = Zorv::addressFamily( field );
   if ( family != Zorv::AddressFamily::ipv4 && family != Zorv::AddressFamily::ipv6 ) {
      return fail( failure, Kind::assertion, field.data(), "Invalid address family ", field,
                   "false && \"invalid address-family\"" );
   }
   key.addressFamilyIs( *family );
   rest = fields.rest();
   rest = rest.substr( 0, rest.find( '\n' ) );
   if ( rest.empty() ) {
      return fail( failure, Kind::assertion, rest.data(), "Did not find match components in ", text,
                   "std::getline( istr, compString ) && !compString.empty()" );
   }
   if ( rest.starts_with( interfaceSetAnchor ) ) {
      std::size_t end = 0;
      if ( !readInterfaceSetList( rest, maxInterfaceSetId, key, end, failure ) ) {
         return false;
      }
      rest.remove_prefix( end + 1 );
   }
   return true;
}

bool readInterfaceSetList( std::string_view text, U32 max, FlowspecKey& key, std::size_t& end,
                           ReadFailure& failure ) {
   end = text.find( FlowspecKey::compSeparator() );
   if ( end == std::string_view::npos ) {
      return fail( failure, Kind::assertion, text.data() + text.size(),
                   "Did not find the end of the interface-set list in ", text,
                   "endpos != std::string::npos" );
   }
   const char* at = text.data() + std::min( interfaceSetAnchor.size(), end );
   const char* const stop = text.data() + end;
   while ( at < stop ) {
      U32 id = 0;
      const auto [next, error] = std::from_chars( at, stop, id );
      if ( next == at ) {
         return fail( failure, Kind::assertion, at, "Did not find an interface-set number in ",
                      text, "next > curr" );
      }
      if ( error != std::errc() || id > max ) {
         return fail( failure, Kind::assertion, at, "Interface-set number is too large in ", text,
                      "interfaceSet <= Config::maxInterfaceSetId()" );
      }
      key.interfaceSetPush( static_cast< U16 >( id ) );
      if ( next < stop && *next != interfaceSetListDelim ) {
         return fail( failure, Kind::assertion, next,
                      "Unexpected character in the interface-set list ", text,
                      "next >= end || *next == interfaceSetListDelim" );
      }
      at = next + 1;
   }
   return true;
}

bool readDiagnostic( std::string_view text, FlowspecKey& key, ReadFailure& failure ) {
   if ( !text.ends_with( FlowspecKey::compSeparator() ) ) {
      return fail( failure, Kind::text, text.data() + text.size(), "Did not find the last ; in ",
                   text );
   }
   FieldReader fields( text );
   std::string_view field;
   fields.next( field );
   if ( !field.empty() ) {
      const auto vrfId = Vek::decimal( field, std::numeric_limits< U32 >::max() );
      if ( !vrfId ) {
         return fail( failure, Kind::text, field.data(), "Could not parse VRF ", field );
      }
      key.vrfIdIs( static_cast< U32 >( *vrfId ) );
   }
   if ( !fields.next( field ) ) {
      return fail( failure, Kind::text, fields.rest().data(), "Did not find an address family in ",
                   text );
   }
   if ( !field.empty() ) {
      const auto family = Zorv::addressFamily( field );
      if ( !family ) {
         return fail( failure, Kind::text, field.data(), "Invalid address family ", field );
      }
      key.addressFamilyIs( *family );
   }
   if ( fields.rest().starts_with( interfaceSetAnchor ) ) {
      std::size_t end = 0;
      // A key holds any 16-bit number, and this form shows what a key holds.
      if ( !readInterfaceSetList( fields.rest(), 0xFFFF, key, end, failure ) ) {
         return false;
      }
      fields = FieldReader( fields.rest().substr( end + 1 ) );
   }
   for ( const bool destination : { true, false } ) {
      if ( !fields.next( field ) ) {
         return fail( failure, Kind::text, fields.rest().data(), "Did not find two prefixes in ",
                      text );
      }
      if ( field.empty() ) {
         continue;
      }
      const auto prefix = Zorv::IpGenPrefix::fromText( field );
      if ( !prefix ) {
         return fail( failure, Kind::text, field.data(), "Could not parse prefix ", field );
      }
      destination ? key.destPrefixIs( *prefix ) : key.srcPrefixIs( *prefix );
   }
   for ( U32 index = 0; fields.next( field ); ++index ) {
      const auto word = Vek::decimal( field, std::numeric_limits< U32 >::max() );
      if ( !word ) {
         return fail( failure, Kind::text, field.data(), "Could not parse word ", field );
      }
      if ( index > MatchOpValIndex::max() ) {
         return fail( failure, Kind::indexTooLarge, field.data(),
                      "Too many terms for a rule key at ", field );
      }
      key.matchOpValIs( index, MatchOpVal( static_cast< U32 >( *word ) ) );
   }
   return true;
}

} // namespace Flowspec
