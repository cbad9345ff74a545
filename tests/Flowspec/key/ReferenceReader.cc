#include "tests/Flowspec/key/ReferenceReader.h"

#include "Vek/text/Exceptions.h"

#include <cctype>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace Flowspec {

namespace {

using Outcome = ReferenceReader::Outcome;

// The message of the range exception, also after a NUL.
std::string notAPrefix( const std::string& field ) {
   return "Zorv::IpGenPrefix: '" + field + "' is not a prefix";
}

// Base 0 of the C library, but for the prefixes that are not known here: after the "0" of "0X"
// and "0b" the number ends.
U32 readNumber( const std::string& field, std::size_t& at ) {
   const char next = at + 1 < field.size() ? field[at + 1] : ' ';
   if ( field[at] == '0' && ( next == 'X' || next == 'b' || next == 'B' ) ) {
      ++at;
      return 0;
   }
   char* end = nullptr;
   const unsigned long long value = std::strtoull( field.c_str() + at, &end, 0 );
   at = static_cast< std::size_t >( end - field.c_str() );
   return static_cast< U32 >( value );
}

} // namespace

Outcome ReferenceReader::bad( const std::string& message ) {
   trace.push_back( message );
   return Outcome::badText;
}

Outcome ReferenceReader::fails( const std::string& condition ) {
   assertion = condition;
   return Outcome::assertion;
}

Outcome ReferenceReader::readCli( const std::string& text, U32 offset, bool includesValueLength ) {
   std::istringstream in( text );
   in.ignore( offset );
   std::string field;
   if ( !std::getline( in, field, ';' ) ) {
      return bad( "Did not find a destination prefix " + text );
   }
   Zorv::IpGenPrefix prefix;
   if ( field != "*" ) {
      try {
         prefix.stringValueIs( field );
      } catch ( const Vek::RangeException& ) {
         return bad( "Could not parse dest prefix " + text + " : " + notAPrefix( field ) );
      }
      key.destPrefixIs( prefix );
   }
   if ( !std::getline( in, field, ';' ) ) {
      return bad( "Did not find a source prefix " + text );
   }
   if ( field != "*" ) {
      try {
         prefix.stringValueIs( field );
      } catch ( const Vek::RangeException& ) {
         return bad( "Could not parse source prefix " + text + " : " + notAPrefix( field ) );
      }
      key.srcPrefixIs( prefix );
   }
   index_ = 0;
   while ( std::getline( in, field, ';' ) ) {
      const Outcome outcome = readField( field, includesValueLength );
      if ( outcome != Outcome::good ) {
         return outcome;
      }
   }
   return Outcome::good;
}

Outcome ReferenceReader::readField( const std::string& field, bool includesValueLength ) {
   static const std::vector< std::string > labels = { "IP",  "P",   "DP",   "SP",   "IT", "IC",
                                                      "TCP", "LEN", "DSCP", "FRAG", "FL" };
   if ( field.empty() || field.find( ':' ) == std::string::npos ) {
      return bad( "Did not find a match component in " + field );
   }
   unsigned type = 0;
   for ( unsigned i = 0; i < labels.size() && type == 0; ++i ) {
      type = field.compare( 0, labels[i].size(), labels[i] ) == 0 ? i + 3 : 0;
   }
   if ( type == 0 ) {
      return bad( "Did not find a valid component label in " + field );
   }
   const bool bitfield = type == 9 || type == 12;
   unsigned op = 0;
   bool pending = false;
   std::size_t at = field.find( ':' ) + 1;
   while ( at < field.size() ) {
      const char c = field[at];
      if ( c == '=' ) {
         op |= 0x01;
         pending = true;
         ++at;
      } else if ( c == '<' || c == '>' ) {
         if ( bitfield ) {
            return bad( "Received value operator for a bitfield component " + field );
         }
         op |= c == '<' ? 0x04 : 0x02;
         pending = true;
         ++at;
      } else if ( c == '!' ) {
         if ( !bitfield ) {
            return bad( "Received bitfield operator for a value component " + field );
         }
         op |= 0x02;
         pending = true;
         ++at;
      } else if ( c == '&' ) {
         op |= 0x40;
         ++at;
      } else if ( c == '|' ) {
         ++at;
      } else if ( !std::isdigit( static_cast< unsigned char >( c ) ) ) {
         return bad( std::string( "Unexpected character " ) + c );
      } else {
         if ( includesValueLength ) {
            op |= static_cast< unsigned >( c << 4 ) & 0x30;
            if ( at + 2 >= field.size() || field[at + 1] != 'L' ||
                 !std::isdigit( static_cast< unsigned char >( field[at + 2] ) ) ) {
               return bad( "Unexpected format for value length " + field );
            }
            at += 2;
         }
         const U32 value = readNumber( field, at );
         if ( !includesValueLength ) {
            op |= value <= 255 ? 0x00 : value <= 65535 ? 0x10 : 0x20;
         }
         if ( at == field.size() ) {
            op |= 0x80;
         }
         const Outcome outcome = store( type, op, value );
         if ( outcome != Outcome::good ) {
            return outcome;
         }
         op = 0;
         pending = false;
      }
   }
   return pending ? bad( " Missing value in " + field ) : Outcome::good;
}

