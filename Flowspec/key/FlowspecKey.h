#pragma once

#include "Flowspec/key/TermWords.h"
#include "Flowspec/vocab/InterfaceSetId.h"
#include "Vek/collections/KeyPrefix.h"
#include "Vek/types/Ptr.h"
#include "Vrf/VrfIdMap.h"
#include "Zorv/IpGenPrefix.h"
#include "Zorv/RouteDistinguisher.h"

namespace Classification {
class StructuredFilter;
}

namespace Flowspec {

struct FlowspecKeyOrder;

/// The identity of one flow-specification rule: its VRF and address family, its prefixes, its other
/// match components as packed words (RFC 8955 section 4.2), and the interface sets it is bound to.
///
/// A plain value: compared, ordered, hashed, printed and parsed; copies are deep, a moved-from key
/// equals a default one. Nothing is allocated for up to 8 words and 4 interface sets. A key is not
/// to be changed while another thread uses it.
///
/// Words are expected at dense indices from 0, the terms of a component one after the other. Holes
/// can be made and are kept; they print as terms of type `invalid`, and words after index
/// `matchOpVals() - 1` are not walked. Index 2047 can be stored, compared and hashed, but a key
/// that uses it cannot be walked to its end: 2047 words is the usable size.
class OSK_EXPORT FlowspecKey {
public:
   static constexpr std::string_view typeName = "Flowspec::FlowspecKey";
   static constexpr std::size_t rowCount = 29;
   static const Vek::TypeInfo& typeInfo();

   using Order = FlowspecKeyOrder; ///< of collections, instead of `<`
   using VekMatchOpVal = TermWords;
   using VE_InterfaceSet = Vek::SmallVector< U16, 4 >;
   using FilterPtr = Vek::Ptr< const Classification::StructuredFilter >;

   /// Separates the fields of the text forms.
   static constexpr char compSeparator() { return ';'; }
   static constexpr char compEnd() { return ':'; }
   static constexpr std::string_view cliStrRdAnchor() { return "RD:"; }
   static constexpr std::string_view cliStrRdDetail() { return "Route Distinguisher: "; }

   /// No VRF, no family, empty prefixes, no words, no interface sets.
   FlowspecKey() = default;
   /// A key has no generic text form: the assertion "\"No String constructor for FlowspecKey - has
   /// collection\" == nullptr" fails. Use the `copyIn...` operations.
   explicit FlowspecKey( const Vek::String& text );
   FlowspecKey( const FlowspecKey& ) = default;
   FlowspecKey& operator=( const FlowspecKey& ) = default;
   FlowspecKey( FlowspecKey&& other ) noexcept;
   FlowspecKey& operator=( FlowspecKey&& other ) noexcept;
   ~FlowspecKey() = default;

   Vrf::VrfIdMap::VrfId vrfId() const { return head_.vrfId; }
   void vrfIdIs( Vrf::VrfIdMap::VrfId vrfId ) { head_.vrfId = vrfId; }

   Zorv::AddressFamily addressFamily() const { return head_.addressFamily; }
   void addressFamilyIs( Zorv::AddressFamily family ) { head_.addressFamily = family; }

   /// The empty prefix stands for any address.
   const Zorv::IpGenPrefix& destPrefix() const { return head_.destPrefix; }
   void destPrefixIs( const Zorv::IpGenPrefix& prefix ) {
      head_.destPrefix = prefix;
      head_.destPrefixHash = prefixHash( prefix );
   }

   const Zorv::IpGenPrefix& srcPrefix() const { return head_.srcPrefix; }
   void srcPrefixIs( const Zorv::IpGenPrefix& prefix ) {
      head_.srcPrefix = prefix;
      head_.srcPrefixHash = prefixHash( prefix );
   }

