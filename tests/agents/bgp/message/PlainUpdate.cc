#include "tests/agents/bgp/message/PlainUpdate.h"

#include <algorithm>
#include <set>

namespace TestSupport {

namespace {

using Octets = PlainUpdate::Octets;
using Path = std::vector< std::pair< U8, std::vector< U32 > > >;

struct Attribute {
   U8 flags;
   U8 type;
   Octets value;
};

std::size_t number( const Octets& octets, std::size_t at, std::size_t size ) {
   std::size_t value = 0;
   for ( std::size_t i = 0; i < size; ++i ) {
      value = value * 256 + octets.at( at + i );
   }
   return value;
}

Octets slice( const Octets& octets, std::size_t from, std::size_t size ) {
   const auto begin = octets.begin() + static_cast< std::ptrdiff_t >( from );
   return { begin, begin + static_cast< std::ptrdiff_t >( size ) };
}

// The attributes that are whole; whether there is more that is not.
std::pair< std::vector< Attribute >, bool > attributesOf( const Octets& list ) {
   std::vector< Attribute > attributes;
   std::size_t at = 0;
   while ( at != list.size() ) {
      const std::size_t lengthSize = list[at] & 0x10 ? 2 : 1;
      if ( at + 2 + lengthSize > list.size() ) {
         return { attributes, true };
      }
      const std::size_t length = number( list, at + 2, lengthSize );
      const std::size_t value = at + 2 + lengthSize;
      if ( value + length > list.size() ) {
         return { attributes, true };
      }
      attributes.push_back( { list[at], list[at + 1], slice( list, value, length ) } );
      at = value + length;
   }
   return { attributes, false };
}

// Nothing when the path is malformed.
std::optional< Path > pathOf( const Octets& value, std::size_t asSize, U8 maxType ) {
   Path path;
   std::size_t at = 0;
   while ( at < value.size() ) {
      if ( at + 2 > value.size() ) {
         return std::nullopt;
      }
      const U8 type = value[at];
      const std::size_t count = value[at + 1];
      at += 2;
      if ( type < 1 || type > maxType || count == 0 || at + count * asSize > value.size() ) {
         return std::nullopt;
      }
      path.push_back( { type, {} } );
      for ( std::size_t i = 0; i < count; ++i, at += asSize ) {
         const std::size_t as = number( value, at, asSize );
         if ( as == 0 ) {
            return std::nullopt;
         }
         path.back().second.push_back( static_cast< U32 >( as ) );
      }
   }
   return path;
}

std::size_t lengthOf( const Path& path ) {
   std::size_t length = 0;
   for ( const auto& [type, numbers] : path ) {
      length += type == 2 ? numbers.size() : type == 1 ? 1 : 0;
   }
   return length;
}

// RFC 6793 section 4.2.3, one AS number after the other.
Path mergedPath( const Path& path, const Path& as4Path ) {
   if ( lengthOf( as4Path ) > lengthOf( path ) ) {
      return path;
   }
   std::size_t missing = lengthOf( path ) - lengthOf( as4Path );
   Path merged;
   for ( const auto& [type, numbers] : path ) {
      if ( missing == 0 ) {
         break;
      }
      if ( type == 1 ) {
         merged.push_back( { type, numbers } );
         --missing;
         continue;
      }
      merged.push_back( { type, {} } );
      for ( const U32 as : numbers ) {
         if ( missing > 0 ) {
            merged.back().second.push_back( as );
            --missing;
         }
      }
   }
   for ( const auto& segment : as4Path ) {
      if ( segment.first <= 2 ) {
         merged.push_back( segment );
      }
   }
   return merged;
}

// Whether lengths before each of them take the routes apart.
bool rulesHaveEnds( const Octets& nlri ) {
   std::size_t at = 0;
   while ( at < nlri.size() ) {
      const std::size_t lengthSize = nlri[at] >= 0xF0 ? 2 : 1;
      if ( at + lengthSize > nlri.size() ) {
         return false;
      }
      at += lengthSize + number( nlri, at, lengthSize ) % 0x1000;
   }
   return at == nlri.size();
}

bool prefixesHaveEnds( const Octets& nlri ) {
   std::size_t at = 0;
   while ( at < nlri.size() ) {
      if ( nlri[at] > 32 ) {
         return false;
      }
      at += 1 + ( nlri[at] + 7U ) / 8;
   }
   return at == nlri.size();
}

// Whether an attribute's value is one that its type can have.
bool isGood( U8 type, const Octets& value, std::size_t asSize ) {
   const std::size_t size = value.size();
   switch ( type ) {
   case 1:
      return size == 1 && value[0] <= 2;
   case 2:
      return pathOf( value, asSize, 2 ).has_value();
   case 3:
   case 4:
   case 5:
   case 9:
      return size == 4;
   case 6:
      return size == 0;
   case 7:
      return size == asSize + 4 && number( value, 0, asSize ) != 0;
   case 8:
   case 10:
      return size > 0 && size % 4 == 0;
   case 16:
      return size > 0 && size % 8 == 0;
   case 17:
      return size > 0 && pathOf( value, 4, 4 ).has_value();
   case 18:
      return size == 8 && number( value, 0, 4 ) != 0;
   case 25:
      return size > 0 && size % 20 == 0;
   default: // 32
      return size > 0 && size % 12 == 0;
   }
}

const std::map< U8, U8 > flagsOf = {
   { 1, 0x40 },  { 2, 0x40 },  { 3, 0x40 },  { 4, 0x80 },  { 5, 0x40 },  { 6, 0x40 },
   { 7, 0xC0 },  { 8, 0xC0 },  { 9, 0x80 },  { 10, 0x80 }, { 14, 0x80 }, { 15, 0x80 },
   { 16, 0xC0 }, { 17, 0xC0 }, { 18, 0xC0 }, { 25, 0xC0 }, { 32, 0xC0 },
};

struct PlainReader {
   const Bgp::Agreed& agreed;
   PlainUpdate update{};
   bool routes = false;

