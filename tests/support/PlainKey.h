#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <map>
#include <string>
#include <vector>

/// A second implementation of the rule key and of its machine texts, as one writes it at first:
/// words in a `std::map`, standard streams, the numbers and addresses of the C library. The fuzz
/// targets compare the library with it, and the benchmarks measure against it.
namespace Plain {

struct Prefix {
   U8 family = 0;
   U8 length = 0;
   std::array< U8, 16 > bytes{};

   bool operator==( const Prefix& ) const = default;
};

struct Key {
   U32 vrfId = 0xFFFFFF;
   U8 addressFamily = 0;
   Prefix destPrefix;
   Prefix srcPrefix;
   std::map< U16, U32 > words;
   std::vector< U16 > interfaceSets;

   bool operator==( const Key& ) const = default;
};

/// The same key.
Key plainKey( const Flowspec::FlowspecKey& key );

/// Reads all of `text` as a prefix.
bool readPrefix( const std::string& text, Prefix& prefix );

/// Reads the command-line form into `key`, which keeps what was read before a failure.
bool readCli( const std::string& text, bool includesValueLength, Key& key );

/// Reads the value form in the same way.
bool readStringValue( const std::string& text, Key& key );

/// The command-line form of a key without holes and halves.
std::string writeCli( const Key& key, bool includeValueLength );

/// The value form, likewise.
std::string writeStringValue( const Key& key );

} // namespace Plain