   /// All words, in the order of their indices.
   const VekMatchOpVal& matchOpVal() const { return words_; }
   /// The number of words.
   U32 matchOpVals() const { return words_.size(); }
   /// The word at `index`, or the all-zero word when there is none.
   MatchOpVal matchOpVal( MatchOpValIndex index ) const;
   /// The word at `index`, if there is one.
   std::optional< MatchOpVal > matchOpValGet( MatchOpValIndex index ) const;
   /// Inserts the word at `index`, or replaces the one that is there.
   void matchOpValIs( MatchOpValIndex index, MatchOpVal word ) { words_.set( index, word ); }
   /// Removes the word at `index`, if there is one.
   void matchOpValDel( MatchOpValIndex index ) { words_.erase( index ); }
   void matchOpValDelAll() { words_.clear(); }
   /// Replaces all words by these, at the indices from 0 on.
   void matchOpValsAre( std::span< const U32 > words ) {
      U64* at = words_.assign( static_cast< U32 >( words.size() ) );
      for ( U64 index = 0; index < words.size(); ++index ) {
         *at++ = index << 32 | words[index];
      }
   }

   /// Stores one term at `index`: one word, or two when the length code of `op` says 4 bytes, and
   /// returns the next index. `op` is stored unchanged; `value` is cut to the length that `op`
   /// says. A next index above 2047 raises the range exception of `MatchOpValIndex` after the words
   /// were stored; the length code for 8 bytes fails the assertion "byteLength < 8".
   U32 setOpVal( MatchOpValIndex index, MatchCompType type, U8 op, U32 value );

   /// The same for input that is not trusted: nothing instead of the exception (the words that fit
   /// are stored all the same) and instead of the assertion (nothing is stored).
   std::optional< U32 > trySetOpVal( MatchOpValIndex index, MatchCompType type, U8 op, U32 value ) {
      const U8 len = op & OpBits::len;
      if ( len == OpBits::len ) [[unlikely]] {
         return std::nullopt;
      }
      U32 next = index.value();
      if ( len == 0x20 ) [[unlikely]] {
         words_.set( next++, MatchOpVal( type, op, static_cast< U16 >( value >> 16 ) ) );
      }
      if ( next <= MatchOpValIndex::max() ) [[likely]] {
         const U32 mask = len == 0x00 ? 0xFF : 0xFFFF;
         words_.set( next, MatchOpVal( type, op, static_cast< U16 >( value & mask ) ) );
      }
      ++next;
      return next <= MatchOpValIndex::max() ? std::optional( next ) : std::nullopt;
   }

   /// The term that begins at `index`; the terminator when `index` is not below `matchOpVals()`,
   /// and a term of type `invalid` at a hole. Raises the range exception of `MatchOpValIndex` when
   /// the term would end above 2047. A word that says 8 bytes fails the assertion "byteLength < 8",
   /// a 4-byte value without its second half "index < matchOpVals()".
   ///
   /// To walk a key: begin at 0 and continue at `nextIndex()` until the result `isEnd()`.
   MatchOpValResult getOptVal( MatchOpValIndex index ) const;

   /// The identifiers of the interface sets, in the order in which they were added.
   const VE_InterfaceSet& interfaceSet() const { return interfaceSets_; }
   /// The number of interface sets.
   U32 interfaceSets() const { return interfaceSets_.size(); }
   /// The identifier at `position`; `Vek::VectorRangeException` when there is none.
   U16 interfaceSet( U64 position ) const { return interfaceSets_[position]; }
   /// Overwrites the identifier at `position`; `Vek::VectorRangeException` when there is none.
   void interfaceSetIs( U64 position, U16 id ) { interfaceSets_.set( position, id ); }
   void interfaceSetPush( U16 id ) { interfaceSets_.push( id ); }
   /// Removes the last identifier and returns it; `Vek::EmptyVectorException` when there is none.
   U16 interfaceSetPop() { return interfaceSets_.pop(); }
   void interfaceSetPopAll() { interfaceSets_.clear(); }

   /// Equality, without the interface sets when `skipIntfSet` is set.
   bool compare( const FlowspecKey& other, bool skipIntfSet ) const;
   bool isEq( const FlowspecKey& other ) const { return compare( other, false ); }
   bool operator==( const FlowspecKey& other ) const { return compare( other, false ); }

   /// The order by VRF, family, destination, source (`cmpPrefix`), words, interface sets. A key
   /// whose words extend the other's is less than it, whatever the interface sets; the shorter one
   /// is then decided by the interface sets alone. So two keys can each be less than the other:
   /// collections and sorts use `FlowspecKeyOrder` instead.
   bool operator<( const FlowspecKey& other ) const;

