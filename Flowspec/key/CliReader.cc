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

bool isHexadecimalDigit( char c ) {
   return Vek::isDigit( c ) || ( c >= 'a' && c <= 'f' ) || ( c >= 'A' && c <= 'F' );
}

// Reads the number that begins with the digit at `at`: hexadecimal behind "0x", octal behind "0",
// else decimal. A number beyond 64 bits counts as the largest one of 64 bits; then all are cut
// to 32.
U32 readNumber( const char*& at, const char* end ) {
   int base = 10;
   if ( *at != '0' ) [[likely]] {
      U64 value = 0;
      const char* next = at;
      for ( unsigned digit; next != end && ( digit = Vek::digitValue( *next ) ) < 10; ++next ) {
         value = value * 10 + digit;
      }
      if ( next - at <= std::numeric_limits< U64 >::digits10 ) [[likely]] {
         at = next;
         return static_cast< U32 >( value );
      }
   } else {
      const bool hexadecimal = end - at > 2 && at[1] == 'x' && isHexadecimalDigit( at[2] );
      base = hexadecimal ? 16 : 8;
      at += hexadecimal ? 2 : 0;
   }
   U64 value = std::numeric_limits< U64 >::max(); // stays when the number is too large
   at = std::from_chars( at, end, value, base ).ptr;
   return static_cast< U32 >( value );
}

// What each character adds to the operator byte of a numeric or a bitmask component.
struct Operators {
   static constexpr U8 none = 0xFF;
   U8 bits[256];

   constexpr explicit Operators( bool bitmask ) {
      std::fill_n( bits, 256, none );
      at( '=' ) = OpBits::eq;
      at( '&' ) = OpBits::andPrevious;
      at( '|' ) = 0;
      if ( bitmask ) {
         at( '!' ) = OpBits::invert;
      } else {
         at( '<' ) = OpBits::lt;
         at( '>' ) = OpBits::gt;
      }
   }

   constexpr U8& at( char c ) { return bits[static_cast< U8 >( c )]; }
   U8 operator[]( char c ) const { return bits[static_cast< U8 >( c )]; }
};
constexpr Operators numericOperators( false );
constexpr Operators bitmaskOperators( true );

// One pass over the text; the bounds of a field are looked for only when it is bad.
class CliReader {
public:
   CliReader( std::string_view text, std::size_t offset, bool includesValueLength, FlowspecKey& key,
              ReadFailure& failure )
      : text_( text ), at_( text.data() + std::min( offset, text.size() ) ),
        end_( text.data() + text.size() ), key_( key ), failure_( failure ),
        includesValueLength_( includesValueLength ) {}

   bool read() {
      if ( !readPrefix( "Did not find a destination prefix ", "Could not parse dest prefix ",
                        &FlowspecKey::destPrefixIs ) ||
           !readPrefix( "Did not find a source prefix ", "Could not parse source prefix ",
                        &FlowspecKey::srcPrefixIs ) ) {
         return false;
      }
      while ( at_ != end_ ) {
         if ( !readComponent() ) {
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

   // The field that begins at `begin`.
   std::string_view field( const char* begin ) const {
      const std::string_view rest( begin, end_ );
      return rest.substr( 0, rest.find( FlowspecKey::compSeparator() ) );
   }

   bool atFieldEnd() const { return at_ == end_ || *at_ == FlowspecKey::compSeparator(); }

   // Goes behind the separator that ends the field, if there is one.
   void leaveField() { at_ += at_ != end_; }

   bool readPrefix( std::string_view missing, std::string_view malformed,
                    void ( FlowspecKey::*assign )( const Zorv::IpGenPrefix& ) ) {
      if ( at_ == end_ ) {
         return fail( end_, missing, text_ );
      }
      const std::string_view text = field( at_ );
      if ( text != "*" ) {
         const auto prefix = Zorv::IpGenPrefix::fromText( text );
         if ( !prefix ) {
            failure_.cause = Zorv::IpGenPrefix::badTextMessage;
            failure_.causeSubject = text;
            return fail( at_, malformed, text_ );
         }
         ( key_.*assign )( *prefix );
      }
      at_ += text.size();
      leaveField();
      return true;
   }

   bool readComponent() {
      const char* const begin = at_;
      while ( !atFieldEnd() && *at_ != ':' ) {
         ++at_;
      }
      if ( atFieldEnd() ) {
         return fail( begin, "Did not find a match component in ", field( begin ) );
      }
      const MatchCompType type = getCompType( { begin, end_ } );
      if ( type == invalid ) {
         return fail( begin, "Did not find a valid component label in ", field( begin ) );
      }
      const Operators& operators = isBitfieldType( type ) ? bitmaskOperators : numericOperators;
      ++at_;
      U8 op = 0;
      while ( !atFieldEnd() ) {
         if ( const U8 bits = operators[*at_]; bits != Operators::none ) {
            op |= bits;
            ++at_;
         } else if ( !Vek::isDigit( *at_ ) ) {
            return failAtCharacter( begin );
         } else if ( readTerm( begin, type, op ) ) {
            op = 0;
         } else {
            return false;
         }
      }
      if ( op & ( OpBits::lt | OpBits::gt | OpBits::eq ) ) {
         return fail( at_, " Missing value in ", field( begin ) );
      }
      leaveField();
      return true;
   }

   // A character that is no operator of the component is one of the other kind, or none.
   bool failAtCharacter( const char* begin ) {
      switch ( *at_ ) {
      case '<':
      case '>':
         return fail( at_, "Received value operator for a bitfield component ", field( begin ) );
      case '!':
         return fail( at_, "Received bitfield operator for a value component ", field( begin ) );
      default:
         return fail( at_, "Unexpected character ", std::string_view( at_, 1 ) );
      }
   }

   // Reads a length, if there is one, and a value, and stores the term. `begin` is where its field
   // begins.
   bool readTerm( const char* begin, MatchCompType type, U8 op ) {
      const char* const term = at_;
      if ( includesValueLength_ ) {
         op |= static_cast< U8 >( static_cast< U8 >( *at_ << 4 ) & OpBits::len );
         if ( end_ - at_ < 3 || at_[1] != 'L' || !Vek::isDigit( at_[2] ) ) {
            return fail( at_, "Unexpected format for value length ", field( begin ) );
         }
         at_ += 2;
      }
      const U32 value = readNumber( at_, end_ );
      if ( !includesValueLength_ ) {
         op |= value <= 0xFF ? 0x00 : value <= 0xFFFF ? 0x10 : 0x20;
      }
      if ( atFieldEnd() ) {
         op |= OpBits::endOfList;
      }
      const auto next = key_.trySetOpVal( index_, type, op, value );
      if ( !next ) {
         const bool tooLong = ( op & OpBits::len ) == OpBits::len;
         return tooLong ? fail( ReadFailure::Kind::valueTooLong, term,
                                "8-byte values are not supported in ", field( begin ) )
                        : fail( ReadFailure::Kind::indexTooLarge, term,
                                "Too many terms for a rule key at ", field( begin ) );
      }
      index_ = *next;
      return true;
   }

   const std::string_view text_;
   const char* at_;
   const char* const end_;
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
