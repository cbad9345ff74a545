#pragma once

#include "Flowspec/key/FlowspecKey.h"

/// Checked readers of the text forms of a rule key, for text from outside: they report what is
/// wrong and where, and never end the process or throw. The `copyIn...` operations of the key are
/// shells on the same readers.
///
/// All of them fill `key` in place: nothing is cleared first, and what was read before a failure
/// stays. Give a new key to each.
namespace Flowspec {

/// Why a text could not be read.
struct KeyTextError {
   Vek::String message;
   std::size_t offset; ///< of the character of the text at which reading stopped
};

/// Nothing when the whole text was read.
using KeyTextResult = std::optional< KeyTextError >;

/// Reads the command-line form, "10.1.0.0/16;*;IP:=6;DP:=80|=443;". The message of an error is the
/// one that `copyInStrCli` traces.
[[nodiscard]] OSK_EXPORT KeyTextResult readStrCli( std::string_view text, bool includesValueLength,
                                                   FlowspecKey& key );

/// Reads the command-line form after "RD:", a distinguisher and ";".
[[nodiscard]] OSK_EXPORT KeyTextResult readStrCliWithRd( std::string_view text,
                                                         bool includesValueLength,
                                                         Zorv::RouteDistinguisher& rd,
                                                         FlowspecKey& key );

/// Reads the value form, "5;ipv4;IFSET:=3;10.1.0.0/16;*;IP:=0L6;", up to a newline or the end.
[[nodiscard]] OSK_EXPORT KeyTextResult readStringValue( std::string_view text, FlowspecKey& key );

/// Appends the identifiers of an interface-set text, "IFSET:=3,17;", to the key. What follows the
/// ";" is not read.
[[nodiscard]] OSK_EXPORT KeyTextResult readInterfaceSet( std::string_view text, FlowspecKey& key );

/// Reads the diagnostic form, "5;ipv4;IFSET:=3;10.1.0.0/16;;58785798;", with or without "@" at its
/// end. Any words are taken; see `unprintableTerm`.
[[nodiscard]] OSK_EXPORT KeyTextResult readStrep( std::string_view text, FlowspecKey& key );

/// The first term that the walk of a key, or one of its text forms, would end the process or throw
/// at: a type above 13, an 8-byte value, half of a 4-byte value, or a term that ends above index
/// 2047. Nothing when all forms can be written.
struct UnprintableTerm {
   U16 index;
   const char* reason;
};
[[nodiscard]] OSK_EXPORT std::optional< UnprintableTerm > unprintableTerm( const FlowspecKey& key );

} // namespace Flowspec
