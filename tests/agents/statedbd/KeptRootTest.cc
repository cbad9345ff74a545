#include "agents/statedbd/KeptRoot.h"

#include "Flowspec/FlowspecDalb.h"
#include "Vek/log/Record.h"
#include "Vek/log/Schema.h"
#include "tests/agents/statedbd/CliConfigText.h"
#include "tests/agents/statedbd/MemoryDisk.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/LogStream.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using Agents::KeptRoot;
using testing::HasSubstr;
using testing::ThrowsMessage;
using TestSupport::MemoryDisk;

const Vek::String root = "flowspec/cliconfig";
const Vek::String file = "flowspec%2Fcliconfig.log";
constexpr int changes = 24;

// A process that keeps the root, as the state database does.
class Keeper {
public:
   explicit Keeper( MemoryDisk& disk ) : kept( disk, root, "Flowspec::CliConfig" ) { load(); }

   void load() {
      cut.clear();
      kept.load( directory, cut );
      show();
   }
   void show() {
      if ( entity == directory.entity( root ) ) {
         return;
      }
      if ( entity ) {
         source.rootDel( *entity );
      }
      entity = directory.entity( root );
      if ( entity ) {
         source.rootIs( *entity );
      }
   }
   void save() {
      show();
      kept.save( source, entity );
   }

