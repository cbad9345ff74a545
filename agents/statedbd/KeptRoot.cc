#include "agents/statedbd/KeptRoot.h"

#include "Vek/log/Message.h"
#include "Vek/log/Receiver.h"
#include "Vek/log/Record.h"
#include "Vek/log/Schema.h"
#include "Vek/text/Exceptions.h"
#include "Vek/text/Text.h"

namespace Agents {

namespace {

using Vek::concat;
using Vek::StreamException;
namespace log = Vek::log;

// Changes may take as much as this and twice what the root takes itself.
constexpr U64 spareChanges = 1U << 20;

// With this and its ending it is a name for a file.
constexpr std::size_t maxName = 240;

Vek::String fileName( std::string_view root ) {
   constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
   constexpr std::string_view digits = "0123456789ABCDEF";
   Vek::String name;
   for ( const char c : root ) {
      const auto byte = static_cast< U8 >( c );
      if ( plain.find( c ) != plain.npos ) {
         name += c;
      } else {
         name += concat( '%', digits[byte >> 4], digits[byte & 15] );
      }
   }
   if ( name.empty() || name.size() > maxName ) {
      Vek::throwRange( concat( "'", root, "' is not a name for a root that is kept" ) );
   }
   return name + ".log";
}

// The first bytes of a file: the preamble and the types that a root of `type` needs, so that
// changes of other types do not make the file unreadable.
std::vector< U8 > opening( std::string_view type ) {
   const Vek::String types = log::typesTextOf( type );
   std::vector< U8 > bytes( log::preambleSize + log::messageSize( types.size() ) );
   Vek::LogWriter out( bytes.data() );
   out.u32( log::streamMagic );
   out.u16( log::streamVersion );
   out.u16( 0 );
   out.u64( log::typesDigest( types ) );
   log::writeHeader(
      out, { .length = static_cast< U32 >( types.size() ), .kind = log::MessageKind::types } );
   out.bytes( types.data(), types.size() );
   return bytes;
}

} // namespace

KeptRoot::KeptRoot( Disk& disk, Vek::String root, Vek::String type )
   : disk_( disk ), root_( std::move( root ) ), type_( std::move( type ) ),
     file_( fileName( root_ ) ) {}

void KeptRoot::load( Vek::Directory& directory, Vek::String& cut ) {
   Vek::Directory found;
   journal_.reset();
   saved_ = nullptr;
   try {
      read( found, cut );
   } catch ( const std::bad_alloc& ) {
      throw;
   } catch ( const std::exception& exception ) {
      fault_ = concat( file_, " cannot be read: ", exception.what() );
      return;
   }
   const auto entity = found.entity( root_ );
   if ( !entity ) {
      directory.erase( root_ );
      return;
   }
   // Through a stream, so that what is the same stays.
   log::Source source;
   source.rootIs( *entity );
   log::Sender sender( source );
   log::Receiver receiver( directory );
   do {
      sender.fill();
      receiver.receive( sender.pending() );
      sender.sent( sender.pending().size() );
   } while ( !sender.idle() );
}

// Without a file the directory stays empty.
void KeptRoot::read( Vek::Directory& directory, Vek::String& cut ) {
   log::Receiver::Policy policy;
   policy.refusesRoot = [this]( std::string_view type, std::string_view name ) {
      return name != root_ || ( !type_.empty() && type != type_ )
                ? concat( "expected ", type_.empty() ? "" : type_ + ' ', root_ )
                : Vek::String();
   };
   log::Receiver receiver( directory, std::move( policy ) );
   log::RecordReader records( [&]( std::span< const U8 > bytes ) { receiver.receive( bytes ); } );
   const bool exists =
      disk_.read( file_, [&]( std::span< const U8 > bytes ) { records.receive( bytes ); } );
   if ( exists && !( receiver.synchronised() && receiver.atBoundary() ) ) {
      throw StreamException(
         concat( "it ends after ", records.received(), " bytes, before all of the root" ) );
   }
   if ( const U64 torn = records.received() - records.whole() ) {
      cut = concat( file_, " was cut off while it was written: its last ", torn, " of ",
                    records.received(), " bytes are dropped" );
   }
}

void KeptRoot::save( log::Source& source, const Vek::Ptr< Vek::NamedEntity >& entity ) {
   if ( !fault_.empty() ) {
      throw StreamException( fault_ );
   }
   if ( !entity ) {
      if ( saved_ ) {
         journal_.reset();
         disk_.remove( file_ );
         saved_ = nullptr;
      }
      return;
   }
   if ( journal_ ) {
      journal_->sender.fill();
   }
   const bool isWhole = journal_ && saved_ == entity && journal_->sender.error().empty();
   if ( isWhole && journal_->sender.idle() ) {
      return;
   }
   if ( isWhole && journal_->size <= 3 * journal_->whole + spareChanges ) {
      try {
         journal_->size += append( *journal_, true );
         return;
      } catch ( ... ) {
         // The next one is written anew.
         const auto failed = std::move( journal_ );
         try {
            failed->file->cut( failed->size );
         } catch ( const std::exception& ) {
            // Records that are whole are read, and the one that is not is known as cut off.
         }
         throw;
      }
   }
   saveWhole( source, *entity );
   saved_ = entity;
}

void KeptRoot::saveWhole( log::Source& source, const Vek::NamedEntity& entity ) {
   const Vek::String temporary = file_ + ".new";
   journal_.reset();
   try {
      auto journal = std::make_unique< Journal >( source, disk_.create( temporary ) );
      std::vector< U8 > begin;
      log::appendRecord( begin, opening( entity.typeInfo().name ) );
      journal->file->append( begin );
      // Its own opening tells of all types.
      journal->sender.fill();
      journal->sender.sent( log::preambleSize + log::messageSize( log::typesText().size() ) );
      journal->size = journal->whole = begin.size() + append( *journal, false );
      journal->file->sync();
      disk_.rename( temporary, file_ );
      journal_ = std::move( journal );
   } catch ( ... ) {
      try {
         disk_.remove( temporary );
      } catch ( const std::exception& ) {
         // It is written over when there is something to be saved.
      }
      throw;
   }
}

// Returns how many bytes were appended; each record is on the disk before the next one if `syncs`,
// so that no more than one of them can be torn.
U64 KeptRoot::append( Journal& journal, bool syncs ) {
   std::vector< U8 > record;
   U64 size = 0;
   do {
      journal.sender.fill();
      if ( !journal.sender.error().empty() ) {
         throw StreamException( journal.sender.error() );
      }
      record.clear();
      log::appendRecord( record, journal.sender.pending() );
      journal.file->append( record );
      if ( syncs ) {
         journal.file->sync();
      }
      size += record.size();
      journal.sender.sent( journal.sender.pending().size() );
   } while ( !journal.sender.idle() );
   return size;
}

} // namespace Agents
