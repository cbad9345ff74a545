#pragma once

#include "forms/dialects/Dialect.h"

#include <span>

/// The texts of a rule by name, for tools that let their users choose.
namespace Forms {

enum class Form : U8 {
   cli,
   cliLen,
   rd,
   rdLen,
   value,
   diag,
   json,
   detail,
   rdDetail,
   words,
   nlri,    ///< hexadecimal digits of an NLRI of the key's family (`wire/NlriDecoder.h`)
   nlriVpn, ///< the same with a distinguisher
   bird,    ///< this and the next: the match of a rule as the dialect of the name has it
            ///< (`forms/dialects`)
   exabgp,
   exabgpJson,
   gobgp,
   gobgpJson,
};

struct FormInfo {
   std::string_view name;
   U32 share; ///< of a table's width, beside other forms
   Form form;
   bool readable;          ///< `readRule` takes it
   bool hasRd;             ///< a distinguisher stands in front
   bool hasInstance;       ///< holds the VRF, the address family and the interface sets
   bool isDialect = false; ///< the text of another program: `dialect` has it
};

/// All forms, in the order of their numbers.
std::span< const FormInfo > forms();
const FormInfo& info( Form form );
/// The dialect of a form that is one.
const Forms::Dialect& dialect( Form form );
/// Whether a text of the form may have several lines (`Forms::RuleLines`).
bool spansLines( Form form );
/// The form with a name; nothing when there is none.
std::optional< Form > formOf( std::string_view name );

/// Why something cannot be read or written.
using Reason = std::optional< Vek::String >;

/// Fills `rule`, whose key equals a default one, from a text of a readable form. A reason when the
/// text is wrong; `rule` then holds what was read before the fault. NLRI do not tell their family:
/// the key has it beforehand.
[[nodiscard]] Reason readRule( Form form, std::string_view text, Rule& rule );

/// The same with the place of what is wrong, which JSON and octets do not tell: it is 0.
[[nodiscard]] std::optional< Forms::Fault > readRuleAt( Form form, std::string_view text,
                                                        Rule& rule );

/// Makes the key equal to a default one and keeps the memory that it holds.
void clear( Flowspec::FlowspecKey& key );

/// Why `appendRule` may not be called for this rule; nothing when it may. The forms with a
/// distinguisher want the rule to have one.
[[nodiscard]] Reason unwritable( Form form, const Rule& rule );

/// Appends the text of a rule. Only for what `unwritable` admits.
void appendRule( Form form, const Rule& rule, Vek::String& out );

} // namespace Forms
