#include "match/Matcher.h"

#include "match/MatchTable.h"

namespace Match {

namespace {

using namespace Flowspec;
using Wire::AddressBits;

// The values of a packet by type, ready to be masked.
class BlockValues {
public:
   // Of the types whose bits are set.
   BlockValues( const Packet& packet, U32 types ) {
      add( destPrefix, AddressBits::of( packet.destination ) );
      add( srcPrefix, AddressBits::of( packet.source ) );
      for ( U8 number = static_cast< U8 >( ipProto ); number < numComponentTypes; ++number ) {
         if ( types >> number & 1 ) {
            const auto type = static_cast< MatchCompType >( number );
            for ( const U32 value : packet.values( type ) ) {
               add( type, blockBits( value ) );
            }
         }
      }
   }

   std::span< const AddressBits > operator()( MatchCompType type ) const {
      const auto number = static_cast< U8 >( type );
      return { values_[number], counts_[number] };
   }

private:
   void add( MatchCompType type, AddressBits bits ) {
      const auto number = static_cast< U8 >( type );
      values_[number][counts_[number]++] = bits;
   }

   AddressBits values_[numComponentTypes][2];
   U8 counts_[numComponentTypes] = {};
};

} // namespace

class Matcher::Filing {
public:
   void insert( const Candidate& candidate ) {
      erase( candidate.id );
      RuleMatch rule( *candidate.key );
      if ( rule.valid() ) {
         const auto attributes = attributesOf( rule );
         for ( const Attribute& attribute : attributes ) {
            types_ |= U32{ 1 } << static_cast< U8 >( attribute.type );
         }
         MatchTable& table = tableOf( rule.family() );
         rules_.insert( candidate.id, std::move( rule ), candidate.priority );
         table.insert( rules_, candidate.id, attributes );
      }
   }

   void erase( U32 id ) {
      if ( rules_.contains( id ) ) {
         const RuleMatch& rule = rules_[id];
         tableOf( rule.family() ).erase( rules_, id, attributesOf( rule ) );
         rules_.erase( id );
      }
   }

   template < typename MayWin >
   std::optional< U32 > best( const Packet& packet, MayWin mayWin ) const {
      std::optional< U32 > winner;
      const RuleList::Probe probe( packet );
      tableOf( packet.family )
         .visit( BlockValues( packet, types_ ), [&]( std::span< const U32 > ids ) {
            if ( winner && !ids.empty() && !rules_.precedes( ids.front(), *winner ) ) {
               return;
            }
            for ( const U32 id : ids ) {
               if ( !rules_.mayMatch( id, probe ) ) {
                  continue;
               }
               if ( winner && !rules_.precedes( id, *winner ) ) {
                  return;
               }
               if ( rules_[id].matches( packet ) && mayWin( id ) ) {
                  winner = id;
                  return;
               }
            }
         } );
      return winner;
   }

private:
   MatchTable& tableOf( Zorv::AddressFamily family ) {
      return tables_[family == Zorv::AddressFamily::ipv6];
   }
   const MatchTable& tableOf( Zorv::AddressFamily family ) const {
      return tables_[family == Zorv::AddressFamily::ipv6];
   }

   RuleList rules_;
   MatchTable tables_[2] = { MatchTable( 0 ), MatchTable( 0 ) };
   U32 types_ = 0; // that a rule could be filed by
};

Matcher::Matcher() : filing_( std::make_unique< Filing >() ) {}
Matcher::Matcher( std::span< const Candidate > rules ) : Matcher() {
   for ( const Candidate& rule : rules ) {
      insert( rule );
   }
}
Matcher::Matcher( Matcher&& other ) noexcept = default;
Matcher& Matcher::operator=( Matcher&& other ) noexcept = default;
Matcher::~Matcher() = default;

void Matcher::insert( const Candidate& rule ) { filing_->insert( rule ); }

void Matcher::erase( U32 id ) { filing_->erase( id ); }

std::optional< U32 > Matcher::match( const Packet& packet ) const {
   return filing_->best( packet, []( U32 ) { return true; } );
}

std::optional< U32 > Matcher::match( const Packet& packet, const Accepts& accepts ) const {
   return filing_->best( packet, accepts );
}

} // namespace Match