   /// The order of prefixes in keys, -1, 0 or 1: a prefix before the empty one, else by value.
   static int cmpPrefix( const Zorv::IpGenPrefix& a, const Zorv::IpGenPrefix& b );

   /// A hash over all attributes; equal keys have equal hashes in all processes of one version.
   U32 hash() const;

   /// What a prefix adds to the hash: 0 when it is empty, else its address (the host-order integer
   /// for IPv4, its hash for IPv6) XOR its length, mixed.
   static U32 prefixHash( const Zorv::IpGenPrefix& prefix );

   /// True when the key differs from a default one.
   explicit operator bool() const { return *this != FlowspecKey(); }

   /// Assigns all attributes of `other`.
   void copyIn( const FlowspecKey& other ) { *this = other; }

   /// The command-line form of the match components:
   /// "10.1.0.0/16;*;IP:=6;DP:=80|=443;", or "10.1.0.0/16;*;IP:=0L6;DP:=1L80|=1L443;" with value
   /// lengths. Here and in the forms below a word of a type above 13 fails the assertion
   /// "compType < numComponentTypes", and the walk fails as `getOptVal` does.
   Vek::String toStrepCli( bool includeValueLength ) const;
   /// The same after "RD:", the distinguisher and ";".
   Vek::String toStrepCliWithRd( const Zorv::RouteDistinguisher& rd,
                                 bool includeValueLength ) const;
   /// "Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;".
   Vek::String toStrepCliDetail() const;
   /// The same after "Route Distinguisher: ", the distinguisher and ";".
   Vek::String toStrepCliDetailWithRd( const Zorv::RouteDistinguisher& rd ) const;
   /// The value form: VRF, family, interface sets and the command-line form with value lengths,
   /// "5;ipv4;IFSET:=3;10.1.0.0/16;*;IP:=0L6;".
   Vek::String stringValue() const;
   /// The diagnostic form, with the raw words: "5;ipv4;IFSET:=3;10.1.0.0/16;;58785798;". Never
   /// fails but for a key of more than 2047 words, which raises the range exception.
   Vek::String toStrep() const;

   // The same forms appended to `out`; nothing is allocated when its capacity suffices.
   void appendStrepCli( Vek::String& out, bool includeValueLength ) const;
   void appendStrepCliDetail( Vek::String& out ) const;
   void appendStringValue( Vek::String& out ) const;
   void appendStrep( Vek::String& out ) const;

   /// Reads the command-line form into this key: prefixes, words from index 0 on. True when all of
   /// `text` was read. Otherwise the reason is traced at level 2, and what was read stays in the
   /// key. Nothing is cleared first. A number cut to 1 byte by its length stays in the key cut; a
   /// value length of 8 bytes and a term beyond index 2047 fail as `setOpVal` does.
   bool copyInStrCli( std::string_view text, bool includesValueLength );
   /// The same from the character at `offset` on.
   bool copyInStrCliAtOffset( std::string_view text, U32 offset, bool includesValueLength );
   /// The same after "RD:", a distinguisher and ";". Returns the distinguisher, or the zero one
   /// for failure.
   Zorv::RouteDistinguisher copyInStrCliWithRd( std::string_view text, bool includesValueLength );
   /// Reads the value form. Malformed text fails an assertion; a VRF that is no number raises the
   /// exceptions of `std::stol`.
   void copyInStringValue( std::string_view text );
   /// Assigns the key of a diagnostic form, with or without "@" at its end.
   /// `Vek::RangeException` when the text is none; the key is then unchanged.
   void copyInStr( std::string_view text );

   /// Replaces prefixes and words by what a packet filter says; the other attributes stay. The
   /// filter is not null and is only read. A key cannot hold every filter: of two prefixes on one
   /// side it takes the first, and which criterion went with which protocol is lost. A filter that
   /// takes more than 2047 words raises the range exception of `MatchOpValIndex`, and those that
   /// were written stay. Each term is traced at level 8.
   void copyInStructuredFilter( const FilterPtr& filter );

