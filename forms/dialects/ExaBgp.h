#pragma once

#include "forms/dialects/Dialect.h"

/// Rules as ExaBGP 4 reads and prints them.
///
/// The text is that of its configuration and of its API:
///
///     announce flow route { match { destination 10.1.0.0/16; protocol [ =tcp =udp ];
///     destination-port [ =80 >8080&<8088 ]; } then { rate-limit 9600; } }
///
/// `announce`, `flow` and a name after `route` may be missing, and so may the braces:
/// `route destination 10.1.0.0/16 protocol =tcp discard`. A rule without a prefix is one of IPv4;
/// one of IPv6 has a place in a configuration alone: `announce { ipv6 { flow next-header =tcp
/// discard; } }`.
/// What ExaBGP leaves out without a word is refused: a second expression outside of brackets, "&"
/// at an end, an empty list, a second prefix of another family. So is what it changes: flags that
/// are added up, a rate above 10^12.
///
/// The JSON is the message of an update that announces one rule. Its member "string" is read, as
/// the others do not tell `=syn+ack` from `[ =syn =ack ]`.
namespace Forms {

void readExaBgp( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks );
void appendExaBgp( const Rule& rule, const Context& context, Vek::String& out );

void readExaBgpJson( Cursor& text, const Context& context, Rule& rule,
                     std::vector< Fault >& remarks );
void appendExaBgpJson( const Rule& rule, const Context& context, Vek::String& out );

} // namespace Forms
