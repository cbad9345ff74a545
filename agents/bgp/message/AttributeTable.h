#pragma once

#include "agents/bgp/message/PathAttributes.h"

#include <string_view>

namespace Bgp {

struct AttributeFlags {
   static constexpr U8 optional = 0x80;
   static constexpr U8 transitive = 0x40;
   static constexpr U8 extendedLength = 0x10;
};

/// What a value's length must be.
struct LengthRule {
   enum class Form : U8 { exactly, multipleOf, any } form; ///< none is 0 but `exactly` 0 and `any`
   U8 octets = 0;

   constexpr bool admits( std::size_t length ) const {
      return form == Form::any ||
             ( form == Form::exactly ? length == octets : length != 0 && length % octets == 0 );
   }
};

/// What becomes of an update when the attribute is malformed (RFC 7606).
enum class OnFault : U8 {
   withdraw, ///< its routes are treated as withdrawn
   discard,  ///< it goes on without the attribute
   reset,    ///< the session ends, as the routes are not found
};

/// Who may send the attribute. From others it is passed over, malformed or not.
enum class Senders : U8 {
   all,
   internal,
   twoOctet, ///< peers whose AS numbers have two octets
};

/// One path attribute that is looked at.
struct AttributeRow {
   U8 type;
   std::string_view name;
   U8 flags; ///< what the optional and transitive bits must be
   LengthRule length;
   OnFault onFault;
   Senders senders;

   bool hasFlags( U8 received ) const {
      return ( received & ( AttributeFlags::optional | AttributeFlags::transitive ) ) == flags;
   }
};

/// The row of `type`; null when it is none of those that are looked at.
const AttributeRow* findAttribute( U8 type );

} // namespace Bgp
