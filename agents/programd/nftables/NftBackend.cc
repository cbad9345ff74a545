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
   Vek::String text = Vek::concat(
      key.vrfId(), ' ', Zorv::stringValue( key.addressFamily() ), ' ', key.toStrepCli( true ), ' ',
      demand.actions.to_ulong(), ' ', action.markDscp.value(), ' ', action.redirect.vrfId(), ' ',
      action.redirect.addr().stringValue(), ' ', action.redirect.copy() ? 1 : 0, ' ' );
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
     profile_( kernelProfile( kernel_ ) ), canCopy_{ canCopy( kernel_, families[0] ),
                                                     canCopy( kernel_, families[1] ) },
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
   changed_.insert( at->first );
   release( key, programmed );
   buildRule( key, programmed );
   programmed.result = resultOf( programmed );
   if ( programmed.rule && !programmed.rule->interfaceSets.empty() ) {
      withSets_.insert( at->first );
   } else {
      withSets_.erase( at->first );
   }
}

void NftBackend::buildRule( const FlowspecKey& key, Programmed& programmed ) {
   RuleDemand& asked = programmed.demand;
   const AddressFamily family = key.addressFamily();
   if ( !asked.result.isProgrammed() ) {
      return;
   }
   Vek::String reason = whyNot( asked.asked, asked.actions, family );
   if ( asked.actions[numberOf( Action::redirectAddr )] && asked.asked.redirect.copy() &&
        !canCopy_[family == AddressFamily::ipv6] ) {
      reason = "nf_tables has no 'dup'";
   }
   const auto target = targetOf( asked.asked, asked.actions, family );
   if ( reason.empty() && target && targets_.size() == MarkRoutes::maxMarks &&
        !targets_.contains( *target ) ) {
      reason = Vek::concat( "packets go to ", MarkRoutes::maxMarks, " other places" );
   }
   if ( !reason.empty() ) {
      asked.result = { Flowspec::unsupportedAction, std::move( reason ) };
      return;
   }
   const U32 mark = target ? markFor( *target, key ) : 0;
   programmed.target = target;
   const Wire::CanonicalRule canonical( key );
   const Vek::String name = nameOf( key, asked );
   programmed.rule = std::make_shared< const Rule >(
      Rule{ key, canonical.destPrefix(), setsOf( key ), name, matchLines( canonical ),
            actionLines( asked.asked, asked.actions, name, mark ) } );
}

// The mark of a target, which has one more rule.
U32 NftBackend::markFor( const Target& target, const FlowspecKey& key ) {
   const auto [at, added] = targets_.try_emplace( target );
   at->second.rules.insert( key );
   if ( added ) {
      U32 mark = markOf( target );
      while ( std::ranges::any_of(
         targets_, [mark]( const auto& one ) { return one.second.mark == mark; } ) ) {
         mark = markAfter( mark );
      }
      at->second.mark = mark;
      targetsChanged_ = true;
   }
   return at->second.mark;
}

void NftBackend::release( const FlowspecKey& key, Programmed& programmed ) {
   if ( programmed.target ) {
      const auto at = targets_.find( *programmed.target );
      at->second.rules.erase( key );
      if ( at->second.rules.empty() ) {
         targets_.erase( at );
         targetsChanged_ = true;
      }
      programmed.target.reset();
   }
}

// Has the kernel lead marked packets away, and finds out which it cannot.
void NftBackend::leadAway( MarkRoutes::Others others ) {
   std::set< MarkRoute > wanted;
   for ( const auto& [target, led] : targets_ ) {
      wanted.insert( { led.mark, target.family, target.table, target.nextHop } );
   }
   std::map< U32, Vek::String > faults; // by mark
   try {
      for ( const MarkRouteFault& fault : routes_.apply( wanted, others ) ) {
         faults[fault.route.mark] = fault.reason;
      }
   } catch ( const std::system_error& error ) {
      for ( const MarkRoute& route : wanted ) {
         faults[route.mark] = error.what();
      }
   }
   for ( auto& [target, led] : targets_ ) {
      const auto fault = faults.find( led.mark );
      const Vek::String reason = fault == faults.end() ? "" : fault->second;
      if ( reason != led.fault ) {
         led.fault = reason;
         for ( const OrderedKey& key : led.rules ) {
            Programmed& programmed = rules_.at( key );
            programmed.result = resultOf( programmed );
            programmed.refused = false;
            changed_.insert( key );
         }
      }
   }
}

// Without a look at the room that there is.
ProgrammingResult NftBackend::resultOf( const Programmed& programmed ) const {
   if ( programmed.target ) {
      const Led& led = targets_.at( *programmed.target );
      if ( !led.fault.empty() ) {
         const Target& target = *programmed.target;
         return { Flowspec::unsupportedAction,
                  target.table == 0
                     ? Vek::concat( "the next hop ", target.nextHop.stringValue(), ": ", led.fault )
                     : Vek::concat( "the routing table ", target.table, ": ", led.fault ) };
      }
   }
   return programmed.demand.result;
}

