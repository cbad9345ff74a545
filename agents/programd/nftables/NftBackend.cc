#include "agents/programd/nftables/NftBackend.h"

#include "Vek/text/Text.h"
#include "agents/programd/nftables/KernelProfile.h"
#include "match/RuleMatch.h"

#include <algorithm>
#include <cstring>

namespace Agents::Nftables {

using namespace Dataplane;
using namespace Dataplane::Nftables;
using Flowspec::FlowspecKey;
using Zorv::AddressFamily;

namespace {

// A name that a rule has in each process: a counter goes on while key and action are the same.
Vek::String nameOf( const FlowspecKey& key, const RuleDemand& demand ) {
   const Flowspec::RuleAction& action = demand.asked;
   Vek::String text = Vek::concat( key.vrfId(), ' ', Zorv::stringValue( key.addressFamily() ), ' ',
                                   key.toStrepCli( true ), ' ', demand.actions.to_ulong(), ' ',
                                   action.markDscp.value(), ' ' );
   U32 rate;
   std::memcpy( &rate, &action.rateLimit, sizeof rate );
   text += Vek::concat( rate );
   for ( const U16 set : key.interfaceSet() ) {
      text += Vek::concat( ' ', set );
   }
   // Two hashes of 64 bits with different beginnings.
   constexpr std::string_view digits = "0123456789abcdef";
   Vek::String name = "r";
   for ( U64 hash : { 0xCBF29CE484222325U, 0x9E3779B97F4A7C15U } ) {
      for ( const char c : text ) {
         hash = ( hash ^ static_cast< U8 >( c ) ) * 0x100000001B3U;
         hash ^= hash >> 29;
      }
      for ( int digit = 0; digit < 16; ++digit, hash >>= 4 ) {
         name += digits[hash & 0xF];
      }
   }
   return name;
}

std::vector< U16 > setsOf( const FlowspecKey& key ) {
   std::vector< U16 > sets( key.interfaceSet().begin(), key.interfaceSet().end() );
   std::ranges::sort( sets );
   sets.erase( std::unique( sets.begin(), sets.end() ), sets.end() );
   return sets;
}

} // namespace

NftBackend::NftBackend( EventLoop& loop, std::optional< Profile > wiring, Log log )
   : loop_( loop ), wiring_( std::move( wiring ) ), log_( std::move( log ) ),
     profile_( kernelProfile( kernel_ ) ),
     machine_( loop, [this]( const Interface*, const Interface* now ) { onInterface( now ); } ),
     watch_(
        loop, [this] { return kernel_.generation(); }, [this] { onForeignChange(); } ) {
   loop_.add( *this );
}

NftBackend::~NftBackend() { loop_.remove( *this ); }

void NftBackend::ruleIs( const Flowspec::RuleConfig& config ) {
   const FlowspecKey& key = config.ruleKey();
   RuleDemand demand = demandOf( config, profile_ );
   const auto [at, added] = rules_.try_emplace( key );
   Programmed& programmed = at->second;
   if ( !added && programmed.demand == demand && !programmed.refused ) {
      return;
   }
   programmed.demand = std::move( demand );
   programmed.rule.reset();
   programmed.isNew = true;
   programmed.refused = false;
   const RuleDemand& asked = programmed.demand;
   if ( !asked.result.isProgrammed() ) {
      return;
   }
   if ( Vek::String reason = whyNot( asked.asked, asked.actions ); !reason.empty() ) {
      programmed.demand.result = { Flowspec::unsupportedAction, std::move( reason ) };
      return;
   }
   const Wire::CanonicalRule canonical( key );
   const Vek::String name = nameOf( key, asked );
   programmed.rule = std::make_shared< const Rule >(
      Rule{ key.vrfId(), canonical.destPrefix(), setsOf( key ), name, matchLines( canonical ),
            actionLines( asked.asked, asked.actions, name ) } );
}

void NftBackend::ruleDel( const FlowspecKey& key ) {
   const auto at = rules_.find( key );
   if ( at != rules_.end() ) {
      if ( at->second.rule ) {
         counts_[key.addressFamily() == AddressFamily::ipv6].erase( at->second.rule->name );
      }
      rules_.erase( at );
   }
}

void NftBackend::interfaceIs( Zorv::IntfId intf, const InterfaceSetup& setup ) {
   if ( setup == InterfaceSetup() ) {
      ports_.erase( intf );
      return;
   }
   Port& port = ports_[intf];
   port.setup = setup;
   const Interface* const found =
      intf.value() <= ~U32{ 0 } ? machine_.find( static_cast< U32 >( intf.value() ) ) : nullptr;
   if ( port.name.empty() && found ) {
      port.name = found->name;
   }
}

// One that was not there when it was configured is taken up when it comes.
void NftBackend::onInterface( const Interface* now ) {
   const auto at = now ? ports_.find( Zorv::IntfId( now->number ) ) : ports_.end();
   if ( at == ports_.end() || !at->second.name.empty() ) {
      return;
   }
   at->second.name = now->name;
   log_( Vek::concat( "interface ", now->number, " is ", now->name ) );
   if ( inForce_ ) {
      if ( const Vek::String error = put(); !error.empty() ) {
         log_( error );
      }
   }
}

void NftBackend::interfaceSetLimitIs( U32 limit ) { interfaceSetLimit_ = limit; }

// Finds out what becomes of each rule beside those before it.
void NftBackend::giveRoom() {
   const U32 room = interfaceSetLimit_ == 0
                       ? profile_.interfaceSets()
                       : std::min( profile_.interfaceSets(), interfaceSetLimit_ );
   setsInUse_.clear();
   for ( auto& [key, programmed] : rules_ ) {
      if ( programmed.refused ) {
         continue;
      }
      programmed.result = programmed.demand.result;
      if ( !programmed.rule || programmed.rule->interfaceSets.empty() ) {
         continue;
      }
      std::set< U16 > used = setsInUse_;
      used.insert( programmed.rule->interfaceSets.begin(), programmed.rule->interfaceSets.end() );
      if ( used.size() > room ) {
         programmed.result = { Flowspec::intfSetResourceExhausted,
                               Vek::concat( "there is room for ", room, " interface sets" ) };
      } else {
         setsInUse_ = std::move( used );
      }
   }
}

InterfaceUses NftBackend::uses( AddressFamily family ) const {
   InterfaceUses uses;
   for ( const auto& [intf, port] : ports_ ) {
      const bool enabled =
         family == AddressFamily::ipv4 ? port.setup.enabled.ipv4() : port.setup.enabled.ipv6();
      const InterfaceResult result = interfaceResult( intf, port, family );
      if ( enabled && result.error.empty() ) {
         std::vector< U16 > sets = port.setup.sets;
         std::ranges::sort( sets );
         uses[port.name] = { result.vrf, std::move( sets ) };
      }
   }
   return uses;
}

NftBackend::Tables NftBackend::tables() const {
   std::vector< RulePtr > rules[2];
   for ( const auto& [key, programmed] : rules_ ) {
      if ( programmed.rule && programmed.result.isProgrammed() ) {
         rules[key.addressFamily() == AddressFamily::ipv6].push_back( programmed.rule );
      }
   }
   return { rulesetOf( families[0], rules[0], uses( families[0] ) ),
            rulesetOf( families[1], rules[1], uses( families[1] ) ) };
}

// Why the kernel refuses; "" when it does not.
Vek::String NftBackend::commit( Batch& batch ) {
   const U32 before = kernel_.generation();
   const auto refusals = kernel_.commit( batch );
   if ( !refusals.empty() ) {
      return Vek::concat( "nf_tables refuses message ", refusals.front().message, ": ",
                          std::strerror( refusals.front().error ) );
   }
   // With anything else in between it is not known which of them was ours.
   if ( const U32 now = kernel_.generation(); now == before + 1 ) {
      watch_.ownIs( now );
   }
   return "";
}

// Brings the kernel from what is in force to what is to be.
Vek::String NftBackend::put() {
   Tables wanted = tables();
   if ( inForce_ ) {
      if ( *inForce_ == wanted ) {
         return "";
      }
      Batch batch;
      for ( std::size_t i = 0; i < wanted.size(); ++i ) {
         change( batch, ( *inForce_ )[i], wanted[i] );
      }
      if ( commit( batch ).empty() ) {
         inForce_ = std::move( wanted );
         return "";
      }
   }
   // At the beginning, and when the kernel does not have what was thought to be in force.
   readCounters();
   Batch batch;
   for ( std::size_t i = 0; i < wanted.size(); ++i ) {
      replaceAll( batch, wanted[i], counts_[i] );
   }
   Vek::String error = commit( batch );
   if ( error.empty() ) {
      inForce_ = std::move( wanted );
   }
   return error;
}

std::vector< RuleChange > NftBackend::apply() {
   giveRoom();
   if ( const Vek::String error = put(); !error.empty() ) {
      // What is new is the cause; without it all is as it was.
      log_( error );
      for ( auto& [key, programmed] : rules_ ) {
         if ( programmed.isNew && programmed.result.isProgrammed() ) {
            programmed.refused = true;
            programmed.result = { Flowspec::resourceExhausted, error };
         }
      }
      if ( const Vek::String again = put(); !again.empty() ) {
         log_( again );
      }
   }
   std::vector< RuleChange > changes;
   for ( auto& [key, programmed] : rules_ ) {
      if ( programmed.isNew || programmed.result != programmed.inForce ) {
         programmed.isNew = false;
         programmed.inForce = programmed.result;
         changes.push_back( { key, programmed.result } );
      }
   }
   return changes;
}

void NftBackend::onForeignChange() {
   using namespace std::chrono_literals;
   if ( inForce_ ) {
      repairDue_ = std::max( EventLoop::Clock::now(), lastRepair_ + 1s );
   }
}

void NftBackend::ready() {
   if ( repairDue_ > EventLoop::Clock::now() ) {
      return;
   }
   repairDue_ = EventLoop::Clock::time_point::max();
   lastRepair_ = EventLoop::Clock::now();
   log_( Vek::concat( "another program changed the tables '", tableName,
                      "' of nf_tables: they are made anew" ) );
   inForce_.reset();
   if ( const Vek::String error = put(); !error.empty() ) {
      log_( error );
   }
}

// What a table has not any more keeps what it last had.
void NftBackend::readCounters() {
   std::array< CountsByName, 2 > kept;
   const CountsByName there[] = { kernel_.counters( families[0] ),
                                  kernel_.counters( families[1] ) };
   for ( const auto& [key, programmed] : rules_ ) {
      if ( programmed.rule ) {
         const bool v6 = key.addressFamily() == AddressFamily::ipv6;
         const Vek::String& name = programmed.rule->name;
         const CountsByName& from = there[v6].contains( name ) ? there[v6] : counts_[v6];
         if ( const auto at = from.find( name ); at != from.end() ) {
            kept[v6].insert( *at );
         }
      }
   }
   counts_ = std::move( kept );
}

QosLib::ColoredCounters NftBackend::counters( const FlowspecKey& key ) const {
   QosLib::ColoredCounters counters;
   const auto at = rules_.find( key );
   if ( at != rules_.end() && at->second.rule && at->second.result.isProgrammed() ) {
      const CountsByName& counts = counts_[key.addressFamily() == AddressFamily::ipv6];
      const auto found = counts.find( at->second.rule->name );
      if ( found != counts.end() ) {
         counters.packetHitsIs( found->second.packets );
         counters.byteHitsIs( found->second.bytes );
      }
   }
   return counters;
}

std::vector< U16 > NftBackend::interfaceSetsInUse() const {
   return { setsInUse_.begin(), setsInUse_.end() };
}

InterfaceResult NftBackend::interfaceResult( Zorv::IntfId intf, const Port& port,
                                             AddressFamily family ) const {
   const auto own = wiring_ ? wiring_->vrfOf( intf ) : Vrf::VrfIdMap::VrfId{ 0 };
   InterfaceResult result{ intf, family, own.value_or( 0 ), "" };
   if ( !own ) {
      result.error = "the profile has no such interface";
   } else if ( port.name.empty() ) {
      result.error = "the machine has no such interface";
   } else if ( !port.setup.sourceVrf.empty() ) {
      const auto named = wiring_ ? wiring_->vrfNamed( port.setup.sourceVrf ) : std::nullopt;
      result.vrf = named.value_or( *own );
      result.error =
         named ? "" : Vek::concat( "the profile has no VRF '", port.setup.sourceVrf, "'" );
   }
   return result;
}

std::vector< InterfaceResult > NftBackend::interfaces() const {
   std::vector< InterfaceResult > results;
   for ( const auto& [intf, port] : ports_ ) {
      if ( port.setup.enabled.ipv4() ) {
         results.push_back( interfaceResult( intf, port, AddressFamily::ipv4 ) );
      }
      if ( port.setup.enabled.ipv6() ) {
         results.push_back( interfaceResult( intf, port, AddressFamily::ipv6 ) );
      }
   }
   return results;
}

} // namespace Agents::Nftables
