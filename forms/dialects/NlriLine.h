#pragma once

#include "forms/dialects/Dialect.h"

/// Rules as the octets of BGP, in hexadecimal digits with blanks or colons between octets or
/// nothing:
///
///     0b01100a01038106059101bb communities 8006000000000000 ipv6-communities 000c...
///
/// An NLRI of one rule, its length field first, then the extended communities of its route (8
/// octets each) and the IPv6-address-specific ones (20 octets each); what is not there is left out
/// with its word. Octets do not tell their address family. What a receiver is told to bear is a
/// remark at the first octet that it is about.
namespace Forms {

void readNlriLine( Cursor& text, const Context& context, Rule& rule,
                   std::vector< Fault >& remarks );
void appendNlriLine( const Rule& rule, const Context& context, Vek::String& out );

/// The same with NLRI that begin with a route distinguisher.
void readNlriVpnLine( Cursor& text, const Context& context, Rule& rule,
                      std::vector< Fault >& remarks );
void appendNlriVpnLine( const Rule& rule, const Context& context, Vek::String& out );

} // namespace Forms
