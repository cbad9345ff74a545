#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/ReadFailure.h"

namespace Flowspec {

/// A cursor over fields that end at ";" or at the end of the text.
class FieldReader {
public:
   explicit FieldReader( std::string_view text ) : rest_( text ) {}

   /// The next field, without its ";". False when nothing is left; an empty field is one.
   bool next( std::string_view& field );

   /// What is after the fields read so far.
   std::string_view rest() const { return rest_; }

private:
   std::string_view rest_;
};

/// Reads the command-line form of a rule key from `text`, from the character at `offset` on, into
/// `key`. False, with the reason in `failure`, when it stopped.
bool readCli( std::string_view text, std::size_t offset, bool includesValueLength, FlowspecKey& key,
              ReadFailure& failure );

} // namespace Flowspec
