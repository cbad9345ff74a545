#include "agents/programd/nftables/KernelProfile.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <system_error>

namespace Agents::Nftables {

namespace {

using namespace Dataplane;
using namespace Dataplane::Nftables;
using Flowspec::MatchCompType;
using Zorv::AddressFamily;

/// Messages of the trial and what they stand for; an empty name for what all rules take.
struct Probe {
   AddressFamily family;
   bool action;
   Vek::String name;
   U32 first;
   U32 end;
};

class Trial {
public:
   void add( AddressFamily family ) {
      family_ = family;
      batch_.familyIs( family );
      probe( false, "", [this] {
         batch_.addTable();
         batch_.addInterfaceMap();
         batch_.addDestinationMap( "destinations" );
         batch_.addChain( Vek::String( baseChain ) );
         batch_.addChain( chain );
         addLines( { { Dispatch{ Dispatch::By::interface, Vek::String( interfaceMap ) } },
                     { Dispatch{ Dispatch::By::destination, "destinations" } } } );
      } );
      probe( false, "destPrefix", [] {} );
      for ( U8 number = 2; number < Flowspec::numComponentTypes; ++number ) {
         const auto type = static_cast< MatchCompType >( number );
         const auto& row = Flowspec::componentType( type );
         if ( !row.hasTerms() || row.field( family ).bits != 0 ) {
            probe( false, row.name, [&] { addLines( matchLines( ruleOf( type ) ) ); } );
         }
      }
      for ( const Action action :
            { Action::trafficPermit, Action::trafficDrop, Action::trafficRate,
              Action::trafficRatePkt, Action::trafficMarking, Action::redirectVrf,
              Action::redirectAddr, Action::sample, Action::continueMatch } ) {
         Actions one;
         one.set( numberOf( action ) );
         Flowspec::RuleAction asked;
         asked.rateLimit = 1000;
         const Vek::String name = namesOf( one );
         const ActionLines lines = actionLines( asked, one, name );
         probe( true, name, [&] {
            batch_.addCounter( name, 0, 0 );
            if ( lines.limit ) {
               batch_.addLimit( name, *lines.limit );
            }
            addLines( lines.lines );
         } );
      }
   }

   /// What the kernel took.
   Profile profile( Kernel& kernel ) {
      batch_.addFault();
      const auto refusals = kernel.commit( batch_ );
      for ( const Kernel::Refusal& refusal : refusals ) {
         for ( const Probe& one : probes_ ) {
            if ( one.name.empty() && one.first <= refusal.message && refusal.message < one.end ) {
               throw std::system_error( refusal.error, std::generic_category(),
                                        "nf_tables cannot be used" );
            }
         }
      }
      if ( refusals.empty() || refusals.back().message + 2 != batch_.next() ) {
         const int error = refusals.empty() ? 0 : refusals.front().error;
         throw std::system_error( error, std::generic_category(), "nf_tables cannot be tried" );
      }
      return Profile::read(
         Vek::concat( R"({"capacity":18446744073709551615,"interfaceSets":65536,"ipv4":)",
                      familyText( AddressFamily::ipv4, refusals ), R"(,"ipv6":)",
                      familyText( AddressFamily::ipv6, refusals ), "}" ) );
   }

private:
   static constexpr const char* chain = "trial";

   Wire::CanonicalRule ruleOf( MatchCompType type ) const {
      Flowspec::FlowspecKey key;
      key.addressFamilyIs( family_ );
      if ( type == MatchCompType::srcPrefix ) {
         key.srcPrefixIs( family_ == AddressFamily::ipv4
                             ? Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A000000 ), 9 )
                             : Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv6( { 0x20 } ), 9 ) );
      } else if ( Flowspec::isBitmask( type ) ) {
         key.setOpVal( 0, type, 0x80, 6 );
      } else { // 6 to 8, and 17
         U32 index = key.setOpVal( 0, type, 0x03, 6 );
         index = key.setOpVal( index, type, 0x45, 8 );
         key.setOpVal( index, type, 0x81, 17 );
      }
      return Wire::CanonicalRule( key );
   }

   void addLines( const std::vector< Line >& lines ) {
      for ( const Line& line : lines ) {
         batch_.addLine( chain, line );
      }
   }

   template < typename Add >
   void probe( bool action, std::string_view name, Add add ) {
      const U32 first = batch_.next();
      add();
      probes_.push_back( { family_, action, Vek::String( name ), first, batch_.next() } );
   }

   Vek::String familyText( AddressFamily family,
                           const std::vector< Kernel::Refusal >& refusals ) const {
      Vek::String texts[2];
      for ( const Probe& one : probes_ ) {
         const auto isOf = [&]( const Kernel::Refusal& refusal ) {
            return one.first <= refusal.message && refusal.message < one.end;
         };
         if ( one.family == family && !one.name.empty() &&
              std::ranges::none_of( refusals, isOf ) ) {
            Vek::String& text = texts[one.action];
            text += Vek::concat( text.empty() ? "" : ",", '"', one.name, '"' );
         }
      }
      return Vek::concat( R"({"qualifiers":[)", texts[0], R"(],"actions":[)", texts[1], "]}" );
   }

   Batch batch_;
   AddressFamily family_ = AddressFamily::ipv4;
   std::vector< Probe > probes_;
};

} // namespace

Profile kernelProfile( Kernel& kernel ) {
   Trial trial;
   trial.add( AddressFamily::ipv4 );
   trial.add( AddressFamily::ipv6 );
   return trial.profile( kernel );
}

bool canCopy( Kernel& kernel, AddressFamily family ) {
   Batch batch;
   batch.familyIs( family );
   batch.addTable();
   const Vek::String chain = "trial";
   batch.addChain( chain );
   const U32 line = batch.next();
   batch.addLine(
      chain, { Duplicate{ Zorv::IpGenAddr::ofFamily( family, Zorv::IpGenAddr::Bytes{ 1 }.data(),
                                                     Zorv::IpGenAddr::bits( family ) ) } } );
   batch.addFault();
   const auto refusals = kernel.commit( batch );
   return !refusals.empty() && refusals.front().message != line;
}

} // namespace Agents::Nftables
