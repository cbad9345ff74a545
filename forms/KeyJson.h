#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <nlohmann/json_fwd.hpp>

/// The JSON text of a rule key, one object on one line:
///
/// `{"vrfId":5,"addressFamily":"ipv4","destPrefix":"10.1.0.0/16","srcPrefix":null,
/// "interfaceSet":[3,17],"terms":[{"type":"destPort","op":145,"value":443}]}`
///
/// It holds all of a key: what is written reads back to an equal key, and each member stands for
/// one attribute. `vrfId` is null for the invalid identifier; a prefix is null when empty.
/// `terms` are the terms of the walk, `type` being an enumerator's name and `op` the operator byte
/// with its length code. Where setting those terms again would not give the same words (an unknown
/// type, 8 bytes, half of a 4-byte value, a value wider than its length), `words` is in the
/// place of `terms` and lists the words as numbers.
namespace Forms {

/// Why the key has no JSON text: its indices have holes. Nothing when it has one.
[[nodiscard]] std::optional< Vek::String > unwritableJson( const Flowspec::FlowspecKey& key );

/// Appends the text of a key that `unwritableJson` admits.
void appendKeyJson( Vek::String& out, const Flowspec::FlowspecKey& key );

/// Fills `key`, which equals a default one, from its text. All members must be there, each once,
/// of `terms` and `words` one; their order does not matter. Otherwise the result names the member
/// and what is wrong with it, and `key` holds what was read before.
[[nodiscard]] std::optional< Vek::String > readKeyJson( std::string_view text,
                                                        Flowspec::FlowspecKey& key );

/// The same from an object that was parsed: for one that holds more than a key, once that is taken
/// out of it. Raises `JsonMembers::BadJson`.
void readKeyMembers( const nlohmann::json& object, Flowspec::FlowspecKey& key );

/// Appends `text` as a JSON string. Bytes above 127 go as they are: they are to be UTF-8.
void appendJsonString( Vek::String& out, std::string_view text );

} // namespace Forms
