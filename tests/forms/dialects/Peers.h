#pragma once

#include "tests/forms/dialects/RuleData.h"
#include "tests/support/Folder.h"
#include "tests/support/Process.h"

#include <map>
#include <thread>

/// What the tests with other programs as judges have in common.
namespace TestSupport {

/// Whether a program is found by PATH, or by its path.
bool isThere( const Vek::String& program );

/// A TCP port of 127.0.0.1 that nobody listens on.
U16 freePort();

/// What a shell command prints, its errors too; given a minute, after which it is killed.
Vek::String outputOf( const Vek::String& command );

/// Calls `holds` until it is true, for some ten seconds.
template < typename Holds >
bool becomes( Holds holds ) {
   for ( int i = 0; i < 200; ++i ) {
      if ( holds() ) {
         return true;
      }
      std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
   }
   return false;
}

/// The UPDATE message of a rule to a peer of the same AS.
std::vector< U8 > updateOf( const Forms::Rule& rule );

/// The rule that an UPDATE message announces. Fails the test, and is a default one, when it is
/// none.
Forms::Rule ruleOf( std::span< const U8 > message );

/// Rules with the same match replace each other in a program: those that stay, the later ones.
std::map< std::string, const Forms::Rule* > filed( const std::vector< const NamedRule* >& rules );

/// Expects that `read` are these rules in any order.
void expectSame( const std::vector< Forms::Rule >& read,
                 const std::map< std::string, const Forms::Rule* >& rules );

} // namespace TestSupport
