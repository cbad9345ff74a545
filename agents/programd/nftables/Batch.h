#pragma once

#include "dataplane/nftables/Ruleset.h"

#include <span>

#include <linux/netlink.h>

namespace Agents::Nftables {

/// The messages of one transaction: the kernel does all of them or none. What is changed must be
/// added before what refers to it, and removed after.
class Batch {
public:
   /// For the table of one family at a time; see `familyIs`.
   Batch();

   void familyIs( Zorv::AddressFamily family ) { family_ = family; }

   void addTable();
   void delTable();
   void addCounter( const Vek::String& name, U64 packets, U64 bytes );
   void addLimit( const Vek::String& name, const Dataplane::Nftables::Limit& limit );
   void delCounter( const Vek::String& name );
   void delLimit( const Vek::String& name );
   /// The base chain has its hook.
   void addChain( const Vek::String& name );
   void delChain( const Vek::String& name );
   /// Removes all lines of a chain.
   void flushChain( const Vek::String& name );
   /// Appends a line to a chain.
   void addLine( const Vek::String& chain, const Dataplane::Nftables::Line& line );

   /// A set of names of interfaces, and a map from these to chains.
   void addInterfaceSet( const Vek::String& name );
   void addInterfaceMap();
   /// A map from intervals of destinations to chains.
   void addDestinationMap( const Vek::String& name );
   void delSet( const Vek::String& name );
   /// Adds or removes one interface; `chain` is empty for sets.
   void interface( bool add, const Vek::String& set, const Vek::String& interface,
                   const Vek::String& chain );
   void intervals( bool add, const Vek::String& map,
                   std::span< const Dataplane::Nftables::Interval > intervals );

   /// Removes a table that is not there, so that the kernel does nothing of all this.
   void addFault();

   /// The number of the next message.
   U32 next() const { return sequence_; }
   /// All of it, for sending.
   std::span< const char > finish();

private:
   class Nest;

   void begin( U16 type, U16 flags );
   void put( U16 type, const void* data, std::size_t size );
   void text( U16 type, std::string_view text );
   void big16( U16 type, U16 value );
   void big32( U16 type, U32 value );
   void big64( U16 type, U64 value );
   void end();
   void object( U16 message, U16 flags, const Vek::String& name, U32 type );
   void named( U16 message, U16 flags, U16 tableAttribute, U16 nameAttribute,
               const Vek::String& name );
   void addMap( const Vek::String& name, U32 flags, U32 keyType, U32 keySize, bool verdicts );
   void verdict( U16 attribute, int code, const Vek::String& chain );
   U32 addNumberSet( const Dataplane::Nftables::Test& test );
   void elements( bool add, const Vek::String& set );

   // Of expressions; each is an element of the list of its line.
   friend class Expressions;

   std::vector< char > bytes_;
   std::size_t header_ = 0; // where the message that is being written begins
   U32 sequence_ = 0;
   U32 sets_ = 0;
   Zorv::AddressFamily family_ = Zorv::AddressFamily::ipv4;
};

} // namespace Agents::Nftables
