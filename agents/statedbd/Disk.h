#pragma once

#include "agents/daemon/PidFile.h"

#include "Osk/Types.h"

#include <functional>
#include <memory>
#include <span>

namespace Agents {

/// Where a state database keeps roots: a few files, each written by appending. What fails raises
/// `std::system_error`, "cannot DO FILE: REASON".
class Disk {
public:
   /// A new file.
   class File {
   public:
      virtual ~File() = default;
      virtual void append( std::span< const U8 > bytes ) = 0;
      /// Drops what is after the first `size` bytes.
      virtual void cut( U64 size ) = 0;
      /// Returns when all that was appended would be there after the machine was switched off.
      virtual void sync() = 0;
   };

   virtual ~Disk() = default;

   /// Calls with the pieces of a file; false when there is none.
   virtual bool read( const Vek::String& name,
                      const std::function< void( std::span< const U8 > ) >& take ) = 0;
   /// Makes an empty file, also where there is one.
   virtual std::unique_ptr< File > create( const Vek::String& name ) = 0;
   /// Puts a file in the place of another one: that one or this one is there at any moment. Returns
   /// when it would be this one after the machine was switched off.
   virtual void rename( const Vek::String& from, const Vek::String& to ) = 0;
   /// Removes a file, if it is there. Returns when it would be gone after the machine was switched
   /// off.
   virtual void remove( const Vek::String& name ) = 0;
};

/// The files of a folder that one process at a time uses.
class FolderDisk final : public Disk {
public:
   /// `std::runtime_error` when the folder is not there or cannot be used.
   explicit FolderDisk( Vek::String folder );
   FolderDisk( const FolderDisk& ) = delete;
   FolderDisk& operator=( const FolderDisk& ) = delete;
   ~FolderDisk() override;

   bool read( const Vek::String& name,
              const std::function< void( std::span< const U8 > ) >& take ) override;
   std::unique_ptr< File > create( const Vek::String& name ) override;
   void rename( const Vek::String& from, const Vek::String& to ) override;
   void remove( const Vek::String& name ) override;

private:
   Vek::String path( const Vek::String& name ) const { return folder_ + '/' + name; }
   void syncFolder() const;

   const Vek::String folder_;
   const PidFile lock_;
   int fd_;
};

} // namespace Agents
