#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"

/// The frame of the attribute log; docs/attribute-log.md describes it for readers in any language.
///
/// A stream begins with a preamble; messages follow, each a header and a payload.
namespace Vek::log {

inline constexpr U32 streamMagic = 0x56454B4C; ///< "VEKL"
inline constexpr U16 streamVersion = 1;

/// The beginning of a stream: magic, version and two bytes of zero, and the digest of the sender's
/// types.
inline constexpr std::size_t preambleSize = 16;

enum class MessageKind : U8 {
   types = 1,        ///< the text of the sender's types
   root = 2,         ///< a root entity: its type's name and its constructor parameters
   child = 3,        ///< a child of a row: its number and its constructor parameters
   attribute = 4,    ///< the value of an attribute
   member = 5,       ///< a member of a collection: its key, and its value in a map
   transaction = 6,  ///< the start or the end of a collection's resynchronisation
   synchronised = 7, ///< all that was there when the connection began has been sent
};

OSK_EXPORT std::string_view stringValue( MessageKind kind );

/// Set on a `root`, `child` or `member` message that removes what it names: a root without payload,
/// a child by the number 0 and its key, a member by its key.
inline constexpr U8 removedFlag = 1;

/// The two kinds of a `transaction` message that mean something.
enum class TransactionType : U8 { start = 0, end = 2 };

/// Header of a message: 16 bytes.
struct Header {
   static constexpr std::size_t size = 16;

   U32 length = 0; ///< of the payload
   MessageKind kind{};
   U64 entity = 0; ///< number of the entity that the message is about, given by its sender
   U16 fieldId = 0;
   U8 flags = 0;

   bool removed() const { return flags & removedFlag; }
};

/// The longest payload that is sent or taken.
inline constexpr U32 maxPayload = 1U << 24;

inline void writeHeader( LogWriter& out, const Header& header ) {
   U8* const at = out.take( Header::size );
   Osk::storeBig32( at, header.length );
   at[4] = static_cast< U8 >( header.kind );
   Osk::storeBig64( at + 5, header.entity );
   Osk::storeBig16( at + 13, header.fieldId );
   at[15] = header.flags;
}

/// Reads the header at the beginning of `bytes`, which hold one at least; `StreamException` when
/// the payload would be too long.
OSK_EXPORT Header readHeader( std::span< const U8 > bytes );

[[noreturn]] OSK_EXPORT void failTooLong( std::size_t length );

/// The bytes of a message with a payload of `length`; `StreamException` when that is too long.
inline std::size_t messageSize( std::size_t length ) {
   if ( length > maxPayload ) [[unlikely]] {
      failTooLong( length );
   }
   return Header::size + length;
}

/// Fails the assertion "written == size" unless as many bytes were written as were reserved.
OSK_EXPORT void checkWritten( std::size_t written, std::size_t size );

} // namespace Vek::log