void NftBackend::ruleDel( const FlowspecKey& key ) {
   const auto at = rules_.find( key );
   if ( at != rules_.end() ) {
      if ( at->second.rule ) {
         counts_[key.addressFamily() == AddressFamily::ipv6].erase( at->second.rule->name );
      }
      release( key, at->second );
      displace( at->second );
      changed_.erase( at->first );
      withSets_.erase( at->first );
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
   tellNews();
}

void NftBackend::interfaceSetLimitIs( U32 limit ) { interfaceSetLimit_ = limit; }

// Finds out what becomes of the rules with interface sets beside those before them.
void NftBackend::giveRoom() {
   const U32 room = interfaceSetLimit_ == 0
                       ? profile_.interfaceSets()
                       : std::min( profile_.interfaceSets(), interfaceSetLimit_ );
   setsInUse_.clear();
   for ( const OrderedKey& key : withSets_ ) {
      Programmed& programmed = rules_.at( key );
      if ( programmed.refused ) {
         continue;
      }
      std::set< U16 > used = setsInUse_;
      used.insert( programmed.rule->interfaceSets.begin(), programmed.rule->interfaceSets.end() );
      ProgrammingResult result = resultOf( programmed );
      if ( !result.isProgrammed() ) {
         // takes none
      } else if ( used.size() > room ) {
         result = { Flowspec::intfSetResourceExhausted,
                    Vek::concat( "there is room for ", room, " interface sets" ) };
      } else {
         setsInUse_ = std::move( used );
      }
      if ( programmed.result != result ) {
         programmed.result = std::move( result );
         changed_.insert( key );
      }
   }
}

// Has the table have the rule, as it is to be.
void NftBackend::place( Programmed& programmed ) {
   const RulePtr wanted = programmed.result.isProgrammed() ? programmed.rule : nullptr;
   if ( programmed.placed == wanted ) {
      return;
   }
   displace( programmed );
   if ( wanted ) {
      tables_[wanted->key.addressFamily() == AddressFamily::ipv6].add( wanted );
      programmed.placed = wanted;
   }
}

void NftBackend::displace( Programmed& programmed ) {
   if ( programmed.placed ) {
      tables_[programmed.placed->key.addressFamily() == AddressFamily::ipv6].remove(
         programmed.placed );
      programmed.placed.reset();
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
   for ( std::size_t i = 0; i < tables_.size(); ++i ) {
      tables_[i].interfacesAre( uses( families[i] ) );
   }
   Vek::String error;
   if ( inForce_ ) {
      Batch batch;
      bool none = true;
      for ( Table& table : tables_ ) {
         const Table::Changes& changes = table.changes();
         none = none && changes.none();
         change( batch, changes.before, changes.after );
      }
      error = none ? "" : commit( batch );
   }
   // At the beginning, and when the kernel does not have what was thought to be in force.
   if ( !inForce_ || !error.empty() ) {
      readCounts();
      Batch batch;
      for ( std::size_t i = 0; i < tables_.size(); ++i ) {
         replaceAll( batch, tables_[i].ruleset(), counts_[i] );
      }
      error = commit( batch );
   }
   if ( error.empty() ) {
      inForce_ = true;
      for ( Table& table : tables_ ) {
         table.changesAreDone();
      }
   }
   return error;
}

std::vector< RuleChange > NftBackend::apply() {
   if ( targetsChanged_ ) {
      // Rules in force still set the marks of targets that nobody wants any more.
      leadAway( MarkRoutes::Others::stay );
   }
   giveRoom();
   for ( const OrderedKey& key : changed_ ) {
      place( rules_.at( key ) );
   }
   if ( const Vek::String error = put(); !error.empty() ) {
      // What is new is the cause; without it all is as it was.
      log_( error );
      for ( const OrderedKey& key : changed_ ) {
         Programmed& programmed = rules_.at( key );
         if ( programmed.isNew && programmed.result.isProgrammed() ) {
            programmed.refused = true;
            programmed.result = { Flowspec::resourceExhausted, error };
            place( programmed );
         }
      }
      if ( const Vek::String again = put(); !again.empty() ) {
         log_( again );
      }
   }
   if ( std::exchange( targetsChanged_, false ) ) {
      leadAway( MarkRoutes::Others::go );
   }
   std::vector< RuleChange > changes;
   for ( const OrderedKey& key : changed_ ) {
      Programmed& programmed = rules_.at( key );
      if ( programmed.isNew || programmed.result != programmed.inForce ) {
         programmed.isNew = false;
         programmed.inForce = programmed.result;
         changes.push_back( { key.key(), programmed.result } );
      }
   }
   changed_.clear();
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
   inForce_ = false;
   if ( const Vek::String error = put(); !error.empty() ) {
      log_( error );
   }
}

void NftBackend::readCounters() {
   readCounts();
   if ( !targets_.empty() ) {
      leadAway( MarkRoutes::Others::go );
   }
   if ( !changed_.empty() ) {
      tellNews();
   }
}

// What a table has not any more keeps what it last had.
void NftBackend::readCounts() {
   std::array< CountsByName, 2 > kept;
   const CountsByName there[] = { kernel_.counters( families[0] ),
                                  kernel_.counters( families[1] ) };
   for ( const auto& [key, programmed] : rules_ ) {
      if ( programmed.rule ) {
         const bool v6 = key.key().addressFamily() == AddressFamily::ipv6;
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
