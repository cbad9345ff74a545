#pragma once

#include "Vek/log/Message.h"
#include "Vek/types/Field.h"

namespace Vek::log {

/// The message about what stands in a row of an entity now: the value of an attribute, the member
/// of a collection under a key or that it is gone, or that a child is. Points to the entity's own
/// values.
class OSK_EXPORT RowMessage {
public:
   /// `number` is that of the entity; `key` is null but for collections. `StreamException` when the
   /// message is too long.
   RowMessage( U64 number, const Field& row, const void* object, const void* key );

   std::size_t size() const { return Header::size + header_.length; }

   /// Writes the message to `at`, where there is room for it. `DefaultKeyException`, before a byte
   /// of the value is written, when it has no encoding.
   void write( U8* at ) const;

private:
   const Field& row_;
   const void* key_;
   const void* value_ = nullptr;
   Header header_;
};

} // namespace Vek::log
