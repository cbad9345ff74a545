#pragma once

#include "forms/KeyForms.h"

/// Rules that are read without a fault and are not what they seem to be. The readers of texts take
/// what they can: "ICMP:" for "IC:", the ICMP code; "080" for 0 and 80, as "0" begins an octal
/// number; "IP:" for no component at all. Who typed such a text meant something else.
namespace Forms {

/// What a text of the forms cli, cli-len, rd, rd-len or value was taken for, when that is not what
/// it says; nothing for other forms. The text is compared with what `rule`, to which it was read,
/// is written as. What is not told: numbers in hexadecimal, the order of operators, "&&" and "||",
/// addresses that are spelled in another way, and a ";" that is missing at the end.
///
/// - "'ICMP:=5' is read as 'IC:=5' (ICMP Code)"
/// - "'DP:=080' is read as 'DP:=0|80'", "'10.1.2.3/16' is read as '10.1.0.0/16'"
/// - "'IP:' has no value: it is left out"
[[nodiscard]] std::optional< Fault > misreading( Form form, std::string_view text,
                                                 const Rule& rule );

/// An attribute of a rule that packets of its family do not have.
struct FamilyConflict {
   Flowspec::MatchCompType component;
   Vek::String reason; ///< "destPrefix 2001:db8::/32 is of ipv6, and the rule of ipv4"
};

/// The first one: a prefix of another family than the rule's, or than the prefix before it, or a
/// flow label in IPv4. A rule without a family is of that of its prefixes.
[[nodiscard]] std::optional< FamilyConflict > familyConflict( const Flowspec::FlowspecKey& key );

/// Either of them, for a rule that was read from a text.
[[nodiscard]] std::optional< Fault > doubt( Form form, std::string_view text, const Rule& rule );

} // namespace Forms
