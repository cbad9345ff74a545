#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace Vek::log {

/// What carries the bytes of a connection, both ways, without ever waiting.
class OSK_EXPORT Transport {
public:
   virtual ~Transport();

   /// Sends the first of `bytes` and returns how many; 0 when none can be sent for the moment.
   /// `StreamException` when the other end is gone.
   virtual std::size_t send( std::span< const U8 > bytes ) = 0;

   /// Receives into the first of `room` and returns how many bytes; 0 when there are none for the
   /// moment, nothing when the other end has closed and all was received. `StreamException` when
   /// the connection broke.
   virtual std::optional< std::size_t > receive( std::span< U8 > room ) = 0;
};

/// Two transports in one process, of which each receives what the other sends. `capacity` bounds
/// what is under way in each direction, in bytes.
OSK_EXPORT std::pair< std::unique_ptr< Transport >, std::unique_ptr< Transport > >
memoryTransports( std::size_t capacity = 1U << 16 );

} // namespace Vek::log
