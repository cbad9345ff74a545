#pragma once

#include "Flowspec/config/RuleAction.h"
#include "Flowspec/key/FlowspecKey.h"
#include "wire/Community.h"

#include <chrono>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

/// Whole rules, match and action, as texts of other programs: a dialect is one such text. Texts
/// come from outside: nothing here throws or ends the process for any, and what is allocated is at
/// most a fixed multiple of the text. A rule that a dialect cannot express is refused with the
/// reason; no text means something else than the rule that it was written for.
namespace Forms {

/// When a rule is to be removed.
struct Expiry {
   bool isTime = false; ///< at a point in time, not some seconds after the rule was read
   /// From 1 on; since the Unix epoch for a point in time, which may be before it.
   std::chrono::seconds seconds{};

   bool operator==( const Expiry& ) const = default;
};

/// A rule with all that BGP says of it.
struct Rule {
   Flowspec::FlowspecKey key;
   std::optional< Zorv::RouteDistinguisher > rd{};
   Flowspec::RuleAction action{};
   std::optional< U64 > ruleId{};     ///< of the project's own JSON alone
   std::optional< Expiry > expires{}; ///< of the project's own JSON alone
   /// Communities that say nothing of the action, such as route targets and unknown types: to be
   /// sent on. No dialect needs to hold them.
   std::vector< Wire::ExtendedCommunity > kept{};
   std::vector< Wire::Ipv6Community > keptIpv6{};

   bool operator==( const Rule& ) const = default;
};

/// What is wrong with a text, or is to be told of it, and where. Lines and columns count from 1 on,
/// columns in bytes; a column of 0 is the line as a whole.
struct Fault {
   U64 line;
   U64 column;
   Vek::String reason;

   bool operator==( const Fault& ) const = default;
};

/// What a text does not tell.
struct Context {
   /// Of rules whose text does not tell it; none when it is not known.
   Zorv::AddressFamily family = Zorv::AddressFamily::none;
   U32 localAs = 0;             ///< whose interface sets are ours
   Wire::RouteTargetTable vrfs; ///< the VRFs of redirects
   bool matchOnly = false;      ///< actions are passed over by readers and left out by writers
};

class Cursor;

/// One dialect: a row of `dialects`.
struct Dialect {
   std::string_view name;   ///< such as "bird"; also the ending of files
   std::string_view detail; ///< for people, such as "BIRD: flow4 { ... } { ... }"
   bool tellsFamily;        ///< otherwise `Context::family` must
   bool tellsAction;        ///< otherwise rules permit
   bool spansLines;         ///< a rule ends where its braces do, else with its line
   bool tellsExpiry;        ///< otherwise a rule that expires has no text

   /// Reads all of a text into a default rule. Throws a `Fault`.
   void ( *read )( Cursor& text, const Context& context, Rule& rule,
                   std::vector< Fault >& remarks );
   /// Appends the text of a rule, without a newline at the end. Throws `Inexpressible`.
   void ( *append )( const Rule& rule, const Context& context, Vek::String& out );
};

/// What `Dialect::append` throws: why the dialect has no text for a rule.
struct Inexpressible {
   Vek::String reason;
};

/// All dialects.
std::span< const Dialect > dialects();
/// The one with a name; null when there is none.
const Dialect* dialectOf( std::string_view name );

/// Replaces `rule` by what the text of one rule says; blanks and newlines around it do not matter.
/// What is to be told of it is appended to `remarks`. Nothing when it was read; otherwise `rule` is
/// a default one.
[[nodiscard]] std::optional< Fault > readRule( const Dialect& dialect, std::string_view text,
                                               const Context& context, Rule& rule,
                                               std::vector< Fault >& remarks );

/// Appends the text of a rule. Nothing when it was written; otherwise `out` is as it was, and the
/// result says what the dialect cannot express.
[[nodiscard]] std::optional< Vek::String > writeRule( const Dialect& dialect, const Rule& rule,
                                                      const Context& context, Vek::String& out );

} // namespace Forms
