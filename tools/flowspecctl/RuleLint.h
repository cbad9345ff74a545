#pragma once

#include "dataplane/Overlaps.h"
#include "dataplane/Profile.h"
#include "forms/RuleFile.h"
#include "tools/flowspecctl/GuardedPackets.h"

namespace Tools {

/// What is found about a rule, in the order of their rows in `findingKinds`.
enum class FindingKind : U8 {
   unreadable,
   remark,
   beyondField,
   matchesNothing,
   matchesEverything,
   protectedPrefix,
   session,
   profile,
   same,
   contradicts,
   hidden,
   partlyHidden,
   notCompared,
   backend,
};

/// How the kinds are named and how grave they are.
struct FindingRow {
   FindingKind kind;
   std::string_view name;
   std::string_view level; ///< "error", "warning" or "note"
};

inline constexpr FindingRow findingKinds[] = {
   { FindingKind::unreadable, "unreadable", "error" },
   { FindingKind::remark, "remark", "warning" },
   { FindingKind::beyondField, "beyond-field", "warning" },
   { FindingKind::matchesNothing, "matches-nothing", "warning" },
   { FindingKind::matchesEverything, "matches-everything", "warning" },
   { FindingKind::protectedPrefix, "protected", "warning" },
   { FindingKind::session, "session", "warning" },
   { FindingKind::profile, "profile", "warning" },
   { FindingKind::same, "double", "warning" },
   { FindingKind::contradicts, "contradicts", "warning" },
   { FindingKind::hidden, "hidden", "warning" },
   { FindingKind::partlyHidden, "partly-hidden", "note" },
   { FindingKind::notCompared, "not-compared", "note" },
   { FindingKind::backend, "backend", "note" },
};
constexpr const FindingRow& findingRow( FindingKind kind ) {
   return findingKinds[static_cast< std::size_t >( kind )];
}

/// The kind with a name; nothing when there is none.
std::optional< FindingKind > findingKind( std::string_view name );

/// One finding, at a line of a file; at the file as a whole when `line` is 0.
struct Finding {
   FindingKind kind;
   Vek::String file;
   U64 line;
   U64 column;       ///< 0 for the line as a whole
   Vek::String text; ///< in words, with all of the next two
   /// The file and line of the other rule, if there is one.
   std::optional< std::pair< Vek::String, U64 > > other{};
   std::optional< Match::Packet > packet{};
};

/// What rules are to be programmed by.
struct LintBackend {
   std::optional< Dataplane::Profile > profile{}; ///< nothing to leave that out
   Vek::String file{};                            ///< that the profile is from; may be empty
   bool nftables = false;
};

/// Looks for what is wrong with the rules of files, taken together, without a running system.
class RuleLint {
public:
   /// Both outlive the object.
   RuleLint( const LintBackend& backend, const std::vector< GuardedPackets >& guarded )
      : backend_( backend ), guarded_( guarded ) {}

   /// Adds what was read of a file. A rule without an address family gets that of its prefixes.
   void add( Forms::RuleFile file );

   /// All findings by files, in the order in which they were added, and lines. Not to be used
   /// afterwards.
   std::vector< Finding > findings();

private:
   void look( std::size_t file, const Forms::FiledRule& rule );
   void askBackend( std::size_t file, const Forms::FiledRule& rule, Flowspec::RuleConfig& config );
   void lookAtAll();
   void compare();
   void found( FindingKind kind, std::size_t file, U64 line, Vek::String text, U64 column = 0 );

   // A finding and the number of its file.
   struct Numbered {
      std::size_t file;
      Finding finding;
   };
   // The rule of a position among all.
   struct Place {
      std::size_t file;
      const Forms::FiledRule* rule;
   };

   const LintBackend& backend_;
   const std::vector< GuardedPackets >& guarded_;
   std::vector< Forms::RuleFile > files_;
   std::vector< Numbered > found_;
   U64 entries_ = 0; // that the rules take of hardware
};

} // namespace Tools
