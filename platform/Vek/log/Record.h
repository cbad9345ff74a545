#pragma once

#include "Osk/Types.h"

#include <functional>
#include <optional>
#include <span>
#include <vector>

/// An attribute log in a file. The stream is cut into records, each with its length and
/// checksums: a machine that is switched off while it writes leaves bytes of which any may be
/// missing, and these must not be taken for messages. docs/attribute-log.md describes the form.
///
/// A writer that synchronises the file after each record leaves at most the last one torn.
namespace Vek::log {

/// The longest record: a message with the longest payload, and all that may be in front of it in
/// a sender's buffer.
inline constexpr std::size_t maxRecord = ( 1U << 24 ) + ( 1U << 20 );

/// Appends a record of some bytes of the stream, not none and at most `maxRecord`, to `out`, whose
/// size is a multiple of 16 before and afterwards.
OSK_EXPORT void appendRecord( std::vector< U8 >& out, std::span< const U8 > bytes );

/// How many bytes of a file tell whether it is made of records.
inline constexpr std::size_t recordsKnownBy = 20;

/// Whether a file that begins with `bytes`, as many at least, is made of records.
OSK_EXPORT bool areRecords( std::span< const U8 > bytes );

/// Takes a file in pieces of any size, and gives the bytes of each record that is whole.
class OSK_EXPORT RecordReader {
public:
   explicit RecordReader( std::function< void( std::span< const U8 > ) > give )
      : give_( std::move( give ) ) {}

   /// Takes the next bytes. `StreamException`, "the record at byte N is damaged", when a record is
   /// not what its checksum says and more comes after it, or when its header is all zeros and the
   /// header of another record comes after it. Nothing more may be given then.
   void receive( std::span< const U8 > bytes );

   /// The bytes that were given to it, and of these the ones of whole records. When the file ends,
   /// what is after those was not written to its end.
   U64 received() const { return received_; }
   U64 whole() const { return whole_; }

private:
   void takeRecords();
   [[noreturn]] void failDamaged() const;

   const std::function< void( std::span< const U8 > ) > give_;
   std::vector< U8 > partial_; // of a record that has not come whole
   U64 received_ = 0;
   U64 whole_ = 0;
   bool isHeadless_ = false;       // the header after what is whole is all zeros
   std::optional< U64 > tornUpTo_; // where a record ends that is not what its checksum says
};

} // namespace Vek::log
