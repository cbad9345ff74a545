#pragma once

#include "forms/KeyForms.h"
#include "forms/dialects/RuleLines.h"

#include <unordered_set>
#include <vector>

/// Files of rules, most with one rule a line. The ending of a file's name says how its rules are
/// written:
///
/// - `.jsonl` or `.json`: an object on one line with the members of a key's JSON text
///   (`forms/KeyJson.h`), of which `vrfId` and `addressFamily` may be null, and, where wanted,
///   `action`, `ruleId` and `rd` (`forms/dialects/RuleJson.h`). Without an action a rule permits.
/// - the name of a readable form of `flowspecctl` (`.cli`, `.cli-len`, `.rd`, `.rd-len`, `.value`,
///   `.diag`): the text of a key. Such rules permit. A distinguisher is no part of a key and is
///   passed over.
///
/// - the name of a dialect (`forms/dialects`, `docs/dialects.md`): `.bird`, `.exabgp`,
///   `.exabgp-json`, `.gobgp`, `.gobgp-json`, `.nlri`, `.nlri-vpn`: whole rules as other programs
///   have them, which may span lines in some.
///
/// Blank lines and those that begin with "#" say nothing.
namespace Forms {

/// A rule as a file has it.
struct FiledRule {
   Flowspec::FlowspecKey key;
   Flowspec::RuleAction action;
   U64 ruleId = 0;
   std::optional< Expiry > expires{};
   U64 line = 0; ///< where it is, from 1 on

   bool operator==( const FiledRule& ) const = default;
};

/// What is wrong with a line; with the file as a whole when `line` is 0. Parts of the input stand
/// in `reason` as they are.
struct RuleError {
   Vek::String file;
   U64 line;
   Vek::String reason;
   U64 column = 0; ///< from 1 on; 0 for the line as a whole

   bool operator==( const RuleError& ) const = default;
};

/// What a rule gets that names no VRF (that is: the invalid one, null) or no address family (none,
/// null).
struct RuleDefaults {
   Vrf::VrfIdMap::VrfId vrfId = 0;
   std::optional< Zorv::AddressFamily > family{}; ///< without one the rule stays as it is
   U32 localAs = 0;                               ///< whose interface sets in communities are ours
   /// What is read as something else than it looks like is an error, else a warning. So is a rule
   /// that is in two families, of which nothing is said else.
   bool strict = false;
   Wire::RouteTargetTable vrfs{}; ///< the VRFs of redirects to route targets
};

/// The rules of a file in the order of their lines, no two with equal keys, and its errors in that
/// order, too.
struct RuleFile {
   Vek::String file;
   std::vector< FiledRule > rules{};
   std::vector< RuleError > errors{};
   std::vector< RuleError > warnings{}; ///< of rules that are taken all the same
};

/// How the rules of a file are written: a form of keys, or a dialect.
struct RuleForm {
   Form form = Form::cli; ///< when there is no dialect
   const Dialect* dialect = nullptr;

   bool operator==( const RuleForm& ) const = default;
};

/// The form that the ending of a file's name stands for; nothing when it stands for none.
std::optional< RuleForm > ruleForm( std::string_view file );

/// The identifier of a rule that comes without one: a number made of all of its key, the same on
/// every machine and with every build, wherever the rule is in its file.
U64 defaultRuleId( const Flowspec::FlowspecKey& key );

/// Reads the lines of one file, wherever they come from. A line that is wrong is an error, and the
/// others are kept; so is a rule with the key of one before it.
class RuleReader {
public:
   /// `form` is one of `ruleForm`; `file` is what errors call the file.
   RuleReader( Vek::String file, const RuleForm& form, const RuleDefaults& defaults );
   RuleReader( const RuleReader& ) = delete;
   RuleReader& operator=( const RuleReader& ) = delete;

   /// Reads a line, without its end. Numbers ascend, from 1 on.
   void line( U64 number, std::string_view text );
   /// Takes note of a line that could not be had.
   void badLine( U64 number, Vek::String reason );

   /// What was read, after the last line; the reader is not to be used then.
   RuleFile take();

private:
   using Rules = std::vector< FiledRule >;

   // Positions of rules as members of a set, by the keys of the rules.
   struct KeyHash {
      const Rules* rules;
      std::size_t operator()( std::size_t at ) const { return ( *rules )[at].key.hash(); }
   };
   struct KeyEqual {
      const Rules* rules;
      bool operator()( std::size_t a, std::size_t b ) const {
         return ( *rules )[a].key == ( *rules )[b].key;
      }
   };

   void take( U64 first, std::string_view text );
   std::optional< Fault > readText( U64 first, std::string_view text, FiledRule& rule );
   std::optional< Fault > readDialect( U64 first, std::string_view text, FiledRule& rule,
                                       std::optional< U64 >& ruleId );
   std::optional< Fault > judge( U64 first, std::optional< Fault > doubt );
   RuleError errorAt( U64 first, Fault fault ) const;

   RuleFile file_;
   RuleForm form_;
   RuleDefaults defaults_;
   Context context_; // of the defaults
   RuleLines lines_;
   std::unordered_set< std::size_t, KeyHash, KeyEqual > known_;
   Rule textRule_;
   std::vector< Fault > remarks_; // of the rule in work
};

/// Reads a file. One that is not a regular file, that cannot be read to its end, or whose ending is
/// no form, has no rules and one error, of line 0. A line of more than 16 MiB is an error of that
/// line.
RuleFile readRuleFile( const Vek::String& file, const RuleDefaults& defaults );

} // namespace Forms
