#pragma once

#include "Vek/text/Text.h"

#include <charconv>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>

namespace TestSupport {

/// Reads the text format of Prometheus, as far as the project writes it: families of samples, each
/// after its type. `std::runtime_error` for what a collector would refuse, and for what it would
/// take but not as it is meant: a sample of another family, one that is there twice, a counter
/// whose name does not say that it is one.
class Metrics {
public:
   explicit Metrics( const Vek::String& text ) {
      if ( text.empty() || text.back() != '\n' ) {
         throw std::runtime_error( "the last line has no end" );
      }
      for ( std::size_t at = 0; at < text.size(); ) {
         const std::size_t end = text.find( '\n', at );
         line( text.substr( at, end - at ) );
         at = end + 1;
      }
   }

   /// The values, by name and labels as the text has them.
   const std::map< Vek::String, double >& samples() const { return samples_; }
   /// The names of all families.
   const std::set< Vek::String >& names() const { return names_; }
   /// How many samples a family has.
   std::size_t count( const Vek::String& name ) const {
      std::size_t found = 0;
      for ( const auto& [series, value] : samples_ ) {
         found += series.substr( 0, series.find( '{' ) ) == name;
      }
      return found;
   }

private:
   void line( const Vek::String& line ) {
      static const std::regex help( "# HELP [a-z_]+ .*" );
      static const std::regex type( "# TYPE ([a-z_]+) (gauge|counter)" );
      static const std::regex sample(
         R"re((([a-z_]+)(\{[a-z_]+="([^"\\]|\\["\\n])*"(,[a-z_]+="([^"\\]|\\["\\n])*")*\})?) (\S+))re" );
      std::smatch match;
      if ( std::regex_match( line, match, type ) ) {
         family_ = match[1];
         if ( !names_.insert( family_ ).second ) {
            throw std::runtime_error( "a second type: " + line );
         }
         if ( ( match[2] == "counter" ) != family_.ends_with( "_total" ) ) {
            throw std::runtime_error( "not the name of a " + match[2].str() + ": " + line );
         }
      } else if ( std::regex_match( line, match, sample ) ) {
         const Vek::String number = match[7];
         double value = 0;
         const auto read = std::from_chars( number.data(), number.data() + number.size(), value );
         if ( match[2] != family_ || read.ec != std::errc() ||
              read.ptr != number.data() + number.size() ) {
            throw std::runtime_error( "no sample of " + family_ + ": " + line );
         }
         if ( !samples_.emplace( match[1], value ).second ) {
            throw std::runtime_error( "there twice: " + line );
         }
      } else if ( !std::regex_match( line, help ) ) {
         throw std::runtime_error( "not a line: " + line );
      }
   }

   Vek::String family_;
   std::set< Vek::String > names_;
   std::map< Vek::String, double > samples_;
};

/// The names of the project's metrics in an expression.
inline std::set< Vek::String > metricNames( const std::string& expression ) {
   static const std::regex name( "flowspec_[a-z_]+" );
   std::set< Vek::String > names;
   for ( std::sregex_iterator at( expression.begin(), expression.end(), name ), end; at != end;
         ++at ) {
      names.insert( at->str() );
   }
   return names;
}

} // namespace TestSupport