   // The same for one criterion each: appends its words from `index` on and returns the next index.
   // The words of a component are in the ascending order of the filter's ranges or flags.
   MatchOpValIndex copyInStructuredFilterProto( const FilterPtr& filter, MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterDestPort( const FilterPtr& filter, MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterSourcePort( const FilterPtr& filter,
                                                     MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterIcmpType( const FilterPtr& filter, MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterIcmpCode( const FilterPtr& filter, MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterTcpFlags( const FilterPtr& filter, MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterPacketLength( const FilterPtr& filter,
                                                       MatchOpValIndex index );
   MatchOpValIndex copyInStructuredFilterDscp( const FilterPtr& filter, MatchOpValIndex index );

private:
   friend OSK_EXPORT void logRead( Vek::LogReader& in, FlowspecKey& key );

   // Compared as memory; the padding is there to be equal. The hashes of the prefixes are kept, as
   // keys are hashed more often than their prefixes are set.
   struct Head {
      Vrf::VrfIdMap::VrfId vrfId = Vrf::VrfIdMap::invalid();
      Zorv::AddressFamily addressFamily = Zorv::AddressFamily::none;
      U8 padding[3] = {};
      U32 destPrefixHash = 0;
      U32 srcPrefixHash = 0;
      Zorv::IpGenPrefix destPrefix;
      Zorv::IpGenPrefix srcPrefix;
      U8 morePadding[4] = {};
   };
   static_assert( sizeof( Head ) == 56 && std::has_unique_object_representations_v< Head > );

   Head head_;
   VekMatchOpVal words_;
   VE_InterfaceSet interfaceSets_;
};

/// The order for collections of rule keys, for sorts and for dirty-key sets: a strict total order
/// that agrees with `==`. By VRF, family, destination and source (`cmpPrefix`), then the words
/// pairwise by index and value, a list that extends another being less than it, then the interface
/// sets. Every pair that it orders is ordered the same way by `operator<` of the key.
struct OSK_EXPORT FlowspecKeyOrder {
   bool operator()( const FlowspecKey& a, const FlowspecKey& b ) const {
      return compare( a, b ) < 0;
   }

   /// Below, equal to or above 0 when `a` is before, equal to or after `b`.
   static int compare( const FlowspecKey& a, const FlowspecKey& b );

   /// The beginning of a key as a string of bits: keys with different ones are ordered as these
   /// are. Within a VRF it holds the prefixes and two or three words of an IPv4 rule.
   static Vek::KeyPrefix keyPrefix( const FlowspecKey& key );
};

/// Writes the command-line form; the state of the stream does not matter.
OSK_EXPORT void flowspecKeyComponentsStrepCli( std::ostream& out, const FlowspecKey& key,
                                               bool includeValueLength );
/// Writes the detail form.
OSK_EXPORT void flowspecKeyComponentsStrepCliDetail( std::ostream& out, const FlowspecKey& key );
/// Writes "IFSET:=3,17;", or nothing when the key has no interface sets.
OSK_EXPORT void flowspecKeyInterfaceSetStrep( std::ostream& out, const FlowspecKey& key );
/// Writes the value form.
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const FlowspecKey& key );

/// The runtime's value text of a key: the diagnostic form and "@".
OSK_EXPORT Vek::String valueToStrep( const FlowspecKey& key );
/// Takes a value text, up to and including "@" or to the end. `Vek::RangeException` when it is
/// none; the key is then unchanged.
OSK_EXPORT void sequenceToValue( Vek::CharRange& range, FlowspecKey* key );

// In the attribute log: VRF and family as U32, the prefixes, the words in the order of their
// indices, each a U16 index and a U32, after them a U16 2047, then a U32 count and the interface
// sets as U16. A key with a word at index 2047 raises `Vek::DefaultKeyException`. When the
// reader raises something the key holds part of what was read.
OSK_EXPORT std::size_t logSize( const FlowspecKey& key );
OSK_EXPORT void logWrite( Vek::LogWriter& out, const FlowspecKey& key );
OSK_EXPORT void logRead( Vek::LogReader& in, FlowspecKey& key );

/// Appends the identifiers of an interface-set text, "IFSET:=3,17;", to the key and returns the
/// position of the ";". Malformed text, or an identifier above 16383, fails an assertion.
OSK_EXPORT std::size_t flowspecKeyCopyInInterfaceSet( std::string_view text, FlowspecKey& key );

} // namespace Flowspec

template <>
struct std::hash< Flowspec::FlowspecKey > {
   std::size_t operator()( const Flowspec::FlowspecKey& key ) const { return key.hash(); }
};
