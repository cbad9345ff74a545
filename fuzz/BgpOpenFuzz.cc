#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/Open.h"
#include "fuzz/Check.h"

// An input is what an OPEN message has after its header.

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   using namespace Bgp;
   if ( size < 10 || size > maxMessage - headerSize ) {
      return 0;
   }
   Open open;
   if ( const auto fault = readOpen( { data, size }, open ) ) {
      Fuzz::require( fault->notification.code == ErrorCode::open, "it is a fault of OPEN" );
      Fuzz::require( !fault->text.empty(), "a fault has a text" );
      return 0;
   }
   Fuzz::require( open.as != 0 && open.identifier != 0, "AS number and identifier are there" );
   Fuzz::require( open.holdTime == 0 || open.holdTime >= 3, "the hold time is acceptable" );

   std::vector< U8 > out;
   writeOpen( open, out );
   Header header{};
   Fuzz::require(
      !readHeader( std::span< const U8 >( out ).first< headerSize >(), maxMessage, header ) &&
         header.length == out.size(),
      "what was written is a message" );
   Open again;
   Fuzz::require( !readOpen( std::span< const U8 >( out ).subspan( headerSize ), again ) &&
                     again == open,
                  "what was written reads back" );

   Open ours{ 64512, 90, 1, {} };
   ours.capabilities.families.assign( flowFamilies.begin(), flowFamilies.end() );
   ours.capabilities.gracefulRestart.emplace();
   const Agreed agreed = negotiate( ours, open );
   Fuzz::require( agreed.families.size() <= flowFamilies.size(), "each family is there once" );
   Fuzz::require( agreed.holdTime <= ours.holdTime, "the hold time is the shorter one" );
   Fuzz::require(
      checkOpen( ours, open, open.as ).has_value() ==
         ( agreed.families.empty() || ( agreed.internal() && open.identifier == ours.identifier ) ),
      "a peer is taken when there is a family in common" );
   return 0;
}
