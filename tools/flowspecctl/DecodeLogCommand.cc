#include "tools/flowspecctl/DecodeLogCommand.h"

#include "forms/Diagnostics.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/state/LogFile.h"
#include "tools/state/LogMessage.h"
#include "tools/state/StateText.h"

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

class DecodeRun {
public:
   DecodeRun( const DecodeLogOptions& options, Output& output )
      : options_( options ), output_( output ), receiver_( directory_, policy() ) {}

   bool run() {
      const Reason reason =
         LogFile( receiver_ )
            .read(
               options_.file, [this] { writeMessage(); }, [this] { output_.flush(); } );
      if ( options_.dump ) {
         dump();
      }
      output_.flush();
      if ( reason ) {
         reportFile( options_.file == "-" ? "<stdin>" : options_.file, *reason );
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
