#pragma once

#include "agents/bgp/message/Family.h"

#include <span>
#include <vector>

namespace Bgp {

/// Packs routes of one family and one set of attributes, or withdrawals, into few messages.
///
///     UpdateWriter writer = UpdateWriter::announcing( ipv4Flow, attributes, agreed.maxSend, out );
///     for ( ... ) {
///        if ( !writer.add( nlri ) ) ... // no message is long enough for it
///     }
///     writer.finish();
class UpdateWriter {
public:
   /// `attributes` are those of `writeAttributes`; viewed like `out` until `finish`.
   static UpdateWriter announcing( Family family, std::span< const U8 > attributes,
                                   std::size_t maxLength, std::vector< U8 >& out );
   static UpdateWriter withdrawing( Family family, std::size_t maxLength, std::vector< U8 >& out );

   /// Takes one NLRI, its length field first, as `Wire::encodeNlri` writes it. False, and nothing
   /// is changed, when not even a message of its own has room for it.
   [[nodiscard]] bool add( std::span< const U8 > nlri );

   /// Ends the last message; `out` holds whole messages only then. May be called again, and so may
   /// `add`, which begins another message.
   void finish();

private:
   UpdateWriter( Family family, bool reach, std::span< const U8 > attributes, std::size_t maxLength,
                 std::vector< U8 >& out )
      : family_( family ), reach_( reach ), attributes_( attributes ), maxLength_( maxLength ),
        out_( out ) {}

   std::size_t emptySize() const;
   void begin();

   const Family family_;
   const bool reach_;
   const std::span< const U8 > attributes_;
   const std::size_t maxLength_;
   std::vector< U8 >& out_;
   std::size_t start_ = 0; ///< of the message under way in `out_`
   bool open_ = false;
};

/// Appends the End-of-RIB marker of `family`.
void writeEndOfRib( Family family, std::vector< U8 >& out );

} // namespace Bgp
