#pragma once

#include "Vek/entity/Directory.h"
#include "Vek/log/Source.h"
#include "agents/statedbd/Disk.h"

namespace Agents {

/// A root that outlives the state database: a file with its attribute log, all of the root first
/// and then each change, in records (`Vek/log/Record.h`). The file is written anew when the changes
/// outweigh what they lead to.
class KeptRoot {
public:
   /// Keeps `root` on `disk`, which outlives it; `type` is the only one that it may have, any when
   /// empty. `RangeException` when the name is too long for a file.
   KeptRoot( Disk& disk, Vek::String root, Vek::String type );

   const Vek::String& type() const { return type_; }
   /// The name of the file: the root's, with all but letters, digits, "-", "_" and "." as %HH, and
   /// ".log".
   const Vek::String& file() const { return file_; }

   /// Makes the root in `directory` what is on the disk, by what differs: without a file there is
   /// none. A file that was cut off while it was written is read up to there, and `cut` says so. A
   /// file that cannot be read leaves the root as it is, and is never written from then on: `fault`
   /// says why.
   void load( Vek::Directory& directory, Vek::String& cut );

   /// Why the file cannot be read; empty when it can.
   const Vek::String& fault() const { return fault_; }

   /// Puts the root, which `source` streams and which is null when there is none, on the disk as it
   /// is. Returns when it would be there after the machine was switched off. `std::system_error`
   /// and `StreamException` when it cannot; what was there before is there still.
   void save( Vek::log::Source& source, const Vek::Ptr< Vek::NamedEntity >& entity );

private:
   /// A file to which changes are appended.
   struct Journal {
      Journal( Vek::log::Source& source, std::unique_ptr< Disk::File > to )
         : sender( source ), file( std::move( to ) ) {}

      Vek::log::Sender sender;
      std::unique_ptr< Disk::File > file;
      U64 size = 0;  ///< of the file, on the disk
      U64 whole = 0; ///< of what it began with
   };

   void read( Vek::Directory& directory, Vek::String& cut );
   void saveWhole( Vek::log::Source& source, const Vek::NamedEntity& entity );
   static U64 append( Journal& journal, bool syncs );

   Disk& disk_;
   const Vek::String root_;
   const Vek::String type_;
   const Vek::String file_;
   Vek::String fault_;
   Vek::Ptr< Vek::NamedEntity > saved_; ///< what the journal is about
   std::unique_ptr< Journal > journal_;
};

} // namespace Agents
