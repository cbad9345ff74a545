#pragma once

#include "agents/statedbd/Peer.h"

namespace Agents {

/// Who may write which root, as a file says. Each of its lines is
///
///    ROOT = user NAME, group NAME, ...
///
/// with names or numbers; a ROOT that ends with "*" stands for all that begin so. The first line
/// for a root decides. Blank lines and those that begin with "#" are passed over.
class Access {
public:
   /// Whoever can connect may write every root.
   Access() = default;

   /// Reads a file of at most 1 MiB; each fault, "FILE:LINE: error: REASON" or "FILE: error:
   /// REASON", goes to `faults`.
   static Access read( const Vek::String& file, std::vector< Vek::String >& faults );

   bool mayWrite( const Peer& peer, std::string_view root ) const;

private:
   struct Rule {
      Vek::String root;
      bool isPrefix = false;
      std::vector< uid_t > users;
      std::vector< gid_t > groups;
   };

   static Rule rule( std::string_view line );

   std::vector< Rule > rules_;
};

} // namespace Agents
