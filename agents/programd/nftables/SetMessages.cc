#include "agents/programd/nftables/BatchParts.h"

#include <algorithm>

#include <linux/netfilter.h>
#include <linux/netfilter/nf_tables.h>

namespace Agents::Nftables {

using namespace Dataplane::Nftables;
using Zorv::AddressFamily;

namespace {

// The numbers that nft knows the types of keys by; the kernel just keeps them.
constexpr U32 integerType = 4;
constexpr U32 ipv4Type = 7;
constexpr U32 ipv6Type = 8;
constexpr U32 protocolType = 12;
constexpr U32 serviceType = 13;
constexpr U32 interfaceType = 41;

constexpr std::size_t interfaceSize = 16;
using InterfaceKey = std::array< char, interfaceSize >;

InterfaceKey interfaceKey( const Vek::String& name ) {
   InterfaceKey key{};
   std::copy_n( name.begin(), std::min( name.size(), interfaceSize - 1 ), key.begin() );
   return key;
}

} // namespace

void Batch::addMap( const Vek::String& name, U32 flags, U32 keyType, U32 keySize, bool verdicts ) {
   named( NFT_MSG_NEWSET, NLM_F_CREATE, NFTA_SET_TABLE, NFTA_SET_NAME, name );
   big32( NFTA_SET_FLAGS, flags | ( verdicts ? U32{ NFT_SET_MAP } : 0U ) );
   big32( NFTA_SET_KEY_TYPE, keyType );
   big32( NFTA_SET_KEY_LEN, keySize );
   if ( verdicts ) {
      big32( NFTA_SET_DATA_TYPE, NFT_DATA_VERDICT );
   }
   big32( NFTA_SET_ID, ++sets_ );
   // For nft, the order of the bytes of a key, 1 for the host's: the attribute 0 of 4 bytes.
   const U32 order = keyType == interfaceType ? 1 : 2;
   std::array< U8, 6 > forNft{ 0, 4 };
   std::memcpy( &forNft[2], &order, sizeof order );
   put( NFTA_SET_USERDATA, forNft.data(), forNft.size() );
}

void Batch::addInterfaceSet( const Vek::String& name ) {
   addMap( name, 0, interfaceType, interfaceSize, false );
   end();
}

void Batch::addInterfaceMap() {
   addMap( Vek::String( interfaceMap ), 0, interfaceType, interfaceSize, true );
   end();
}

void Batch::addDestinationMap( const Vek::String& name ) {
   const bool v6 = family_ == AddressFamily::ipv6;
   addMap( name, NFT_SET_INTERVAL, v6 ? ipv6Type : ipv4Type,
           static_cast< U32 >( addressSize( family_ ) ), true );
   end();
}

void Batch::delSet( const Vek::String& name ) {
   named( NFT_MSG_DELSET, 0, NFTA_SET_TABLE, NFTA_SET_NAME, name );
   end();
}

// Begins a message about elements of a set.
void Batch::elements( bool add, const Vek::String& set ) {
   named( add ? NFT_MSG_NEWSETELEM : NFT_MSG_DELSETELEM, add ? U16{ NLM_F_CREATE } : U16{ 0 },
          NFTA_SET_ELEM_LIST_TABLE, NFTA_SET_ELEM_LIST_SET, set );
}

void Batch::interface( bool add, const Vek::String& set, const Vek::String& interface,
                       const Vek::String& chain ) {
   elements( add, set );
   {
      const Nest list( *this, NFTA_SET_ELEM_LIST_ELEMENTS );
      const Nest element( *this, NFTA_LIST_ELEM );
      {
         const Nest key( *this, NFTA_SET_ELEM_KEY );
         put( NFTA_DATA_VALUE, interfaceKey( interface ).data(), interfaceSize );
      }
      if ( !chain.empty() ) {
         verdict( NFTA_SET_ELEM_DATA, NFT_GOTO, chain );
      }
   }
   end();
}

void Batch::intervals( bool add, const Vek::String& map, std::span< const Interval > intervals ) {
   // A list is an attribute, of 65535 bytes at the most.
   constexpr std::size_t atOnce = 128;
   const std::size_t size = addressSize( family_ );
   for ( std::size_t at = 0; at < intervals.size(); at += atOnce ) {
      elements( add, map );
      {
         const Nest list( *this, NFTA_SET_ELEM_LIST_ELEMENTS );
         const std::size_t count = std::min( atOnce, intervals.size() - at );
         for ( const Interval& interval : intervals.subspan( at, count ) ) {
            {
               const Nest element( *this, NFTA_LIST_ELEM );
               {
                  const Nest key( *this, NFTA_SET_ELEM_KEY );
                  put( NFTA_DATA_VALUE, interval.first.bytes().data(), size );
               }
               verdict( NFTA_SET_ELEM_DATA, NFT_GOTO, interval.chain );
            }
            // Where it ends; the last address of all has nothing after it.
            Zorv::IpGenAddr::Bytes after = interval.last.bytes();
            std::size_t digit = size;
            while ( digit > 0 && ++after[digit - 1] == 0 ) {
               --digit;
            }
            if ( digit > 0 ) {
               const Nest element( *this, NFTA_LIST_ELEM );
               big32( NFTA_SET_ELEM_FLAGS, NFT_SET_ELEM_INTERVAL_END );
               const Nest key( *this, NFTA_SET_ELEM_KEY );
               put( NFTA_DATA_VALUE, after.data(), size );
            }
         }
      }
      end();
   }
}

// A set of the numbers of a test that goes with its line; its number in this transaction.
U32 Batch::addNumberSet( const Test& test ) {
   const bool intervals = std::ranges::any_of(
      test.ranges, []( const Range& range ) { return range.low != range.high; } );
   const U32 type = test.field.source == Field::Source::l4proto ? protocolType
                    : test.field.source == Field::Source::transport && test.field.offset < 4 &&
                          test.field.size == 2
                       ? serviceType
                       : integerType;
   addMap( "__set%d",
           U32{ NFT_SET_ANONYMOUS | NFT_SET_CONSTANT } |
              ( intervals ? U32{ NFT_SET_INTERVAL } : 0U ),
           type, test.field.size, false );
   end();
   const U32 id = sets_;
   constexpr std::size_t atOnce = 512;
   for ( std::size_t at = 0; at < test.ranges.size(); at += atOnce ) {
      elements( true, "__set%d" );
      big32( NFTA_SET_ELEM_LIST_SET_ID, id );
      {
         const Nest list( *this, NFTA_SET_ELEM_LIST_ELEMENTS );
         const auto addElement = [&]( U32 value, bool ends ) {
            const Nest element( *this, NFTA_LIST_ELEM );
            if ( ends ) {
               big32( NFTA_SET_ELEM_FLAGS, NFT_SET_ELEM_INTERVAL_END );
            }
            const Nest key( *this, NFTA_SET_ELEM_KEY );
            put( NFTA_DATA_VALUE, numberBytes( value, test.field.size ).data(), test.field.size );
         };
         const std::size_t end = std::min( at + atOnce, test.ranges.size() );
         for ( std::size_t i = at; i < end; ++i ) {
            addElement( test.ranges[i].low, false );
            if ( intervals && test.ranges[i].high < test.field.allBits() ) {
               addElement( test.ranges[i].high + 1, true );
            }
         }
      }
      end();
   }
   return id;
}

} // namespace Agents::Nftables