   bool isAgreed( Bgp::Family family ) const {
      return std::count( agreed.families.begin(), agreed.families.end(), family ) != 0;
   }

   // The subcode that ends the session, or 0.
   int readRoutes( const Attribute& attribute ) {
      const Octets& value = attribute.value;
      const bool reach = attribute.type == 14;
      if ( value.size() < ( reach ? 5U : 3U ) || ( reach && 5U + value[3] > value.size() ) ) {
         return 9;
      }
      const Bgp::Family family{ static_cast< U16 >( number( value, 0, 2 ) ), value[2] };
      const std::size_t start = reach ? 5U + value[3] : 3U;
      const Octets nlri = slice( value, start, value.size() - start );
      std::set< int > nextHops{ 0, 4, 16 };
      if ( family.safi == 134 ) {
         nextHops.insert( { 12, 24 } );
      }
      if ( reach && isAgreed( family ) && !nextHops.contains( value[3] ) ) {
         return 9;
      }
      routes |= reach && !nlri.empty();
      if ( !isAgreed( family ) ) {
         ++update.discarded;
         return 0;
      }
      if ( !rulesHaveEnds( nlri ) ) {
         return 9;
      }
      if ( reach ) {
         update.reach = family;
         update.reachNlri = nlri;
         update.nextHop = slice( value, 4, value[3] );
      } else {
         update.unreach = family;
         update.unreachNlri = nlri;
      }
      return 0;
   }

   int readOne( const Attribute& attribute ) {
      const U8 type = attribute.type;
      if ( !flagsOf.contains( type ) ) {
         return attribute.flags & 0x80 ? 0 : 2;
      }
      const bool rightFlags = ( attribute.flags & 0xC0 ) == flagsOf.at( type );
      if ( type == 14 || type == 15 ) {
         return rightFlags ? readRoutes( attribute ) : 4;
      }
      const bool forInternal = type == 5 || type == 9 || type == 10;
      const bool forTwoOctet = type == 17 || type == 18;
      if ( ( forInternal && agreed.localAs != agreed.peerAs ) ||
           ( forTwoOctet && agreed.fourOctetAs ) ) {
         ++update.discarded;
      } else if ( rightFlags && isGood( type, attribute.value, agreed.fourOctetAs ? 4 : 2 ) ) {
         update.values[type] = attribute.value;
      } else if ( type == 6 || type == 7 || forTwoOctet ) {
         ++update.discarded;
      } else {
         update.withdrawn = true;
      }
      return 0;
   }

   void takePath() {
      const auto value = [this]( U8 type ) { return update.values[type]; };
      const Path path = *pathOf( value( 2 ), agreed.fourOctetAs ? 4 : 2, 2 );
      const bool outdated = !value( 7 ).empty() && !value( 18 ).empty() &&
                            number( value( 7 ), 0, agreed.fourOctetAs ? 4 : 2 ) != 23456;
      update.path =
         agreed.fourOctetAs || outdated ? path : mergedPath( path, *pathOf( value( 17 ), 4, 4 ) );
   }

   int read( const Octets& body ) {
      const std::size_t withdrawnSize = number( body, 0, 2 );
      if ( 2 + withdrawnSize + 2 > body.size() ) {
         return 1;
      }
      const std::size_t listSize = number( body, 2 + withdrawnSize, 2 );
      const std::size_t listAt = 4 + withdrawnSize;
      if ( listAt + listSize > body.size() ) {
         return 1;
      }
      const Octets withdrawn = slice( body, 2, withdrawnSize );
      const Octets nlri = slice( body, listAt + listSize, body.size() - listAt - listSize );
      const auto [attributes, cutOff] = attributesOf( slice( body, listAt, listSize ) );
      std::set< U8 > seen;
      for ( const Attribute& attribute : attributes ) {
         if ( !seen.insert( attribute.type ).second ) {
            if ( attribute.type == 14 || attribute.type == 15 ) {
               return 1;
            }
            ++update.discarded;
         } else if ( const int subcode = readOne( attribute ) ) {
            return subcode;
         }
      }
      if ( !prefixesHaveEnds( withdrawn ) || !prefixesHaveEnds( nlri ) ) {
         return 10;
      }
      update.withdrawn |= cutOff;
      update.discarded += !withdrawn.empty() || !nlri.empty();
      routes |= !nlri.empty();
      if ( !routes && update.withdrawn ) {
         return 1;
      }
      if ( routes ) {
         update.withdrawn |=
            !seen.contains( 1 ) || !seen.contains( 2 ) || ( !nlri.empty() && !seen.contains( 3 ) );
      }
      update.withdrawn &= update.reach.has_value();
      takePath();
      if ( attributes.size() == 1 && withdrawn.empty() && nlri.empty() && update.unreach &&
           update.unreachNlri.empty() ) {
         update.endOfRib = std::exchange( update.unreach, std::nullopt );
      }
      return 0;
   }
};

} // namespace

PlainUpdate plainUpdate( std::span< const U8 > body, const Bgp::Agreed& agreed ) {
   PlainReader reader{ agreed };
   const int subcode = reader.read( { body.begin(), body.end() } );
   reader.update.resetSubcode = subcode;
   return reader.update;
}

} // namespace TestSupport
