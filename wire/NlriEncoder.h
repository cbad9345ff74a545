#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "wire/NlriFormat.h"

#include <vector>

/// Writing rules as the octets of BGP.
namespace Wire {

/// Why no NLRI can hold a key.
enum class RefusalCode : U8 {
   noFamily,       ///< the key is neither of IPv4 nor of IPv6
   otherFamily,    ///< the key's family is not that of the format
   prefixFamily,   ///< a prefix of another family than the key
   hole,           ///< a word is missing between others
   indexTooHigh,   ///< a word at index 2047, where no walk of a key comes
   badType,        ///< a word of type 0 to 2 or above 13
   flowLabel,      ///< a flow label in IPv4
   valueOf8Octets, ///< a word with the length code 3
   halfValue,      ///< half of a value of 4 octets
   splitComponent, ///< the terms of one type are at two places
   valueTooLarge,  ///< a value that no length holds that its type may have
   noComponent,    ///< neither a prefix nor a word: no rule that matches everything
   tooLong,        ///< more than 4,095 octets with the distinguisher
};

/// The name in texts and JSON, such as "split-component".
OSK_EXPORT std::string_view name( RefusalCode code );

/// Why a key is refused. A plain value: the message is made for those who ask.
struct Refusal {
   RefusalCode code;
   U16 index = 0; ///< of the word at fault; 0 when it is none
   U8 type = 0;   ///< of the component at fault; 0 when it is none

   /// For people, such as "the word at index 3: its type, 14, is not known".
   OSK_EXPORT Vek::String message() const;

   bool operator==( const Refusal& ) const = default;
};

/// How long the values of terms are made.
enum class ValueLengths : U8 {
   asStored, ///< as the words say where the type may have that length, else the shortest
   shortest, ///< the shortest that the type should have and that holds the value: what a sender
             ///< is asked to do; a flow label takes 4 octets
};

/// Appends one NLRI to `out`, its length field first; a field of several is made by appending them
/// one after the other. Nothing when it was written; otherwise `out` is as it was.
///
/// Components are written in the order of their types, whatever the order of the words.
/// End-of-list bits are set where components end and nowhere else; the AND bit of first terms and
/// reserved operator bits are 0. So what `decodeNlri` read without a remark comes out octet by
/// octet when lengths are as stored. VRF and interface sets are in no NLRI.
///
/// `rd` is written when the format has one. Nothing is allocated when the capacity of `out`
/// suffices: `maxNlriLength` and 2 more always do.
[[nodiscard]] OSK_EXPORT std::optional< Refusal >
encodeNlri( const Flowspec::FlowspecKey& key, NlriFormat format, Zorv::RouteDistinguisher rd,
            ValueLengths lengths, std::vector< U8 >& out );

} // namespace Wire
