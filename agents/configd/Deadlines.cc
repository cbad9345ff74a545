#include "agents/configd/Deadlines.h"

#include "forms/TimeText.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace Agents {

using Forms::FiledRule;
using Forms::RuleError;
using Forms::RuleFile;

namespace {

using std::chrono::floor;
using std::chrono::seconds;
using std::chrono::sys_seconds;

// Times may be beyond those that the clock itself can tell.
sys_seconds wallTime( const FiledRule& rule ) { return sys_seconds( rule.expires->seconds ); }

// The same line, wherever it is now.
bool same( const FiledRule& a, const FiledRule& b ) {
   FiledRule there = b;
   there.line = a.line;
   return a == there;
}

double sinceEpoch( auto time ) {
   return std::chrono::duration< double >( time.time_since_epoch() ).count();
}

Deadlines::Wall::duration apart( const Deadlines::Now& now ) {
   return now.wall.time_since_epoch() -
          std::chrono::duration_cast< Deadlines::Wall::duration >( now.steady.time_since_epoch() );
}

} // namespace

std::vector< RuleError > Deadlines::read( std::size_t file, RuleFile& rules, const Now& now ) {
   std::vector< RuleError > past;
   Entries entries;
   std::erase_if( rules.rules, [&]( const FiledRule& rule ) {
      if ( !rule.expires ) {
         return false;
      }
      Entry entry{ .rule = rule };
      if ( const auto before = files_[file].find( rule.key );
           before != files_[file].end() && same( before->second.rule, rule ) ) {
         entry.deadline = before->second.deadline;
         entry.over = before->second.over;
      } else if ( !rule.expires->isTime ) {
         entry.deadline = now.steady + rule.expires->seconds;
      } else if ( wallTime( rule ) <= floor< seconds >( now.wall ) ) {
         past.push_back( { rules.file, rule.line,
                           "the rule has expired at " + Forms::textOfTime( wallTime( rule ) ) +
                              " and is not filed" } );
         return true;
      }
      const bool over = entry.over;
      entries.emplace( rule.key, std::move( entry ) );
      return over;
   } );
   files_[file] = std::move( entries );
   checked_ = now.steady;
   order();
   return past;
}

void Deadlines::order() {
   bySteady_.clear();
   byWall_.clear();
   for ( std::size_t file = 0; file < files_.size(); ++file ) {
      for ( auto& [key, entry] : files_[file] ) {
         if ( entry.over ) {
            continue;
         }
         if ( entry.rule.expires->isTime ) {
            byWall_.emplace( wallTime( entry.rule ), Pending{ file, &entry } );
         } else {
            bySteady_.emplace( entry.deadline, Pending{ file, &entry } );
         }
      }
   }
}

Deadlines::Steady::time_point Deadlines::next( const Now& now ) const {
   if ( bySteady_.empty() && byWall_.empty() ) {
      return Steady::time_point::max();
   }
   auto next = checked_ + clockCheck;
   if ( !bySteady_.empty() ) {
      next = std::min( next, bySteady_.begin()->first );
   }
   if ( !byWall_.empty() ) {
      // Later ones are found by the checks.
      const sys_seconds first = byWall_.begin()->first;
      if ( first - floor< seconds >( now.wall ) <= clockCheck ) {
         next = std::min( next, now.steady + ( first - now.wall ) );
      }
   }
   return next;
}

std::vector< Deadlines::Expired > Deadlines::expire( const Now& now ) {
   checked_ = now.steady;
   std::vector< Expired > expired;
   const auto takeFrom = [&]( auto& pending, auto time ) {
      while ( !pending.empty() && pending.begin()->first <= time ) {
         const auto [file, entry] = pending.begin()->second;
         entry->over = true;
         expired.push_back( { file, entry->rule.key, entry->rule.line } );
         pending.erase( pending.begin() );
      }
   };
   takeFrom( bySteady_, now.steady );
   takeFrom( byWall_, floor< seconds >( now.wall ) );
   std::ranges::sort( expired, {},
                      []( const Expired& rule ) { return std::pair( rule.file, rule.line ); } );
   return expired;
}

bool Deadlines::clockWasSet( const Now& now ) const {
   return std::chrono::abs( apart( now ) - apart_ ) > clockCheck / 2.0;
}

void Deadlines::write( std::span< const RuleFile > files, Peers::RuleDeadlines& root,
                       const Now& now ) {
   apart_ = apart( now );
   std::unordered_map< Flowspec::FlowspecKey, double, KeyHash > wanted;
   // From the last file to the first, whose rule counts.
   for ( std::size_t file = files.size(); file-- > 0; ) {
      for ( const FiledRule& rule : files[file].rules ) {
         if ( !rule.expires ) {
            if ( !wanted.empty() ) {
               wanted.erase( rule.key );
            }
         } else if ( rule.expires->isTime ) {
            wanted[rule.key] = sinceEpoch( wallTime( rule ) );
         } else {
            const auto left = files_[file].at( rule.key ).deadline - now.steady;
            wanted[rule.key] =
               sinceEpoch( now.wall + std::chrono::duration_cast< Wall::duration >( left ) );
         }
      }
   }
   for ( auto at = root.deadline().begin(); at != root.deadline().end(); ) {
      at = wanted.contains( at->first ) ? std::next( at ) : root.deadlineDel( at );
   }
   for ( const auto& [key, time] : wanted ) {
      // The two clocks are not read at one moment: what differs by little is the same.
      if ( std::abs( root.deadline( key ) - time ) > 0.5 ) {
         root.deadlineIs( key, time );
      }
   }
}

} // namespace Agents
