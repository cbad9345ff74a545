#include "tests/support/PlainKey.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>
#include <stdexcept>

namespace Plain {

namespace {

struct Label {
   U8 type;
   std::string text;
};

const std::vector< Label > labels = {
   { 3, "IP" },  { 4, "P" },    { 5, "DP" },    { 6, "SP" },    { 7, "IT" },  { 8, "IC" },
   { 9, "TCP" }, { 10, "LEN" }, { 11, "DSCP" }, { 12, "FRAG" }, { 13, "FL" },
};

constexpr U16 maxIndex = 2047;

bool isBitfield( U8 type ) { return type == 9 || type == 12; }

bool isDigit( char c ) { return std::isdigit( static_cast< unsigned char >( c ) ); }

// Stores one term, and says whether the next index is still one.
bool store( Key& key, U32& index, U8 type, U8 op, U32 value ) {
   const U32 upper = U32{ type } << 24 | U32{ op } << 16;
   switch ( op >> 4 & 3 ) {
   case 0:
      key.words[static_cast< U16 >( index++ )] = upper | ( value & 0xFF );
      break;
   case 1:
      key.words[static_cast< U16 >( index++ )] = upper | ( value & 0xFFFF );
      break;
   case 2:
      key.words[static_cast< U16 >( index++ )] = upper | value >> 16;
      if ( index <= maxIndex ) {
         key.words[static_cast< U16 >( index )] = upper | ( value & 0xFFFF );
      }
      ++index;
      break;
   default:
      return false;
   }
   return index <= maxIndex;
}

bool readComponent( const std::string& field, bool includesValueLength, U32& index, Key& key ) {
   const std::size_t colon = field.find( ':' );
   if ( colon == std::string::npos ) {
      return false;
   }
   const auto label = std::find_if( labels.begin(), labels.end(), [&]( const Label& candidate ) {
      return field.compare( 0, candidate.text.size(), candidate.text ) == 0;
   } );
   if ( label == labels.end() ) {
      return false;
   }
   U8 op = 0;
   bool pending = false;
   for ( std::size_t at = colon + 1; at < field.size(); ) {
      const char c = field[at];
      if ( isDigit( c ) ) {
         if ( includesValueLength ) {
            op = static_cast< U8 >( op | ( c - '0' ) % 4 << 4 );
            if ( field.compare( at + 1, 1, "L" ) != 0 || at + 2 == field.size() ||
                 !isDigit( field[at + 2] ) ) {
               return false;
            }
            at += 2;
         }
         char* end = nullptr;
         const U32 value = static_cast< U32 >( std::strtoul( field.c_str() + at, &end, 0 ) );
         at = static_cast< std::size_t >( end - field.c_str() );
         if ( !includesValueLength ) {
            op = static_cast< U8 >( op | ( value > 0xFFFF ? 0x20 : value > 0xFF ? 0x10 : 0 ) );
         }
         if ( at == field.size() ) {
            op |= 0x80;
         }
         if ( !store( key, index, label->type, op, value ) ) {
            return false;
         }
         op = 0;
         pending = false;
         continue;
      }
      const bool bitfield = isBitfield( label->type );
      if ( c == '=' ) {
         op |= 0x01;
         pending = true;
      } else if ( ( c == '>' && !bitfield ) || ( c == '!' && bitfield ) ) {
         op |= 0x02;
         pending = true;
      } else if ( c == '<' && !bitfield ) {
         op |= 0x04;
         pending = true;
      } else if ( c == '&' ) {
         op |= 0x40;
      } else if ( c != '|' ) {
         return false;
      }
      ++at;
   }
   return !pending;
}

bool readInterfaceSets( const std::string& list, Key& key ) {
   std::istringstream in( list );
   std::string number;
   while ( std::getline( in, number, ',' ) ) {
      if ( number.empty() || !std::all_of( number.begin(), number.end(), isDigit ) ) {
         return false;
      }
      const unsigned long id = std::strtoul( number.c_str(), nullptr, 10 );
      if ( id > 16383 ) {
         return false;
      }
      key.interfaceSets.push_back( static_cast< U16 >( id ) );
   }
   return true;
}

void writePrefix( std::ostream& out, const Prefix& prefix ) {
   if ( prefix.family == 0 ) {
      out << '*';
      return;
   }
   char text[INET6_ADDRSTRLEN];
   inet_ntop( prefix.family == 1 ? AF_INET : AF_INET6, prefix.bytes.data(), text, sizeof text );
   out << text << '/' << unsigned{ prefix.length };
}

void writeTerms( std::ostream& out, const Key& key, bool includeValueLength ) {
   U8 previousType = 0;
   for ( auto word = key.words.begin(); word != key.words.end(); ++word ) {
      const U8 type = static_cast< U8 >( word->second >> 24 );
      const U8 op = static_cast< U8 >( word->second >> 16 );
      const unsigned length = op >> 4 & 3;
      U32 value = word->second & 0xFFFF;
      if ( length == 2 ) {
         ++word;
         value = value << 16 | ( word->second & 0xFFFF );
      }
      if ( type != previousType ) {
         out << ';' << labels.at( type - 3U ).text << ':';
      } else {
         out << ( op & 0x40 ? '&' : '|' );
      }
      if ( isBitfield( type ) ) {
         out << ( op & 0x02 ? "!" : "" ) << ( op & 0x01 ? "=" : "" );
      } else {
         out << ( op & 0x04 ? "<" : "" ) << ( op & 0x02 ? ">" : "" ) << ( op & 0x01 ? "=" : "" );
      }
      if ( includeValueLength ) {
         out << length << 'L';
      }
      out << value;
      previousType = type;
   }
}

void writeComponents( std::ostream& out, const Key& key, bool includeValueLength ) {
   writePrefix( out, key.destPrefix );
   out << ';';
   writePrefix( out, key.srcPrefix );
   writeTerms( out, key, includeValueLength );
   out << ';';
}

Prefix plainPrefix( const Zorv::IpGenPrefix& prefix ) {
   return { static_cast< U8 >( prefix.family() ), prefix.length(), prefix.address().bytes() };
}

} // namespace

Key plainKey( const Flowspec::FlowspecKey& key ) {
   Key plain{ key.vrfId(),
              static_cast< U8 >( key.addressFamily() ),
              plainPrefix( key.destPrefix() ),
              plainPrefix( key.srcPrefix() ),
              {},
              {} };
   for ( const auto member : key.matchOpVal() ) {
      plain.words[member.index.value()] = member.word.storage();
   }
   plain.interfaceSets.assign( key.interfaceSet().begin(), key.interfaceSet().end() );
   return plain;
}

bool readPrefix( const std::string& text, Prefix& prefix ) {
   const std::size_t slash = text.find( '/' );
   if ( slash == std::string::npos || text.find( '\0' ) != std::string::npos ) {
      return false;
   }
   const std::string address = text.substr( 0, slash );
   const std::string length = text.substr( slash + 1 );
   Prefix result;
   if ( inet_pton( AF_INET, address.c_str(), result.bytes.data() ) == 1 ) {
      result.family = 1;
   } else if ( inet_pton( AF_INET6, address.c_str(), result.bytes.data() ) == 1 ) {
      result.family = 2;
   } else {
      return false;
   }
   const unsigned long max = result.family == 1 ? 32 : 128;
   if ( length.empty() || length.size() > 3 || ( length[0] == '0' && length.size() > 1 ) ||
        !std::all_of( length.begin(), length.end(), isDigit ) || std::stoul( length ) > max ) {
      return false;
   }
   result.length = static_cast< U8 >( std::stoul( length ) );
   for ( unsigned bit = result.length; bit < 128; ++bit ) {
      result.bytes[bit / 8] = static_cast< U8 >( result.bytes[bit / 8] & ~( 0x80U >> bit % 8 ) );
   }
   prefix = result;
   return true;
}

bool readCli( const std::string& text, bool includesValueLength, Key& key ) {
   std::istringstream in( text );
   std::string field;
   for ( Prefix* prefix : { &key.destPrefix, &key.srcPrefix } ) {
      if ( !std::getline( in, field, ';' ) || ( field != "*" && !readPrefix( field, *prefix ) ) ) {
         return false;
      }
   }
   U32 index = 0;
   while ( std::getline( in, field, ';' ) ) {
      if ( !readComponent( field, includesValueLength, index, key ) ) {
         return false;
      }
   }
   return true;
}

bool readStringValue( const std::string& text, Key& key ) {
   std::istringstream in( text );
   std::string field;
   if ( !std::getline( in, field, ';' ) ) {
      return false;
   }
   try {
      key.vrfId = static_cast< U32 >( std::stol( field ) );
   } catch ( const std::logic_error& ) {
      return false;
   }
   if ( !std::getline( in, field, ';' ) || ( field != "ipv4" && field != "ipv6" ) ) {
      return false;
   }
   key.addressFamily = field == "ipv4" ? 1 : 2;
   if ( !std::getline( in, field ) ) {
      return false;
   }
   if ( field.compare( 0, 7, "IFSET:=" ) == 0 ) {
      const std::size_t end = field.find( ';' );
      if ( end == std::string::npos || !readInterfaceSets( field.substr( 7, end - 7 ), key ) ) {
         return false;
      }
      field.erase( 0, end + 1 );
   }
   return readCli( field, true, key );
}

std::string writeCli( const Key& key, bool includeValueLength ) {
   std::ostringstream out;
   writeComponents( out, key, includeValueLength );
   return out.str();
}

std::string writeStringValue( const Key& key ) {
   std::ostringstream out;
   out << key.vrfId << ';'
       << ( key.addressFamily == 0   ? "none"
            : key.addressFamily == 1 ? "ipv4"
                                     : "ipv6" )
       << ';';
   if ( !key.interfaceSets.empty() ) {
      out << "IFSET:=";
      for ( std::size_t i = 0; i < key.interfaceSets.size(); ++i ) {
         out << ( i == 0 ? "" : "," ) << key.interfaceSets[i];
      }
      out << ';';
   }
   writeComponents( out, key, true );
   return out.str();
}

} // namespace Plain
