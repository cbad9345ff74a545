#include "Flowspec/key/CliReader.h"

#include "Flowspec/key/CliTables.h"

#include <algorithm>
#include <charconv>
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

// Reads the number that begins with the digit at `at`: hexadecimal after "0x", octal after "0",
// else decimal. A number beyond 64 bits counts as the largest one of 64 bits; then all are cut
// to 32.
U32 readAnyNumber( const char*& at, const char* end ) {
   int base = 10;
   if ( *at == '0' ) {
      const bool hexadecimal = end - at > 2 && at[1] == 'x' && isHexadecimalDigit( at[2] );
      base = hexadecimal ? 16 : 8;
      at += hexadecimal ? 2 : 0;
   }
   U64 value = std::numeric_limits< U64 >::max(); // stays when the number is too large
   at = std::from_chars( at, end, value, base ).ptr;
   return static_cast< U32 >( value );
}

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
                        [this]( const auto& prefix ) { key_.destPrefixIs( prefix ); } ) ||
           !readPrefix( "Did not find a source prefix ", "Could not parse source prefix ",
                        [this]( const auto& prefix ) { key_.srcPrefixIs( prefix ); } ) ) {
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

   // The next eight characters; there is at least one.
   U64 next() const { return Vek::eightCharacters( text_, offset() ); }

   std::size_t offset() const { return static_cast< std::size_t >( at_ - text_.data() ); }

   // Goes after the separator that ends the field, if there is one.
   void leaveField() { at_ += at_ != end_; }

   template < typename Assign >
   bool readPrefix( std::string_view missing, std::string_view malformed, Assign assign ) {
      if ( at_ == end_ ) {
         return fail( end_, missing, text_ );
      }
      const char* const begin = at_;
      if ( *at_ == '*' ) {
         ++at_;
         if ( atFieldEnd() ) {
            leaveField();
            return true;
         }
      } else {
         std::size_t offset = this->offset();
         const auto prefix = Zorv::IpGenPrefix::takeFrom( text_, offset );
         at_ = text_.data() + offset;
         if ( prefix && atFieldEnd() ) {
            assign( *prefix );
            leaveField();
            return true;
         }
      }
      failure_.cause = Zorv::IpGenPrefix::badTextMessage;
      failure_.causeSubject = field( begin );
      return fail( begin, malformed, text_ );
   }

   bool readComponent() {
      const char* const begin = at_;
      const U64 characters = next();
      const ComponentHead& head = componentHeads[characters];
      MatchCompType type = head.type;
      if ( ( characters & head.mask ) == head.characters ) [[likely]] {
         at_ += head.length;
      } else if ( !readLabel( type ) ) {
         return false;
      }
      const Operators& operators = isBitmask( type ) ? bitmaskOperators : numericOperators;
      U8 op = 0;
      while ( at_ != end_ ) {
         const U8 bits = operators[*at_];
         if ( bits < Operators::digit ) {
            op |= bits;
            ++at_;
         } else if ( bits == Operators::digit ) {
            if ( !readTerm( begin, type, op ) ) {
               return false;
            }
            op = 0;
         } else if ( *at_ == FlowspecKey::compSeparator() ) {
            break;
         } else {
            return failAtCharacter( begin );
         }
      }
      if ( op & ( OpBits::lt | OpBits::gt | OpBits::eq ) ) {
         return fail( at_, " Missing value in ", field( begin ) );
      }
      leaveField();
      return true;
   }

   // Reads a label and whatever is between it and the ":".
   bool readLabel( MatchCompType& type ) {
      const char* const begin = at_;
      while ( !atFieldEnd() && *at_ != ':' ) {
         ++at_;
      }
      if ( atFieldEnd() ) {
         return fail( begin, "Did not find a match component in ", field( begin ) );
      }
      type = getCompType( { begin, end_ } );
      if ( type == invalid ) {
         return fail( begin, "Did not find a valid component label in ", field( begin ) );
      }
      ++at_;
      return true;
   }

   // Reads the number that begins with the digit at hand.
   U32 readNumber() {
      const Vek::LeadingNumber number( next() );
      if ( *at_ == '0' || number.length == 8 ) [[unlikely]] {
         return readAnyNumber( at_, end_ );
      }
      at_ += number.length;
      return number.value;
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
      const U32 value = readNumber();
      if ( !includesValueLength_ ) {
         op |= value <= 0xFF ? 0x00 : value <= 0xFFFF ? 0x10 : 0x20;
      }
      if ( atFieldEnd() ) {
         op |= OpBits::endOfList;
      }
      const auto index = key_.trySetOpVal( index_, type, op, value );
      if ( !index ) {
         const bool tooLong = ( op & OpBits::len ) == OpBits::len;
         return tooLong ? fail( ReadFailure::Kind::valueTooLong, term,
                                "8-byte values are not supported in ", field( begin ) )
                        : fail( ReadFailure::Kind::indexTooLarge, term,
                                "Too many terms for a rule key at ", field( begin ) );
      }
      index_ = *index;
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
