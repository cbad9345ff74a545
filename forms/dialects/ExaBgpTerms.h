#pragma once

#include "forms/dialects/MatchParts.h"

/// The match of ExaBGP's text, which its JSON has as well.
namespace Forms::ExaBgp {

/// Whether a text is one that people write or one that ExaBGP prints, where values without a name
/// are "unknown protocol type 200", "true" has no value, and operators with reserved bits are
/// numbers.
enum class Style : U8 { written, printed };

/// Takes the values of component `word`, which begins at `at`: a prefix, one expression, or a list
/// in brackets. False, and nothing is taken, when there is no such component.
bool takeComponent( Cursor& text, std::size_t at, std::string_view word, Style style,
                    MatchParts& match );

/// The name of a component in a family.
std::string_view nameOf( Flowspec::MatchCompType type, Zorv::AddressFamily family,
                         const std::vector< Term >& terms, Style style );

/// Appends "10.1.0.0/16", or "2001:db8::/32/0".
void appendPrefix( const Zorv::IpGenPrefix& prefix, Vek::String& out );

/// Appends one term, with "&" in front where it is joined to the one before.
void appendTerm( Flowspec::MatchCompType type, const Term& term, Style style, Vek::String& out );

/// Appends all terms, in brackets when they are several.
void appendTerms( const Component& component, Style style, Vek::String& out );

/// The operator of a flag term, with "&" in front where it is joined to the one before.
std::string_view flagOperator( const Term& term );
/// The names of the flags of a value as ExaBGP prints them, one by one.
std::vector< Vek::String > flagNames( Flowspec::MatchCompType type, U32 value );

} // namespace Forms::ExaBgp
