#pragma once

#include "Osk/Types.h"
#include "Vek/collections/SmallVector.h"
#include "Vek/text/String.h"

#include <array>
#include <string_view>

namespace Wire {

/// Why octets are not taken as a rule. All but `unrepresentable` make the NLRI malformed in the
/// sense of RFC 7606: its route must not be used.
enum class RejectionCode : U8 {
   lengthTruncated, ///< the length field itself is cut off
   lengthMismatch,  ///< the length field tells more octets than there are
   rdTruncated,     ///< SAFI 134: not even the route distinguisher is inside the length
   empty,           ///< no component at all; never a rule that matches everything
   unknownType,     ///< a component type that the family does not have
   duplicateType,   ///< the type of the component before it
   typeOrder,       ///< a lower type than that of the component before it
   truncated,       ///< a component ends too early, or has no operator
   noEndOfList,     ///< the octets end after a term without the end-of-list bit
   prefixRange,     ///< a prefix length above 32 or 128, or an offset that does not fit it
   valueLength,     ///< a length that must not be: of type 9 above 2, of 11 and 12 above 1 octet
   unrepresentable, ///< well formed, but no rule key holds it: an IPv6 offset, a value above 2^32-1
};

/// What a receiver is told to bear although the sender should not have sent it, and what is odd.
enum class RemarkCode : U8 {
   lengthForm,        ///< a length field of two octets where one does
   trailingOctets,    ///< octets after the NLRI, to the reader of a single one
   rdType,            ///< a route distinguisher of a type that is not assigned
   prefixPadding,     ///< bits after the prefix that are not 0; ignored
   firstAnd,          ///< the AND bit on the first term of a component; ignored
   reservedOpBits,    ///< reserved bits in an operator; ignored
   valueLengthShould, ///< another length than the type should have
   reservedValueBits, ///< bits of a value beside those that its field has
   valueRange,        ///< a number that its field cannot hold
};

/// The name in texts and JSON, such as "no-end-of-list".
OSK_EXPORT std::string_view name( RejectionCode code );
OSK_EXPORT std::string_view name( RemarkCode code );

/// One remark. Offsets count from the first octet of the NLRI, that of its length field.
struct Remark {
   RemarkCode code;
   U8 type; ///< of the component; 0 when it is about none
   U16 offset;

   bool operator==( const Remark& ) const = default;
};

/// In the order of the octets; up to four take no memory.
using Remarks = Vek::SmallVector< Remark, 4 >;

/// Why one NLRI is rejected, and where. A plain value: the message is made for those who ask.
struct Rejection {
   RejectionCode code;
   U16 offset; ///< of the octet at fault, or of the one that is missing; from the NLRI's first
   /// In words; each '#' stands for the next of `numbers`.
   const char* pattern;
   std::array< U32, 3 > numbers;

   /// For people, such as "component type 3: the value needs 2 octets, 1 is left".
   OSK_EXPORT Vek::String message() const;
};

} // namespace Wire
