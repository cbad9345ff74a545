#pragma once

#include "Vek/log/Transport.h"

namespace Vek::log {

/// A connected stream socket (Unix or TCP) or another file descriptor that reads and writes; made
/// non-blocking here and closed with the transport.
class OSK_EXPORT FdTransport final : public Transport {
public:
   explicit FdTransport( int fd );
   FdTransport( const FdTransport& ) = delete;
   FdTransport& operator=( const FdTransport& ) = delete;
   ~FdTransport() override;

   int fd() const { return fd_; }

   std::size_t send( std::span< const U8 > bytes ) override;
   std::optional< std::size_t > receive( std::span< U8 > room ) override;

private:
   int fd_;
};

} // namespace Vek::log
