#pragma once

#include "forms/dialects/Dialect.h"

/// Rules as BIRD 2 writes and reads them:
///
///     flow4 { dst 10.1.0.0/16; proto 6,17; dport 80 || > 8080 && < 8088; } {
///     bgp_ext_community.add((generic, 0x80060000, 0x0)); }
///
/// The block after the match holds the communities of the action and may be missing; `route` in
/// front and ";" at the end may be there, as in a static protocol. Comments are passed over, and so
/// are settings of other attributes of BGP, with a remark. What `show route all` prints is read as
/// well:
///
///     flow4 { dst 10.1.0.0/16; }  [s4 02:51:11.185] * (200)
///             Type: static univ
///             BGP.ext_community: (generic, 0x80060000, 0x0)
///
/// BIRD has no distinguisher, no IPv6-address-specific community, no offset in a key, and no flow
/// label above 65535: it cuts these. It leaves out a test of no flag. What it calls "true" is the
/// octet that RFC 8955 calls false: neither word is read. A rule whose tests BIRD has no words for
/// is written in its canonical form when that has them.
namespace Forms {

void readBird( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks );
void appendBird( const Rule& rule, const Context& context, Vek::String& out );

} // namespace Forms