Outcome ReferenceReader::store( unsigned type, unsigned op, U32 value ) {
   const auto put = [&]( U32 half ) {
      key.matchOpValIs( index_++, MatchOpVal( type << 24 | op << 16 | half ) );
   };
   switch ( op >> 4 & 3 ) {
   case 0:
      put( value & 0xFF );
      break;
   case 1:
      put( value & 0xFFFF );
      break;
   case 2:
      put( value >> 16 );
      if ( index_ > 2047 ) {
         return Outcome::indexException;
      }
      put( value & 0xFFFF );
      break;
   default:
      return fails( "byteLength < 8" );
   }
   return index_ > 2047 ? Outcome::indexException : Outcome::good;
}

Outcome ReferenceReader::readCliWithRd( const std::string& text, bool includesValueLength ) {
   if ( text.substr( 0, 3 ) != "RD:" ) {
      return bad( "Did not find route distinguisher anchor " + text );
   }
   std::istringstream in( text );
   in.ignore( 3 );
   std::string field;
   if ( !std::getline( in, field, ';' ) ) {
      return bad( "Did not find route distinguisher" + text );
   }
   try {
      rd.stringValueIs( field );
   } catch ( const Vek::RangeException& ) {
      return bad( "Could not parse route distinguisher " + field +
                  " : Zorv::RouteDistinguisher: '" + field + "' is not a route distinguisher" );
   }
   const U32 offset = static_cast< U32 >( 3 + field.size() + 1 );
   const Outcome outcome = readCli( text, offset, includesValueLength );
   if ( outcome != Outcome::good ) {
      rd = Zorv::RouteDistinguisher();
   }
   return outcome;
}

Outcome ReferenceReader::readStringValue( const std::string& text ) {
   std::istringstream in( text );
   std::string field;
   if ( !( std::getline( in, field, ';' ) && !field.empty() ) ) {
      return fails( "std::getline( istr, compString, compSeparator() ) && !compString.empty()" );
   }
   try {
      key.vrfIdIs( static_cast< U32 >( std::stol( field ) ) );
   } catch ( const std::invalid_argument& ) {
      return Outcome::invalidArgument;
   } catch ( const std::out_of_range& ) {
      return Outcome::outOfRange;
   }
   if ( !( std::getline( in, field, ';' ) && !field.empty() ) ) {
      return fails( "std::getline( istr, compString, compSeparator() ) && !compString.empty()" );
   }
   if ( field == "ipv4" ) {
      key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   } else if ( field == "ipv6" ) {
      key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   } else {
      return fails( "false && \"invalid address-family\"" );
   }
   std::string rest;
   if ( !( std::getline( in, rest ) && !rest.empty() ) ) {
      return fails( "std::getline( istr, compString ) && !compString.empty()" );
   }
   if ( rest.size() >= 7 && rest.substr( 0, 7 ) == "IFSET:=" ) {
      const Outcome outcome = readInterfaceSet( rest );
      if ( outcome != Outcome::good ) {
         return outcome;
      }
      rest = rest.substr( interfaceSetEnd + 1 );
   }
   const Outcome outcome = readCli( rest, 0, true );
   return outcome == Outcome::badText ? fails( "copyInStrCli( compString, true )" ) : outcome;
}

Outcome ReferenceReader::readInterfaceSet( const std::string& text ) {
   interfaceSetEnd = text.find( ';' );
   if ( interfaceSetEnd == std::string::npos ) {
      return fails( "endpos != std::string::npos" );
   }
   std::size_t at = 7;
   while ( at < interfaceSetEnd ) {
      std::string digits;
      while ( std::isdigit( static_cast< unsigned char >( text[at] ) ) ) {
         digits += text[at++];
      }
      if ( digits.empty() ) {
         return fails( "next > curr" );
      }
      const unsigned long long id = std::strtoull( digits.c_str(), nullptr, 10 );
      if ( id > 16383 ) {
         return fails( "interfaceSet <= Config::maxInterfaceSetId()" );
      }
      key.interfaceSetPush( static_cast< U16 >( id ) );
      if ( at < interfaceSetEnd && text[at] != ',' ) {
         return fails( "next >= end || *next == interfaceSetListDelim" );
      }
      ++at;
   }
   return Outcome::good;
}

} // namespace Flowspec
