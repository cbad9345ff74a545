#pragma once

#include "agents/bgp/message/AttributeTable.h"
#include "agents/bgp/message/Update.h"

namespace Bgp {

/// Takes the values of one update's attributes, each at most once. All but the routes, which are
/// no business of this.
class AttributeReader {
public:
   using Result = std::optional< AttributeFault >;

   AttributeReader( const Agreed& agreed, PathAttributes& attributes )
      : agreed_( agreed ), attributes_( attributes ), asSize_( agreed.fourOctetAs ? 4 : 2 ) {}

   /// Whether the peer may send the attribute.
   bool mayBeSent( Senders senders ) const;
   /// What is wrong with an attribute that may be sent; its value is taken otherwise.
   Result read( const AttributeRow& row, U8 flags, std::span< const U8 > value );
   /// Makes the AS path out of what was read; `memory` is for one that no attribute has as it is.
   void completePath( std::vector< U8 >& memory );

private:
   Result readValue( U8 type, std::span< const U8 > value );
   Result readPath( U8 type, std::span< const U8 > value );
   Result readAggregator( std::span< const U8 > value );

   const Agreed& agreed_;
   PathAttributes& attributes_;
   const U32 asSize_;
   std::span< const U8 > path_;
   std::span< const U8 > as4Path_;
   bool hasAs4Aggregator_ = false;
   bool aggregatorFits_ = false; // its AS number is the true one, though it has two octets
};

} // namespace Bgp
