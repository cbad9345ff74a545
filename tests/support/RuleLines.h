#pragma once

#include "forms/RuleFile.h"

#include <nlohmann/json.hpp>

namespace TestSupport {

/// What a reader makes of lines, of a file that it calls "rules".
inline Forms::RuleFile readLines( Forms::Form form, const std::vector< Vek::String >& lines,
                                  const Forms::RuleDefaults& defaults = {} ) {
   using namespace Flowspec;
   const Forms::RuleForm of{ form, Forms::dialectOf( Forms::info( form ).name ) };
   Forms::RuleReader reader( "rules", of, defaults );
   U64 number = 0;
   for ( const Vek::String& line : lines ) {
      reader.line( ++number, line );
   }
   return reader.take();
}

/// A sound line with other members.
inline Vek::String lineWith( const char* members ) {
   nlohmann::json line = nlohmann::json::parse(
      R"({"vrfId":5,"addressFamily":"ipv4","destPrefix":"10.1.0.0/16","srcPrefix":null,)"
      R"("interfaceSet":[3],"terms":[{"type":"destPort","op":145,"value":443}]})" );
   line.update( nlohmann::json::parse( members ) );
   return line.dump();
}

} // namespace TestSupport
