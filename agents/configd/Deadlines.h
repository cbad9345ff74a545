#pragma once

#include "forms/RuleFile.h"
#include "peers/RuleDeadlines.h"

#include <chrono>
#include <map>
#include <span>
#include <unordered_map>

namespace Agents {

/// When the rules of files expire. What was asked for in seconds begins when the line is first
/// read, by a clock that nobody sets: a line that is there again, with the same rule, keeps its
/// deadline, whatever else changes in the file. A point in time is one of the wall clock. A rule
/// that has expired stays away until its line changes or is gone once.
class Deadlines {
public:
   using Steady = std::chrono::steady_clock;
   using Wall = std::chrono::system_clock;

   /// One moment by both clocks.
   struct Now {
      Steady::time_point steady = Steady::now();
      Wall::time_point wall = Wall::now();
   };

   /// How long a change of the wall clock may go unnoticed.
   static constexpr std::chrono::seconds clockCheck{ 1 };

   struct Expired {
      std::size_t file;
      Flowspec::FlowspecKey key;
      U64 line;
   };

   explicit Deadlines( std::size_t files ) : files_( files ) {}

   /// A file, by its position, was read: rules that have expired are taken out of `rules`. What is
   /// told of those whose time was past already: they were never filed.
   std::vector< Forms::RuleError > read( std::size_t file, Forms::RuleFile& rules, const Now& now );

   /// When `expire` is to be called; never while no rule expires.
   Steady::time_point next( const Now& now ) const;
   /// The rules that have expired since the last call, by files, then by lines.
   std::vector< Expired > expire( const Now& now );

   /// Whether the wall clock was set since the last `write`.
   bool clockWasSet( const Now& now ) const;

   /// Tells the deadlines of the rules that are in force: of two with one key that of the first
   /// file. `files` are those that were read, without what has expired.
   void write( std::span< const Forms::RuleFile > files, Peers::RuleDeadlines& root,
               const Now& now );

private:
   struct Entry {
      Forms::FiledRule rule;
      Steady::time_point deadline{}; // of seconds
      bool over = false;
   };
   struct KeyHash {
      std::size_t operator()( const Flowspec::FlowspecKey& key ) const { return key.hash(); }
   };
   using Entries = std::unordered_map< Flowspec::FlowspecKey, Entry, KeyHash >;
   struct Pending {
      std::size_t file;
      Entry* entry;
   };

   void order();

   std::vector< Entries > files_;
   Steady::time_point checked_{};
   Wall::duration apart_{}; // the clocks, at the last `write`
   // Those that have not expired.
   std::multimap< Steady::time_point, Pending > bySteady_;
   std::multimap< std::chrono::sys_seconds, Pending > byWall_;
};

} // namespace Agents
