#include "tools/flowspecctl/DecodeLogCommand.h"

#include "Vek/log/Receiver.h"
#include "Vek/log/Record.h"
#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"
#include "forms/KeyForms.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/state/LogMessage.h"
#include "tools/state/StateText.h"
#include "tools/terminal/InputFiles.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

class DecodeRun {
public:
   DecodeRun( const DecodeLogOptions& options, Output& output )
      : options_( options ), output_( output ), receiver_( directory_, policy() ) {}

   bool run() {
      const InputFile file( options_.file );
      const Reason reason = read( file );
      if ( options_.dump ) {
         dump();
      }
      output_.flush();
      if ( reason ) {
         reportFile( file.name(), *reason );
      }
      return !reason;
   }

private:
   Vek::log::Receiver::Policy policy() {
      return { .sees = [this]( const Vek::log::Header& header, std::span< const U8 > payload,
                               const Vek::log::StreamType* type ) {
         writeMessage();
         message_ = decodeMessage( header, payload, type,
                                   options_.json ? Strings::plain : Strings::quoted );
         if ( message_ ) {
            message_->position = receiver_.messages();
         }
      } };
   }

   // Gives the receiver all of a file; why that was not possible.
   Reason read( const InputFile& file ) {
      if ( file.fd() < 0 ) {
         return systemReason( "cannot open" );
      }
      std::vector< U8 > block( std::size_t{ 256 } * 1024 );
      std::size_t held = 0; // until there is enough to tell the form
      try {
         for ( ;; ) {
            output_.flush();
            const ssize_t got = ::read( file.fd(), &block[held], block.size() - held );
            if ( got < 0 && errno != EINTR ) {
               return systemReason( "cannot read" );
            }
            held += got > 0 ? static_cast< std::size_t >( got ) : 0;
            if ( got == 0 || taken_ + held >= Vek::log::recordsKnownBy ) {
               take( std::span( block ).first( held ) );
               held = 0;
            }
            if ( got == 0 ) {
               return truncation();
            }
         }
      } catch ( const Vek::StreamException& exception ) {
         return exception.what();
      }
   }

   void take( std::span< const U8 > bytes ) {
      if ( taken_ == 0 && bytes.size() >= Vek::log::recordsKnownBy ) {
         isInRecords_ = Vek::log::areRecords( bytes );
      }
      taken_ += bytes.size();
      if ( isInRecords_ ) {
         records_.receive( bytes );
      } else {
         takeStream( bytes );
      }
   }

   void takeStream( std::span< const U8 > bytes ) {
      streamed_ += bytes.size();
      receiver_.receive( bytes );
      writeMessage();
   }

   static Reason systemReason( std::string_view what ) {
      return Vek::concat( what, ": ", std::string_view( std::strerror( errno ) ) );
   }

   // Why what was taken is not whole.
   Reason truncation() const {
      if ( isInRecords_ && records_.whole() != taken_ ) {
         return Vek::concat( "the record at byte ", records_.whole(), " is cut off" );
      }
      if ( streamed_ < Vek::log::preambleSize ) {
         return Vek::concat( "the stream ends at byte ", streamed_, ", inside its preamble" );
      }
      if ( !receiver_.atBoundary() ) {
         return Vek::concat( "the stream ends at byte ", streamed_, ", inside message ",
                             receiver_.messages() + 1 );
      }
      return std::nullopt;
   }

   // Writes the last message, which was applied.
   void writeMessage() {
      if ( message_ ) {
         options_.json ? appendJson( output_.text(), *message_ )
                       : appendLine( output_.text(), *message_ );
         message_.reset();
         output_.flushIfLarge();
      }
   }

   void dump() {
      for ( const Vek::String& name : directory_.names() ) {
         appendState( output_.text(), *directory_.entity( name ), options_.json );
         output_.flushIfLarge();
      }
   }

   const DecodeLogOptions& options_;
   Output& output_;
   Vek::Directory directory_;
   Vek::log::Receiver receiver_;
   Vek::log::RecordReader records_{
      [this]( std::span< const U8 > bytes ) { takeStream( bytes ); } };
   bool isInRecords_ = false;            // as statedbd keeps roots
   U64 taken_ = 0;                       // of the file
   U64 streamed_ = 0;                    // of the stream that it holds
   std::optional< LogMessage > message_; // seen, but perhaps refused
};

} // namespace

bool runDecodeLog( const DecodeLogOptions& options, Output& output ) {
   return DecodeRun( options, output ).run();
}

Run addDecodeLog( CLI::App& command ) {
   const auto options = std::make_shared< DecodeLogOptions >();
   command.add_flag( "--dump", options->dump, "Print the state that the stream leaves, too" );
   command.add_flag( "--json", options->json,
                     "Write an object for each message, or for each root" );
   command
      .add_option( "FILE", options->file, "File to read; standard input when there is none, or -" )
      ->type_name( "" );
   command.footer(
      "Exit status: 0 when the stream was whole, 1 when it was not, 2 for wrong usage." );
   return [options]( Output& output ) { return runDecodeLog( *options, output ); };
}

} // namespace Tools
