#pragma once

#include "forms/dialects/Dialect.h"

/// Rules as GoBGP 3 reads and prints them.
///
/// The text is that of its command line; quotes are passed over, as GoBGP joins its arguments:
///
///     gobgp global rib -a ipv4-flowspec add match destination 10.1.0.0/16 protocol '==6 ==17'
///     destination-port '==80 >8080&<8088' then rate-limit 9600
///
/// `gobgp global rib add` may be missing. The family is that of `-a`, else that of a prefix, else
/// the context's. What GoBGP reads otherwise than it is written is refused: AS numbers above 65535
/// without a dot, `&true`, a component that occurs twice, operators that it does not have. What it
/// calls `true` is the octet that RFC 8955 calls false, and the other way round: the octet is
/// meant.
///
/// The JSON is one path of `gobgp global rib -j`, with `nlri` and `attrs`, alone or as the only one
/// of what that command prints.
///
/// GoBGP sends a wrong length for rules of 240 octets and more: no command is written for them.
namespace Forms {

void readGoBgp( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks );
void appendGoBgp( const Rule& rule, const Context& context, Vek::String& out );

void readGoBgpJson( Cursor& text, const Context& context, Rule& rule,
                    std::vector< Fault >& remarks );
void appendGoBgpJson( const Rule& rule, const Context& context, Vek::String& out );

} // namespace Forms
