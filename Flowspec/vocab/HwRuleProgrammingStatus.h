#pragma once

#include "Vek/text/Enum.h"

namespace Flowspec {

/// What became of a rule that was to be programmed into hardware. Any code may follow any other; a
/// number without a name, received from a later version, is kept as it is.
enum class HwRuleProgrammingStatus : U8 {
   unprocessed = 0,
   programmed = 1,
   programmedWithFailures = 2, ///< in some of the places where it belongs
   unsupportedMatch = 3,
   unsupportedTcamProfile = 4,
   unsupportedAction = 5,
   resourceExhausted = 6,
   intfSetResourceExhausted = 7,
};

using enum HwRuleProgrammingStatus;

inline constexpr Vek::Enumerator hwRuleProgrammingStatusRows[] = {
   { 0, "unprocessed" },
   { 1, "programmed" },
   { 2, "programmedWithFailures" },
   { 3, "unsupportedMatch" },
   { 4, "unsupportedTcamProfile" },
   { 5, "unsupportedAction" },
   { 6, "resourceExhausted" },
   { 7, "intfSetResourceExhausted" },
};
static_assert( Vek::enumeratorsAreDense( hwRuleProgrammingStatusRows ) );

inline constexpr Vek::EnumInfo hwRuleProgrammingStatusInfo{ "Flowspec::HwRuleProgrammingStatus",
                                                            hwRuleProgrammingStatusRows };

constexpr const Vek::EnumInfo& enumInfo( HwRuleProgrammingStatus ) {
   return hwRuleProgrammingStatusInfo;
}

using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

/// The status with a number or a name; `Vek::RangeException` when there is none.
inline HwRuleProgrammingStatus HwRuleProgrammingStatusInstance( U64 number ) {
   return Vek::enumInstance< HwRuleProgrammingStatus >( number );
}
inline HwRuleProgrammingStatus HwRuleProgrammingStatusInstance( std::string_view name ) {
   return Vek::enumInstance< HwRuleProgrammingStatus >( name );
}

} // namespace Flowspec
