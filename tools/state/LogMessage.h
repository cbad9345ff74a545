#pragma once

#include "Vek/log/Message.h"
#include "Vek/log/StreamType.h"

namespace Tools {

/// A message of the attribute log in words.
struct LogMessage {
   U64 position = 0; ///< in its stream, from 1 on
   Vek::log::Header header{};
   const Vek::TypeInfo* type = nullptr; ///< of the entity; null when the message is about none
   const Vek::Field* row = nullptr;     ///< null when it is about no field
   U64 types = 0;                       ///< in a message of types, their count
   std::optional< Vek::String > root{}; ///< name of a new root
   std::optional< Vek::String > transaction{}; ///< "start", "end", or the number of another kind
   U64 child = 0;                              ///< number of a new child
   const Vek::TypeInfo* childType = nullptr;
   std::vector< Vek::String > parameters{}; ///< of its constructor
   std::optional< Vek::String > key{};
   std::optional< Vek::String > value{};
};

/// Whether values that are strings stand in quotation marks, with bytes that cannot be shown as
/// `\xNN`, or as they are.
enum class Strings : U8 { quoted, plain };

/// Takes a message apart. `type` is that of its entity, null when that is not known. Nothing for a
/// message that a receiver refuses.
std::optional< LogMessage > decodeMessage( const Vek::log::Header& header,
                                           std::span< const U8 > payload,
                                           const Vek::log::StreamType* type, Strings strings );

/// Appends the message as a line of text, or as one of JSON, in ASCII; bytes of a string that are
/// no UTF-8 are replaced there.
void appendLine( Vek::String& out, const LogMessage& message );
void appendJson( Vek::String& out, const LogMessage& message );

} // namespace Tools
