#include "Flowspec/key/CliReader.h"

#include <algorithm>
#include <limits>

namespace Flowspec {

bool FieldReader::next( std::string_view& field ) {
   if ( rest_.empty() ) {
      return false;
   }
   const std::size_t end = std::min( rest_.find( FlowspecKey::compSeparator() ), rest_.size() );
   field = rest_.substr( 0, end );
   rest_.remove_prefix( std::min( end + 1, rest_.size() ) );
   return true;
}

namespace {

unsigned digitValue( char c ) {
   if ( Vek::isDigit( c ) ) {
      return static_cast< unsigned >( c - '0' );
   }
   return c >= 'a' && c <= 'f'   ? static_cast< unsigned >( c - 'a' + 10 )
          : c >= 'A' && c <= 'F' ? static_cast< unsigned >( c - 'A' + 10 )
                                 : 16U;
}

// Reads the number that begins with the digit at `at`: hexadecimal behind "0x", octal behind "0",
// else decimal, cut to 32 bits. A number beyond 64 bits counts as the largest one of 64 bits.
U32 readNumber( const char*& at, const char* end ) {
   unsigned base = 10;
   if ( *at == '0' ) {
      base = 8;
      if ( end - at > 2 && at[1] == 'x' && digitValue( at[2] ) < 16 ) {
         base = 16;
         at += 2;
      }
   }
   constexpr U64 max = std::numeric_limits< U64 >::max();
   U64 value = 0;
   for ( ; at != end && digitValue( *at ) < base; ++at ) {
      const unsigned digit = digitValue( *at );
      value = value > ( max - digit ) / base ? max : value * base + digit;
   }
   return static_cast< U32 >( value );
}

class CliReader {
public:
   CliReader( std::string_view text, std::size_t offset, bool includesValueLength, FlowspecKey& key,
              ReadFailure& failure )
      : text_( text ), fields_( text.substr( std::min( offset, text.size() ) ) ), key_( key ),
        failure_( failure ), includesValueLength_( includesValueLength ) {}

   bool read() {
      Zorv::IpGenPrefix prefix;
      if ( !readPrefix( "Did not find a destination prefix ", "Could not parse dest prefix ",
                        prefix ) ) {
         return false;
      }
      if ( !prefix.empty() ) {
         key_.destPrefixIs( prefix );
      }
      prefix = {};
      if ( !readPrefix( "Did not find a source prefix ", "Could not parse source prefix ",
                        prefix ) ) {
         return false;
      }
      if ( !prefix.empty() ) {
         key_.srcPrefixIs( prefix );
      }
      std::string_view field;
      while ( fields_.next( field ) ) {
         if ( !readComponent( field ) ) {
            return false;
         }
      }
      return true;
   }

private:
   bool fail( const char* where, std::string_view message, std::string_view subject ) {
      failure_.where = where;
      failure_.message = message;
      failure_.subject = subject;
      return false;
   }

   bool fail( ReadFailure::Kind kind, const char* where, std::string_view message,
              std::string_view subject ) {
      failure_.kind = kind;
      return fail( where, message, subject );
   }

   // "*" leaves the prefix empty.
   bool readPrefix( std::string_view missing, std::string_view malformed,
                    Zorv::IpGenPrefix& prefix ) {
      std::string_view field;
      if ( !fields_.next( field ) ) {
         return fail( text_.data() + text_.size(), missing, text_ );
      }
      if ( field == "*" ) {
         return true;
      }
      const auto parsed = Zorv::IpGenPrefix::fromText( field );
      if ( !parsed ) {
         failure_.cause = Zorv::IpGenPrefix::badTextMessage;
         failure_.causeSubject = field;
         return fail( field.data(), malformed, text_ );
      }
      prefix = *parsed;
      return true;
   }

   bool readComponent( std::string_view field ) {
      const std::size_t colon = field.find( ':' );
      if ( colon == std::string_view::npos ) {
         return fail( field.data(), "Did not find a match component in ", field );
      }
      const MatchCompType type = getCompType( field );
      if ( type == invalid ) {
         return fail( field.data(), "Did not find a valid component label in ", field );
      }
      const bool bitfield = isBitfieldType( type );
      const char* const end = field.data() + field.size();
      const char* at = field.data() + colon + 1;
      U8 op = 0;
      bool pending = false;
      while ( at != end ) {
         switch ( *at ) {
         case '=':
            op |= OpBits::eq;
            pending = true;
            break;
         case '<':
         case '>':
            if ( bitfield ) {
               return fail( at, "Received value operator for a bitfield component ", field );
            }
            op |= *at == '<' ? OpBits::lt : OpBits::gt;
            pending = true;
            break;
         case '!':
            if ( !bitfield ) {
               return fail( at, "Received bitfield operator for a value component ", field );
            }
            op |= OpBits::invert;
            pending = true;
            break;
         case '&':
            op |= OpBits::andPrevious;
            break;
         case '|':
            break;
         default:
            if ( !Vek::isDigit( *at ) ) {
               return fail( at, "Unexpected character ", std::string_view( at, 1 ) );
            }
            if ( !readTerm( field, type, op, at ) ) {
               return false;
            }
            op = 0;
            pending = false;
            continue;
         }
         ++at;
      }
      return !pending || fail( end, " Missing value in ", field );
   }

   // Reads a length, if there is one, and a value, and stores the term.
   bool readTerm( std::string_view field, MatchCompType type, U8 op, const char*& at ) {
      const char* const begin = at;
      const char* const end = field.data() + field.size();
      if ( includesValueLength_ ) {
         op |= static_cast< U8 >( static_cast< U8 >( *at << 4 ) & OpBits::len );
         if ( end - at < 3 || at[1] != 'L' || !Vek::isDigit( at[2] ) ) {
            return fail( at, "Unexpected format for value length ", field );
         }
         at += 2;
      }
      const U32 value = readNumber( at, end );
      if ( !includesValueLength_ ) {
         op |= value <= 0xFF ? 0x00 : value <= 0xFFFF ? 0x10 : 0x20;
      }
      if ( at == end ) {
         op |= OpBits::endOfList;
      }
      const auto next = key_.trySetOpVal( index_, type, op, value );
      if ( !next ) {
         const bool tooLong = ( op & OpBits::len ) == OpBits::len;
         return tooLong ? fail( ReadFailure::Kind::valueTooLong, begin,
                                "8-byte values are not supported in ", field )
                        : fail( ReadFailure::Kind::indexTooLarge, begin,
                                "Too many terms for a rule key at ", field );
      }
      index_ = *next;
      return true;
   }

   const std::string_view text_;
   FieldReader fields_;
   FlowspecKey& key_;
   ReadFailure& failure_;
   const bool includesValueLength_;
   U32 index_ = 0;
};

} // namespace

bool readCli( std::string_view text, std::size_t offset, bool includesValueLength, FlowspecKey& key,
              ReadFailure& failure ) {
   return CliReader( text, offset, includesValueLength, key, failure ).read();
}

} // namespace Flowspec
