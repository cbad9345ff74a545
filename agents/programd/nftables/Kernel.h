#pragma once

#include "agents/programd/nftables/Batch.h"

#include <memory>

#include <libmnl/libmnl.h>

namespace Agents::Nftables {

/// What a counter of the kernel shows.
struct Counts {
   U64 packets = 0;
   U64 bytes = 0;
   bool operator==( const Counts& ) const = default;
};
using CountsByName = std::map< Vek::String, Counts >;

/// The kernel's nf_tables, in the network namespace in which this was made. Whatever fails is a
/// `std::system_error`.
class Kernel {
public:
   Kernel();

   /// A message that the kernel refused.
   struct Refusal {
      U32 message; ///< its number in the transaction
      int error;
   };

   /// Has the kernel do a transaction. When it refuses any of it nothing is done.
   std::vector< Refusal > commit( Batch& batch );

   /// The counters of a table; none when there is no such table.
   CountsByName counters( Zorv::AddressFamily family,
                          std::string_view table = Dataplane::Nftables::tableName );

   /// Raised by one with each transaction of anyone.
   U32 generation();

private:
   struct Close {
      void operator()( mnl_socket* socket ) const { mnl_socket_close( socket ); }
   };

   int fd() const { return mnl_socket_get_fd( socket_.get() ); }
   void send( std::span< const char > bytes );
   std::size_t receive( int flags );

   std::unique_ptr< mnl_socket, Close > socket_;
   std::vector< char > room_;
};

/// Adds what makes the table of a family anew, whatever was there. Counters begin with `counts`.
void replaceAll( Batch& batch, const Dataplane::Nftables::Ruleset& ruleset,
                 const CountsByName& counts );

/// Adds what makes one rule set of another one.
void change( Batch& batch, const Dataplane::Nftables::Ruleset& from,
             const Dataplane::Nftables::Ruleset& to );

} // namespace Agents::Nftables
