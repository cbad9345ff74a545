#pragma once

#include "forms/dialects/Dialect.h"
#include "fuzz/Check.h"
#include "wire/Canonical.h"

namespace Fuzz {

/// Reads a text in a dialect: what is wrong is told at a place of the text, and what was read is
/// written, read again and means the same. The first byte chooses the family of texts that do not
/// tell it.
inline void checkDialect( std::string_view name, const std::uint8_t* data, std::size_t size ) {
   using namespace Forms;
   const Dialect& dialect = *dialectOf( name );
   const auto family =
      size != 0 && data[0] % 2 != 0 ? Zorv::AddressFamily::ipv6 : Zorv::AddressFamily::ipv4;
   const std::string_view input = text( data, size ).substr( size != 0 );
   Context context{ .family = family, .localAs = 65000, .vrfs = {} };
   context.vrfs.add( { Wire::RouteTarget::Kind::as2, { 0, 1, 0, 0, 0, 2 } }, 7 );
   Rule rule;
   std::vector< Fault > remarks;
   if ( const auto fault = readRule( dialect, input, context, rule, remarks ) ) {
      require( fault->line >= 1 && fault->column <= input.size() + 1, "a place is in the text" );
      require( !fault->reason.empty() && rule == Rule(),
               "a fault has a reason and leaves no rule" );
      return;
   }
   Vek::String written;
   context.family = rule.key.addressFamily();
   if ( writeRule( dialect, rule, context, written ) ) {
      require( written.empty(), "what is refused leaves no text" );
      return;
   }
   Rule again;
   require( !readRule( dialect, written, context, again, remarks ), "what is written is read" );
   require( again.action == rule.action && again.rd == rule.rd &&
               again.key.destPrefix() == rule.key.destPrefix() &&
               again.key.srcPrefix() == rule.key.srcPrefix() &&
               Wire::equivalent( again.key, rule.key ),
            "it means the same" );
}

} // namespace Fuzz
