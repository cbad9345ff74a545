#pragma once

#include "Osk/Types.h"
#include "agents/daemon/EventLoop.h"

#include <functional>
#include <memory>
#include <set>
#include <vector>

#include <libmnl/libmnl.h>

namespace Agents::Nftables {

/// Tells when another process changes our tables. It follows the network namespace in which it was
/// made.
class TableWatch final : public EventLoop::Handler {
public:
   /// `generation` asks the kernel for the number of the latest transaction.
   /// `std::system_error` when the kernel does not tell of changes.
   TableWatch( EventLoop& loop, std::function< U32() > generation,
               std::function< void() > changed );
   TableWatch( const TableWatch& ) = delete;
   TableWatch& operator=( const TableWatch& ) = delete;
   ~TableWatch();

   /// The transaction that made this generation was our own.
   void ownIs( U32 generation );

   int fd() const override { return mnl_socket_get_fd( socket_.get() ); }
   void ready() override;

private:
   struct Close {
      void operator()( mnl_socket* socket ) const { mnl_socket_close( socket ); }
   };

   EventLoop& loop_;
   const std::function< U32() > generation_;
   const std::function< void() > changed_;
   std::set< U32 > own_; // that were not told yet
   U32 lastOwn_ = 0;
   bool touched_ = false; // one of our tables, by the transaction that is being told
   std::unique_ptr< mnl_socket, Close > socket_;
   std::vector< char > room_;
};

} // namespace Agents::Nftables
