#include "Osk/Endian.h"
#include "Vek/text/Text.h"
#include "agents/bgp/message/AttributeReader.h"

#include <bitset>

namespace Bgp {

namespace {

using Code = AttributeFaultCode;
using Octets = std::span< const U8 >;
using Result = std::optional< Fault >;

constexpr U32 maxDiscarded = 16;

Fault fault( U8 subcode, Vek::String text, Octets data = {} ) {
   return { { ErrorCode::update, subcode, { data.begin(), data.end() } }, std::move( text ) };
}

Fault badList( const char* text ) { return fault( UpdateError::attributeList, text ); }

// Whether the rules can be told apart.
bool isFramed( Octets nlri ) {
   std::size_t at = 0;
   while ( at < nlri.size() ) {
      std::size_t length = nlri[at++];
      if ( length >= 0xF0 ) {
         if ( at == nlri.size() ) {
            return false;
         }
         length = ( length & 0x0F ) << 8 | nlri[at++];
      }
      if ( length > nlri.size() - at ) {
         return false;
      }
      at += length;
   }
   return true;
}

// Whether prefixes of IPv4 unicast can be told apart.
bool arePrefixes( Octets field ) {
   std::size_t at = 0;
   while ( at < field.size() ) {
      const unsigned bits = field[at++];
      const std::size_t size = ( bits + 7 ) / 8;
      if ( bits > 32 || size > field.size() - at ) {
         return false;
      }
      at += size;
   }
   return true;
}

bool isNextHop( Family family, std::size_t length ) {
   return length == 0 || length == 4 || length == 16 ||
          ( family.format()->vpn && ( length == 12 || length == 24 ) );
}

// One attribute of the list.
struct Attribute {
   U8 flags;
   U8 type;
   Octets value;
   Octets whole; // with flags, type and length
};

Vek::String badLength( const Attribute& attribute ) {
   return AttributeFault{ Code::length, attribute.type,
                          static_cast< U16 >( attribute.value.size() ) }
      .message();
}

// Reads one update. What ends the session is returned at once, as nothing is graver.
class Reader {
public:
   Reader( const Agreed& agreed, Update& update )
      : agreed_( agreed ), update_( update ), values_( agreed, update.attributes ) {}

   Result read( Octets body );

private:
   Result readList( Octets list );
   Result readAttribute( const Attribute& attribute );
   Result readKnown( const AttributeRow& row, const Attribute& attribute );
   Result readReach( const Attribute& attribute );
   Result readUnreach( const Attribute& attribute );
   Result readRoutes( const Attribute& attribute, Family family, Octets nlri,
                      std::optional< Routes >& routes );
   void requireAttributes( bool nextHop );

   bool isAgreed( Family family ) const { return family.format() && agreed_.has( family ); }

   void withdraw( AttributeFault fault ) {
      if ( !update_.withdrawn ) {
         update_.withdrawn = fault;
      }
   }
   void discard( AttributeFault fault ) {
      if ( update_.discarded.size() < maxDiscarded ) {
         update_.discarded.push( fault );
      }
   }

