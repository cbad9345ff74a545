#include "tools/flowspecctl/KeyCommand.h"

#include "Vek/Text.h"
#include "tools/flowspecctl/RuleWriter.h"
#include "tools/lib/Diagnostics.h"
#include "tools/lib/LineReader.h"
#include "tools/lib/Terminal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <unordered_set>

#include <fcntl.h>
#include <unistd.h>

namespace Flowspec::Tools {

namespace {

// Rules that cannot be written as they come: they are to be sorted, or compared with later ones.
struct Kept {
   Rule rule;
   Place place;
};

struct RuleHash {
   std::size_t operator()( const Rule* rule ) const { return rule->key.hash(); }
};
struct RuleEqual {
   bool operator()( const Rule* a, const Rule* b ) const { return *a == *b; }
};

bool isPassedOver( std::string_view line ) {
   const std::size_t first = line.find_first_not_of( " \t\r\v\f" );
   return first == line.npos || line[first] == '#';
}

class KeyRun {
public:
   KeyRun( const KeyOptions& options, Output& output )
      : options_( options ), output_( output ), writer_( options, output ) {}

   bool run() {
      if ( options_.files.empty() ) {
         readFile( "-" );
      }
      for ( const Vek::String& file : options_.files ) {
         readFile( file );
      }
      if ( options_.sort ) {
         writeSorted();
      }
      output_.flush();
      return good_;
   }

private:
   void readFile( const Vek::String& file ) {
      const bool standardInput = file == "-";
      const int fd = standardInput ? STDIN_FILENO : ::open( file.c_str(), O_RDONLY | O_CLOEXEC );
      if ( fd < 0 ) {
         badFile( file, "cannot open" );
         return;
      }
      readLines( fd, standardInput ? std::string_view( "<stdin>" ) : file );
      if ( !standardInput ) {
         ::close( fd );
      }
   }

   void readLines( int fd, std::string_view file ) {
      // What is known so far goes out before a wait for more.
      LineReader reader( fd, [&] {
         output_.flush();
         progress_.at( bytes_ + reader.bytesRead(), lines_ + reader.lineNumber() );
      } );
      std::string_view line;
      for ( ;; ) {
         switch ( reader.next( line ) ) {
         case LineReader::Result::line:
            if ( !isPassedOver( line ) ) {
               readLine( { file, reader.lineNumber() }, line );
            }
            continue;
         case LineReader::Result::tooLong:
            badLine( { file, reader.lineNumber() }, line,
                     Vek::concat( "the line is longer than ", LineReader::maxLine, " bytes" ) );
            continue;
         case LineReader::Result::failed:
            errno = reader.error();
            badFile( file, "cannot read" );
            break;
         case LineReader::Result::end:
            break;
         }
         break;
      }
      bytes_ += reader.bytesRead();
      lines_ += reader.lineNumber();
   }

   void readLine( const Place& place, std::string_view line ) {
      clear( rule_.key );
      rule_.rd = options_.rd;
      if ( options_.vrfId ) {
         rule_.key.vrfIdIs( *options_.vrfId );
      }
      if ( options_.family ) {
         rule_.key.addressFamilyIs( *options_.family );
      }
      Reason reason = readRule( options_.from, line, rule_ );
      if ( !reason ) {
         reason = writer_.unwritable( rule_ );
      }
      if ( reason ) {
         badLine( place, line, *reason );
      } else if ( options_.sort || options_.unique ) {
         keep( place );
      } else {
         writer_.good( place, rule_ );
      }
   }

   void keep( const Place& place ) {
      if ( options_.unique && seen_.contains( &rule_ ) ) {
         return;
      }
      kept_.push_back( { rule_, place } );
      if ( options_.unique ) {
         seen_.insert( &kept_.back().rule );
      }
      if ( !options_.sort ) {
         writer_.good( place, rule_ );
      }
   }

   void writeSorted() {
      std::vector< const Kept* > order;
      order.reserve( kept_.size() );
      for ( const Kept& kept : kept_ ) {
         order.push_back( &kept );
      }
      std::stable_sort( order.begin(), order.end(), []( const Kept* a, const Kept* b ) {
         return FlowspecKeyOrder()( a->rule.key, b->rule.key );
      } );
      for ( const Kept* const kept : order ) {
         writer_.good( kept->place, kept->rule );
      }
   }

   void badLine( const Place& place, std::string_view line, std::string_view message ) {
      good_ = false;
      progress_.clear();
      writer_.bad( place, line, message );
   }

   void badFile( std::string_view file, std::string_view what ) {
      const Vek::String message =
         Vek::concat( what, ": ", std::string_view( std::strerror( errno ) ) );
      good_ = false;
      progress_.clear();
      output_.flush();
      reportFile( file, message );
   }

   const KeyOptions& options_;
   Output& output_;
   RuleWriter writer_;
   Progress progress_;
   Rule rule_; // in work; its memory is used again
   std::deque< Kept > kept_;
   std::unordered_set< const Rule*, RuleHash, RuleEqual > seen_;
   U64 bytes_ = 0; // of the files before
   U64 lines_ = 0;
   bool good_ = true;
};

} // namespace

Reason contradiction( const KeyOptions& options ) {
   const FormInfo& from = info( options.from );
   if ( options.json && ( options.table || !options.to.empty() ) ) {
      return "--json writes all forms: it goes with neither --to nor --table";
   }
   if ( options.rd && from.hasRd ) {
      return Vek::concat( "--rd is not for --from ", from.name, ": its rules have their own" );
   }
   if ( ( options.vrfId || options.family ) && from.hasInstance ) {
      return Vek::concat( "--vrf and --family are not for --from ", from.name,
                          ": its rules have their own" );
   }
   for ( const Form form : options.to ) {
      if ( info( form ).hasRd && !from.hasRd && !options.rd ) {
         return Vek::concat( "--to ", info( form ).name,
                             " needs a route distinguisher: give --rd, or rules with one" );
      }
   }
   return std::nullopt;
}

bool runKey( const KeyOptions& options, Output& output ) { return KeyRun( options, output ).run(); }

} // namespace Flowspec::Tools
