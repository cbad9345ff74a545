#include "agents/bgp/message/UpdateWriter.h"

#include "Osk/Endian.h"
#include "agents/bgp/message/AttributeTable.h"
#include "agents/bgp/message/Header.h"

namespace Bgp {

namespace {

// Places in a message, from its first octet.
constexpr std::size_t listAt =
   headerSize + 4; // after the lengths of withdrawn routes and of the list
constexpr std::size_t valueAt = listAt + 4;

// Begins a message whose first attribute is `type`: the routes have to be found, whatever is wrong
// with others (RFC 7606 section 5.1).
std::size_t beginUpdate( U8 type, Family family, std::vector< U8 >& out ) {
   const std::size_t start = beginMessage( MessageType::update, out );
   append32( out, 0 );
   out.push_back( AttributeFlags::optional | AttributeFlags::extendedLength );
   out.push_back( type );
   append16( out, 0 );
   append16( out, family.afi );
   out.push_back( family.safi );
   return start;
}

void endUpdate( std::size_t start, std::span< const U8 > attributes, std::vector< U8 >& out ) {
   Osk::storeBig16( &out[start + valueAt - 2], static_cast< U16 >( out.size() - start - valueAt ) );
   out.insert( out.end(), attributes.begin(), attributes.end() );
   Osk::storeBig16( &out[start + listAt - 2], static_cast< U16 >( out.size() - start - listAt ) );
   endMessage( start, out );
}

} // namespace

UpdateWriter UpdateWriter::announcing( Family family, std::span< const U8 > attributes,
                                       std::size_t maxLength, std::vector< U8 >& out ) {
   return { family, true, attributes, maxLength, out };
}

UpdateWriter UpdateWriter::withdrawing( Family family, std::size_t maxLength,
                                        std::vector< U8 >& out ) {
   return { family, false, {}, maxLength, out };
}

std::size_t UpdateWriter::emptySize() const {
   return valueAt + ( reach_ ? 5 : 3 ) + attributes_.size();
}

void UpdateWriter::begin() {
   start_ =
      beginUpdate( reach_ ? AttributeType::mpReach : AttributeType::mpUnreach, family_, out_ );
   if ( reach_ ) {
      append16( out_, 0 ); // no next hop, and the reserved octet
   }
   open_ = true;
}

bool UpdateWriter::add( std::span< const U8 > nlri ) {
   if ( emptySize() + nlri.size() > maxLength_ ) {
      return false;
   }
   if ( open_ && out_.size() - start_ + nlri.size() + attributes_.size() > maxLength_ ) {
      finish();
   }
   if ( !open_ ) {
      begin();
   }
   out_.insert( out_.end(), nlri.begin(), nlri.end() );
   return true;
}

void UpdateWriter::finish() {
   if ( open_ ) {
      endUpdate( start_, attributes_, out_ );
      open_ = false;
   }
}

void writeEndOfRib( Family family, std::vector< U8 >& out ) {
   endUpdate( beginUpdate( AttributeType::mpUnreach, family, out ), {}, out );
}

} // namespace Bgp
