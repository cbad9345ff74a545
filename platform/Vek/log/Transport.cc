#include "Vek/log/Transport.h"

#include "Vek/text/Exceptions.h"

#include <algorithm>

namespace Vek::log {

namespace {

// One direction of a pair in memory.
struct Pipe {
   explicit Pipe( std::size_t capacity ) : bytes( capacity ) {}

   std::vector< U8 > bytes; ///< a ring
   std::size_t begin = 0;
   std::size_t used = 0;
   bool closed = false;
};

class MemoryTransport final : public Transport {
public:
   MemoryTransport( std::shared_ptr< Pipe > out, std::shared_ptr< Pipe > in )
      : out_( std::move( out ) ), in_( std::move( in ) ) {}
   MemoryTransport( const MemoryTransport& ) = delete;
   MemoryTransport& operator=( const MemoryTransport& ) = delete;
   ~MemoryTransport() override {
      out_->closed = true;
      in_->closed = true;
   }

   std::size_t send( std::span< const U8 > bytes ) override {
      if ( out_->closed ) {
         throw StreamException( "the other end is closed" );
      }
      std::vector< U8 >& ring = out_->bytes;
      const std::size_t count = std::min( bytes.size(), ring.size() - out_->used );
      const std::size_t end = ( out_->begin + out_->used ) % ring.size();
      const std::size_t first = std::min( count, ring.size() - end );
      std::copy_n( bytes.begin(), first, ring.begin() + static_cast< std::ptrdiff_t >( end ) );
      std::copy_n( bytes.begin() + static_cast< std::ptrdiff_t >( first ), count - first,
                   ring.begin() );
      out_->used += count;
      return count;
   }

   std::optional< std::size_t > receive( std::span< U8 > room ) override {
      if ( in_->used == 0 && in_->closed ) {
         return std::nullopt;
      }
      const std::vector< U8 >& ring = in_->bytes;
      const std::size_t count = std::min( room.size(), in_->used );
      const std::size_t first = std::min( count, ring.size() - in_->begin );
      std::copy_n( ring.begin() + static_cast< std::ptrdiff_t >( in_->begin ), first,
                   room.begin() );
      std::copy_n( ring.begin(), count - first,
                   room.begin() + static_cast< std::ptrdiff_t >( first ) );
      in_->begin = ( in_->begin + count ) % ring.size();
      in_->used -= count;
      return count;
   }

private:
   const std::shared_ptr< Pipe > out_;
   const std::shared_ptr< Pipe > in_;
};

} // namespace

Transport::~Transport() = default;

std::pair< std::unique_ptr< Transport >, std::unique_ptr< Transport > >
memoryTransports( std::size_t capacity ) {
   const auto there = std::make_shared< Pipe >( capacity );
   const auto back = std::make_shared< Pipe >( capacity );
   return { std::make_unique< MemoryTransport >( there, back ),
            std::make_unique< MemoryTransport >( back, there ) };
}

} // namespace Vek::log
