#pragma once

#include "agents/bgp/message/Update.h"
#include "tests/support/Hex.h"

#include <string>

namespace TestSupport {

/// What a peer tells in one UPDATE, in words of the tests.
struct Announcement {
   Bgp::Family family = Bgp::ipv4Flow;
   std::vector< std::string > rules{};     ///< hexadecimal, without length fields
   std::vector< std::string > withdrawn{}; ///< the same
   std::vector< U32 > path{};              ///< one sequence
   Bgp::Origin origin = Bgp::Origin::igp;
   std::optional< U32 > med{};
   std::optional< U32 > localPref{};
   std::optional< U32 > originatorId{};
   std::vector< U32 > clusters{};
   std::string extended{}; ///< hexadecimal
   std::string ipv6{};
   std::string nextHop{};
   std::optional< Bgp::AttributeFault > fault{};
};

/// An update of an announcement, and the memory that it is a view of.
class AnnouncedUpdate {
public:
   explicit AnnouncedUpdate( const Announcement& told ) {
      reach_ = field( told.rules );
      unreach_ = field( told.withdrawn );
      if ( !told.path.empty() ) {
         path_ = { 2, static_cast< U8 >( told.path.size() ) };
         append( told.path, path_ );
      }
      append( told.clusters, clusters_ );
      extended_ = bytesOf( told.extended );
      ipv6_ = bytesOf( told.ipv6 );
      nextHop_ = bytesOf( told.nextHop );

      if ( !reach_.empty() ) {
         update_.reach = { told.family, reach_ };
      }
      if ( !unreach_.empty() ) {
         update_.unreach = { told.family, unreach_ };
      }
      Bgp::PathAttributes& attributes = update_.attributes;
      attributes.origin = told.origin;
      attributes.asPath = Bgp::AsPath( path_ );
      attributes.med = told.med;
      attributes.localPref = told.localPref;
      attributes.originatorId = told.originatorId;
      attributes.clusterList = clusters_;
      if ( !extended_.empty() ) {
         attributes.communities.extended = extended_;
      }
      if ( !ipv6_.empty() ) {
         attributes.communities.ipv6 = ipv6_;
      }
      update_.nextHop = nextHop_;
      update_.withdrawn = told.fault;
   }

   const Bgp::Update& operator*() const { return update_; }

private:
   static std::vector< U8 > field( const std::vector< std::string >& rules ) {
      std::vector< U8 > octets;
      for ( const std::string& rule : rules ) {
         const std::vector< U8 > value = bytesOf( rule );
         if ( value.size() >= 0xF0 ) {
            octets.push_back( static_cast< U8 >( 0xF0 | value.size() >> 8 ) );
         }
         octets.push_back( static_cast< U8 >( value.size() ) );
         octets.insert( octets.end(), value.begin(), value.end() );
      }
      return octets;
   }

   static void append( const std::vector< U32 >& numbers, std::vector< U8 >& octets ) {
      for ( const U32 number : numbers ) {
         for ( int shift = 24; shift >= 0; shift -= 8 ) {
            octets.push_back( static_cast< U8 >( number >> shift ) );
         }
      }
   }

   std::vector< U8 > reach_, unreach_, path_, clusters_, extended_, ipv6_, nextHop_;
   Bgp::Update update_;
};

/// Communities.
inline const std::string drop = "8006000000000000";
inline const std::string rate1000 = "80060000447A0000";
inline const std::string rate2000 = "8006000044FA0000";
/// The interface set `number` of AS 64512, for input.
inline std::string interfaceSet( U16 number ) {
   const U8 octets[] = { static_cast< U8 >( 0x40 | number >> 8 ), static_cast< U8 >( number ) };
   return "07020000FC00" + hexOf( octets );
}
/// The route target 64512:`number`.
inline std::string routeTarget( U8 number ) {
   return "0002FC00000000" + hexOf( std::span( &number, 1 ) );
}

} // namespace TestSupport
