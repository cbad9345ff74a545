#pragma once

#include "agents/statedbd/Disk.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <map>
#include <random>
#include <system_error>

namespace TestSupport {

/// A disk that can be full, and that loses what was not synchronised when it is switched off.
class MemoryDisk final : public Agents::Disk {
public:
   /// Thrown by the operation during which it was switched off.
   struct Off {};

   explicit MemoryDisk( U64 seed ) : random_( seed ) {}

   /// The operation, from 1 on, that fails, and whether it is the last.
   U64 failsAt = std::numeric_limits< U64 >::max();
   bool switchesOff = false;
   U64 operations() const { return operations_; }

   /// What is there when it is switched on again.
   void switchOn() {
      failsAt = std::numeric_limits< U64 >::max();
      for ( const auto& [name, content] : files_ ) {
         std::vector< U8 >& bytes = content->bytes;
         // The length may be there before the bytes, and a sector before those in front of it.
         constexpr std::size_t sector = 512;
         if ( below( 3 ) != 0 ) {
            bytes.resize( content->synced + below( bytes.size() - content->synced + 1 ) );
         }
         for ( std::size_t at = content->synced; at < bytes.size(); ) {
            const std::size_t end = std::min( ( at / sector + 1 ) * sector, bytes.size() );
            if ( below( 2 ) ) {
               std::fill( bytes.begin() + static_cast< std::ptrdiff_t >( at ),
                          bytes.begin() + static_cast< std::ptrdiff_t >( end ), U8{ 0 } );
            }
            at = end;
         }
         content->synced = bytes.size();
      }
   }

   std::vector< U8 >* bytes( const Vek::String& name ) {
      const auto at = files_.find( name );
      return at == files_.end() ? nullptr : &at->second->bytes;
   }

   bool read( const Vek::String& name,
              const std::function< void( std::span< const U8 > ) >& take ) override {
      const auto at = files_.find( name );
      if ( at != files_.end() ) {
         // In pieces, so that messages come in parts.
         for ( std::span< const U8 > rest = at->second->bytes; !rest.empty(); ) {
            const std::size_t size = std::min< std::size_t >( rest.size(), 1000 );
            take( rest.first( size ) );
            rest = rest.subspan( size );
         }
      }
      return at != files_.end();
   }
   std::unique_ptr< File > create( const Vek::String& name ) override {
      step();
      files_[name] = std::make_shared< Content >();
      return std::make_unique< Open >( *this, files_[name] );
   }
   void rename( const Vek::String& from, const Vek::String& to ) override {
      if ( fails() ) {
         if ( switchesOff && below( 2 ) ) {
            move( from, to );
         }
         fail();
      }
      move( from, to );
   }
   void remove( const Vek::String& name ) override {
      step();
      files_.erase( name );
   }

private:
   struct Content {
      std::vector< U8 > bytes;
      std::size_t synced = 0;
   };

   class Open final : public File {
   public:
      Open( MemoryDisk& disk, std::shared_ptr< Content > content )
         : disk_( disk ), content_( std::move( content ) ) {}

      void append( std::span< const U8 > bytes ) override {
         const bool fails = disk_.fails();
         const std::size_t size = fails ? disk_.below( bytes.size() + 1 ) : bytes.size();
         content_->bytes.insert( content_->bytes.end(), bytes.begin(),
                                 bytes.begin() + static_cast< std::ptrdiff_t >( size ) );
         if ( fails ) {
            disk_.fail();
         }
      }
      void cut( U64 size ) override {
         disk_.step();
         content_->bytes.resize( size );
         content_->synced = std::min< std::size_t >( content_->synced, size );
      }
      void sync() override {
         disk_.step();
         content_->synced = content_->bytes.size();
      }

   private:
      MemoryDisk& disk_;
      const std::shared_ptr< Content > content_;
   };

   // One that was switched off does nothing any more.
   bool fails() { return ++operations_ == failsAt || ( switchesOff && operations_ > failsAt ); }
   void step() {
      if ( fails() ) {
         fail();
      }
   }
   [[noreturn]] void fail() const {
      if ( switchesOff ) {
         throw Off();
      }
      throw std::system_error( ENOSPC, std::generic_category(), "cannot write" );
   }
   void move( const Vek::String& from, const Vek::String& to ) {
      files_[to] = files_.at( from );
      files_.erase( from );
   }
   std::size_t below( std::size_t limit ) { return random_() % limit; }

   std::mt19937_64 random_;
   U64 operations_ = 0;
   std::map< Vek::String, std::shared_ptr< Content > > files_;
};

} // namespace TestSupport