   CliConfig& cli() {
      return static_cast< CliConfig& >( *directory.create( "Flowspec::CliConfig", root ) );
   }
   // One message of the log; some are long, so that the file is written anew now and then.
   void change( int number ) {
      InterfaceEnableConfig config( Zorv::IntfId( 1 + static_cast< U64 >( number % 3 ) ) );
      config.sourceVrfOverrideIs( Vek::String( number % 2 ? 200'000 : 3, 'a' ) +
                                  std::to_string( number ) );
      cli().enabledIntfIs( config );
   }
   Vek::String text() const {
      return directory.entity( root )
                ? TestSupport::text( static_cast< CliConfig& >( *directory.entity( root ) ) )
                : "";
   }

   Vek::Directory directory;
   Vek::Ptr< Vek::NamedEntity > entity;
   Vek::log::Source source;
   KeptRoot kept;
   Vek::String cut;
};

TEST( AKeptRoot, IsThereAgain ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   EXPECT_EQ( first.text(), "" );
   first.save();
   EXPECT_EQ( disk.operations(), 0U );
   for ( int i = 0; i < changes; ++i ) {
      first.change( i );
      first.save();
   }
   const Keeper second( disk );
   EXPECT_EQ( second.text(), first.text() );
   EXPECT_EQ( second.cut, "" );
   EXPECT_EQ( second.kept.fault(), "" );
   EXPECT_LT( disk.bytes( file )->size(), 4'000'000U );
   // What did not change is not written.
   const U64 operations = disk.operations();
   first.save();
   EXPECT_EQ( disk.operations(), operations );
}

TEST( AKeptRoot, ThatIsGoneStaysGone ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   first.change( 0 );
   first.save();
   first.directory.erase( root );
   first.save();
   EXPECT_EQ( disk.bytes( file ), nullptr );
   const Keeper second( disk );
   EXPECT_EQ( second.text(), "" );
}

// Whenever the machine is switched off, all that was saved is there again.
TEST( AKeptRoot, SurvivesThatTheMachineIsSwitchedOffAtAnyMoment ) {
   for ( U64 at = 1; at < 200; ++at ) {
      MemoryDisk disk( at );
      disk.failsAt = at;
      disk.switchesOff = true;
      Vek::String saved;
      Vek::String attempted;
      bool isOff = false;
      {
         Keeper keeper( disk );
         try {
            for ( int i = 0; i < changes; ++i ) {
               keeper.change( i );
               attempted = keeper.text();
               keeper.save();
               saved = attempted;
            }
         } catch ( const MemoryDisk::Off& ) {
            isOff = true;
         }
      }
      disk.switchOn();
      Keeper keeper( disk );
      EXPECT_EQ( keeper.kept.fault(), "" ) << at;
      EXPECT_TRUE( keeper.text() == saved || keeper.text() == attempted ) << at;
      // It is kept on from there.
      keeper.change( changes );
      keeper.save();
      EXPECT_EQ( Keeper( disk ).text(), keeper.text() ) << at;
      if ( !isOff ) {
         EXPECT_GT( at, 2U * changes );
         return;
      }
   }
   FAIL() << "it was never through";
}

// Whatever cannot be written is refused, and the root is what is on the disk.
TEST( AKeptRoot, GoesBackWhenTheDiskIsFull ) {
   for ( U64 at = 1; at < 200; ++at ) {
      MemoryDisk disk( at );
      disk.failsAt = at;
      Keeper keeper( disk );
      Vek::String saved;
      bool isFull = false;
      for ( int i = 0; i < changes; ++i ) {
         keeper.change( i );
         try {
            keeper.save();
            saved = keeper.text();
         } catch ( const std::system_error& error ) {
            EXPECT_STREQ( error.what(), "cannot write: No space left on device" );
            isFull = true;
            keeper.load();
            EXPECT_EQ( keeper.text(), saved ) << at;
         }
      }
      disk.switchOn();
      EXPECT_EQ( Keeper( disk ).text(), saved ) << at;
      if ( !isFull ) {
         return;
      }
   }
   FAIL() << "it was always full";
}

// Some bytes of the last change are not there, whichever they are.
TEST( AKeptRoot, WithATornTailIsReadUpToThere ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   first.change( 0 );
   first.save();
   const Vek::String before = first.text();
   const std::size_t size = disk.bytes( file )->size();
   first.change( 2 );
   first.save();
   const std::vector< U8 > all = *disk.bytes( file );
   for ( std::size_t begin = size; begin < all.size(); ++begin ) {
      for ( const std::size_t length : { 1U, 8U, 512U } ) {
         // A header is on one sector: it is there, or none of it is.
         const std::size_t from = begin < size + 16 ? size : begin;
         const std::size_t to = std::min( std::max( from + length, size + 16 ), all.size() );
         std::vector< U8 > torn = all;
         std::fill( torn.begin() + static_cast< std::ptrdiff_t >( from ),
                    torn.begin() + static_cast< std::ptrdiff_t >( to ), U8{ 0 } );
         if ( torn == all ) {
            continue;
         }
         *disk.bytes( file ) = torn;
         const Keeper second( disk );
         ASSERT_EQ( second.text(), before ) << begin;
         EXPECT_EQ( second.kept.fault(), "" );
         EXPECT_EQ( second.cut,
                    Vek::concat( file, " was cut off while it was written: its last ",
                                 all.size() - size, " of ", all.size(), " bytes are dropped" ) );
      }
   }
}

TEST( AKeptRoot, WithACutTailIsReadUpToThere ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   first.change( 0 );
   first.save();
   const Vek::String before = first.text();
   const std::size_t size = disk.bytes( file )->size();
   first.change( 2 );
   first.save();
   const std::vector< U8 > all = *disk.bytes( file );
   for ( std::size_t length = size; length < all.size(); ++length ) {
      disk.bytes( file )->assign( all.begin(),
                                  all.begin() + static_cast< std::ptrdiff_t >( length ) );
      const Keeper second( disk );
      EXPECT_EQ( second.text(), before );
      EXPECT_EQ( second.cut,
                 length == size
                    ? ""
                    : Vek::concat( file, " was cut off while it was written: its last ",
                                   length - size, " of ", length, " bytes are dropped" ) );
   }
   *disk.bytes( file ) = all;
   disk.bytes( file )->resize( all.size() + 5000 );
   EXPECT_EQ( Keeper( disk ).text(), first.text() );
   EXPECT_THAT( Keeper( disk ).cut, HasSubstr( "its last 5000 of " ) );
}

TEST( AKeptRoot, ThatCannotBeReadIsNeverWritten ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   first.change( 0 );
   first.save();
   const std::vector< U8 > good = *disk.bytes( file );
   const auto expectFault = [&]( std::vector< U8 > bytes, const Vek::String& reason ) {
      *disk.bytes( file ) = bytes;
      const U64 operations = disk.operations();
      Keeper second( disk );
      EXPECT_THAT( second.kept.fault(), HasSubstr( file + " cannot be read: " + reason ) );
      EXPECT_EQ( second.text(), "" );
      second.change( 1 );
      EXPECT_THAT( [&] { second.save(); },
                   ThrowsMessage< Vek::StreamException >( second.kept.fault() ) );
      EXPECT_EQ( *disk.bytes( file ), bytes );
      EXPECT_EQ( disk.operations(), operations );
   };
   expectFault( {}, "it ends after 0 bytes, before all of the root" );
   expectFault( { good.begin(), good.begin() + 100 },
                "it ends after 100 bytes, before all of the root" );
   expectFault( std::vector< U8 >( 50, 'x' ), "the record at byte 0 is damaged" );
   expectFault( std::vector< U8 >( 48, 0 ), "it ends after 48 bytes, before all of the root" );
   // A stream that is not cut into records.
   const std::vector< U8 > plain = TestSupport::encoded( first.directory );
   expectFault( plain, "the record at byte 0 is damaged" );
   const auto recordsOf = []( std::span< const U8 > bytes ) {
      std::vector< U8 > records;
      Vek::log::appendRecord( records, bytes );
      return records;
   };
   expectFault( recordsOf( std::vector< U8 >( 50, 'x' ) ),
                "the peer does not speak the attribute log" );
   // A message of no kind, and a part of one.
   std::vector< U8 > more = good;
   Vek::log::appendRecord( more, std::vector< U8 >( 16, 0 ) );
   expectFault( more, "message " );
   more = good;
   Vek::log::appendRecord( more, std::vector< U8 >( 15, 0 ) );
   expectFault( more,
                Vek::concat( "it ends after ", more.size(), " bytes, before all of the root" ) );
}

// What was synchronised once and is no longer what it was is not the end of a file.
TEST( AKeptRoot, ThatIsDamagedInTheMiddleIsNeverWritten ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   for ( const int number : { 0, 2, 4 } ) {
      first.change( number );
      first.save();
   }
   const std::vector< U8 > good = *disk.bytes( file );
   Vek::log::RecordReader last( []( std::span< const U8 > ) {} );
   std::size_t lastRecord = 0;
   for ( const U8 byte : good ) {
      lastRecord = last.whole();
      last.receive( std::span( &byte, 1 ) );
   }
   ASSERT_EQ( last.whole(), good.size() );
   const auto expectKept = [&]( const std::vector< U8 >& damaged, std::size_t at ) {
      *disk.bytes( file ) = damaged;
      Keeper second( disk );
      // The bytes that fill up a record mean nothing.
      if ( second.kept.fault().empty() ) {
         EXPECT_EQ( second.text(), first.text() ) << at;
         EXPECT_EQ( good[at], 0 ) << at;
         return;
      }
      EXPECT_THAT( second.kept.fault(), HasSubstr( " is damaged" ) );
      EXPECT_THAT( [&] { second.save(); },
                   ThrowsMessage< Vek::StreamException >( second.kept.fault() ) );
      EXPECT_EQ( *disk.bytes( file ), damaged );
   };
   for ( std::size_t at = 0; at < lastRecord; ++at ) {
      std::vector< U8 > damaged = good;
      damaged[at] ^= 0x40;
      expectKept( damaged, at );
   }
   // Zeros from a header on.
   for ( std::size_t at = 0; at < lastRecord; at += 16 ) {
      std::vector< U8 > damaged = good;
      std::fill( damaged.begin() + static_cast< std::ptrdiff_t >( at ),
                 damaged.begin() + static_cast< std::ptrdiff_t >( lastRecord ), U8{ 0 } );
      expectKept( damaged, at );
   }
}

TEST( AKeptRoot, HasTheTypeAndTheNameThatItIsKeptAs ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   first.change( 0 );
   first.save();
   KeptRoot other( disk, root, "Flowspec::Config" );
   Vek::Directory directory;
   Vek::String cut;
   other.load( directory, cut );
   EXPECT_THAT( other.fault(), HasSubstr( "expected Flowspec::Config flowspec/cliconfig" ) );
}

TEST( AKeptRoot, TellsOfNoTypesThatItDoesNotNeed ) {
   MemoryDisk disk( 1 );
   Keeper first( disk );
   first.change( 0 );
   first.save();
   const auto& bytes = *disk.bytes( file );
   const std::string_view text( reinterpret_cast< const char* >( bytes.data() ), bytes.size() );
   EXPECT_THAT( text, HasSubstr( "Flowspec::CliConfig " ) );
   EXPECT_THAT( text, HasSubstr( "InterfaceEnableConfig " ) );
   EXPECT_THAT( text, testing::Not( HasSubstr( "Flowspec::RuleStatus " ) ) );
   EXPECT_EQ( Vek::log::typesTextOf( "No::Such" ), "" );
}

TEST( AKeptRoot, HasANameForAFile ) {
   MemoryDisk disk( 1 );
   EXPECT_EQ( KeptRoot( disk, "../a b", "" ).file(), "..%2Fa%20b.log" );
   EXPECT_EQ( KeptRoot( disk, Vek::String( 80, '/' ), "" ).file().size(), 244U );
   for ( const Vek::String& name : { Vek::String( 81, '/' ), Vek::String() } ) {
      EXPECT_THAT( [&] { KeptRoot( disk, name, "" ); },
                   ThrowsMessage< Vek::RangeException >(
                      "'" + name + "' is not a name for a root that is kept" ) );
   }
}

} // namespace
} // namespace Flowspec
