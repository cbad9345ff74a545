#include "dataplane/nftables/RuleChains.h"

#include "dataplane/nftables/Names.h"

namespace Dataplane::Nftables {

namespace {

Lines shared( std::vector< Line > lines ) {
   return std::make_shared< const std::vector< Line > >( std::move( lines ) );
}

} // namespace

Lines oneLine( Line line ) { return shared( { std::move( line ) } ); }

RuleChains ruleChains( const Rule& rule ) {
   const ActionLines& action = rule.action;
   const bool several = rule.matches.size() > 1 && action.continues;
   const bool apart = action.lines.size() > 1 || several;
   RuleChains chains;
   if ( apart ) {
      chains.own[actionChain( rule )].parts = { shared( action.lines ) };
   }
   const Line inside =
      apart ? Line{ Verdict{ Verdict::Kind::jumpTo, actionChain( rule ) } } : action.lines.front();
   Line interface;
   if ( !rule.interfaceSets.empty() ) {
      interface.push_back( InterfaceTest{ setName( rule.interfaceSets ) } );
   }
   std::vector< Line > matching;
   for ( const Line& match : rule.matches ) {
      // Where the alternatives have a chain of their own, the interface was looked at before.
      Line line = several ? Line() : interface;
      line.insert( line.end(), match.begin(), match.end() );
      line.insert( line.end(), inside.begin(), inside.end() );
      matching.push_back( std::move( line ) );
   }
   if ( !several ) {
      chains.lines = shared( std::move( matching ) );
      return chains;
   }
   // Only the first alternative that holds is to count, and the next rule to be tried then.
   chains.own[alternativesChain( rule )].parts = { shared( std::move( matching ) ) };
   interface.push_back( Verdict{ Verdict::Kind::jump, alternativesChain( rule ) } );
   chains.lines = oneLine( std::move( interface ) );
   return chains;
}

} // namespace Dataplane::Nftables