   const Agreed& agreed_;
   Update& update_;
   AttributeReader values_;
   std::bitset< 256 > seen_;
   bool reaches_ = false; // there is a route, whether of an agreed family or not
};

Result Reader::read( Octets body ) {
   const std::size_t withdrawnSize = Osk::loadBig16( body.data() );
   if ( withdrawnSize > body.size() - 4 ) {
      return badList( "the withdrawn routes end after the message" );
   }
   const Octets withdrawn = body.subspan( 2, withdrawnSize );
   body = body.subspan( 2 + withdrawnSize );
   const std::size_t listSize = Osk::loadBig16( body.data() );
   if ( listSize > body.size() - 2 ) {
      return badList( "the path attributes end after the message" );
   }
   const Octets list = body.subspan( 2, listSize );
   const Octets nlri = body.subspan( 2 + listSize );
   if ( auto bad = readList( list ) ) {
      return bad;
   }
   if ( !arePrefixes( withdrawn ) || !arePrefixes( nlri ) ) {
      return fault( UpdateError::network, "the IPv4 prefixes cannot be told apart" );
   }
   reaches_ |= !nlri.empty();
   if ( !withdrawn.empty() || !nlri.empty() ) {
      discard( { Code::notAgreed, 0, ipv4Unicast.safi } );
   }
   if ( reaches_ ) {
      requireAttributes( !nlri.empty() );
   } else if ( update_.withdrawn ) {
      // The routes that it is about may well be what was not understood (RFC 7606 section 5.2).
      return fault( UpdateError::attributeList, update_.withdrawn->message() + ", and no route" );
   }
   if ( !update_.reach ) {
      update_.withdrawn.reset(); // it was about routes that do not matter
   }
   values_.completePath( update_.path );
   const bool nothingElse = withdrawn.empty() && nlri.empty() && seen_.count() == 1;
   if ( nothingElse && update_.unreach && update_.unreach->nlri.empty() ) {
      update_.endOfRib = update_.unreach->family;
      update_.unreach.reset();
   }
   return std::nullopt;
}

Result Reader::readList( Octets list ) {
   while ( !list.empty() ) {
      const bool extended = list[0] & AttributeFlags::extendedLength;
      const std::size_t headSize = extended ? 4 : 3;
      if ( list.size() < headSize ) {
         withdraw( { Code::cutOff, 0 } );
         return std::nullopt;
      }
      const std::size_t length = extended ? Osk::loadBig16( &list[2] ) : list[2];
      if ( length > list.size() - headSize ) {
         withdraw( { Code::cutOff, list[1] } );
         return std::nullopt;
      }
      const Octets whole = list.first( headSize + length );
      if ( auto bad = readAttribute( { list[0], list[1], whole.subspan( headSize ), whole } ) ) {
         return bad;
      }
      list = list.subspan( whole.size() );
   }
   return std::nullopt;
}

Result Reader::readAttribute( const Attribute& attribute ) {
   const AttributeRow* const row = findAttribute( attribute.type );
   if ( seen_[attribute.type] ) {
      if ( row && row->onFault == OnFault::reset ) {
         return fault( UpdateError::attributeList, Vek::concat( row->name, " is there twice" ) );
      }
      discard( { Code::again, attribute.type } );
      return std::nullopt;
   }
   seen_.set( attribute.type );
   if ( row ) {
      return readKnown( *row, attribute );
   }
   if ( !( attribute.flags & AttributeFlags::optional ) ) {
      return fault( UpdateError::unknownWellKnown,
                    Vek::concat( "the well-known attribute ", attribute.type, " is not known" ),
                    attribute.whole );
   }
   return std::nullopt;
}

Result Reader::readKnown( const AttributeRow& row, const Attribute& attribute ) {
   if ( row.onFault == OnFault::reset ) {
      if ( !row.hasFlags( attribute.flags ) ) {
         return fault( UpdateError::attributeFlags,
                       AttributeFault{ Code::flags, row.type, attribute.flags }.message(),
                       attribute.whole );
      }
      return row.type == AttributeType::mpReach ? readReach( attribute ) : readUnreach( attribute );
   }
   if ( !values_.mayBeSent( row.senders ) ) {
      discard( { Code::notForPeer, row.type } );
   } else if ( const auto bad = values_.read( row, attribute.flags, attribute.value ) ) {
      row.onFault == OnFault::withdraw ? withdraw( *bad ) : discard( *bad );
   }
   return std::nullopt;
}

Result Reader::readReach( const Attribute& attribute ) {
   const Octets value = attribute.value;
   if ( value.size() < 5 || value[3] > value.size() - 5 ) {
      return fault( UpdateError::optionalAttribute, badLength( attribute ), attribute.whole );
   }
   const Family family{ Osk::loadBig16( value.data() ), value[2] };
   const Octets nextHop = value.subspan( 4, value[3] );
   if ( isAgreed( family ) && !isNextHop( family, nextHop.size() ) ) {
      return fault( UpdateError::optionalAttribute,
                    Vek::concat( "MP_REACH_NLRI: the next hop has ", nextHop.size(), " octets" ),
                    attribute.whole );
   }
   const Octets nlri = value.subspan( 5 + nextHop.size() );
   reaches_ |= !nlri.empty();
   update_.nextHop = nextHop;
   return readRoutes( attribute, family, nlri, update_.reach );
}

Result Reader::readUnreach( const Attribute& attribute ) {
   const Octets value = attribute.value;
   if ( value.size() < 3 ) {
      return fault( UpdateError::optionalAttribute, badLength( attribute ), attribute.whole );
   }
   return readRoutes( attribute, { Osk::loadBig16( value.data() ), value[2] }, value.subspan( 3 ),
                      update_.unreach );
}

Result Reader::readRoutes( const Attribute& attribute, Family family, Octets nlri,
                           std::optional< Routes >& routes ) {
   if ( !isAgreed( family ) ) {
      discard( { Code::notAgreed, attribute.type, family.safi } );
      return std::nullopt;
   }
   if ( !isFramed( nlri ) ) {
      return fault(
         UpdateError::optionalAttribute,
         Vek::concat( attributeName( attribute.type ), ": an NLRI is longer than what is left" ),
         attribute.whole );
   }
   routes = Routes{ family, nlri };
   return std::nullopt;
}

void Reader::requireAttributes( bool nextHop ) {
   const auto require = [this]( U8 type ) {
      if ( !seen_[type] ) {
         withdraw( { Code::missing, type } );
      }
   };
   require( AttributeType::origin );
   require( AttributeType::asPath );
   if ( nextHop ) {
      require( AttributeType::nextHop );
   }
}

} // namespace

Result readUpdate( Octets body, const Agreed& agreed, Update& update ) {
   update.reach.reset();
   update.unreach.reset();
   update.nextHop = {};
   update.attributes = {};
   update.endOfRib.reset();
   update.withdrawn.reset();
   update.discarded.clear();
   return Reader( agreed, update ).read( body );
}

} // namespace Bgp
