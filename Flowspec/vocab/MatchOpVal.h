#pragma once

#include "Flowspec/vocab/MatchCompType.h"

#include <compare>

namespace Flowspec {

/// The bits of an operator byte (RFC 8955 sections 4.2.1.1 and 4.2.1.2). The lowest two have one
/// reading for numeric and another for bitmask components.
struct OpBits {
   static constexpr U8 endOfList = 0x80;
   static constexpr U8 andPrevious = 0x40;
   static constexpr U8 len = 0x30;
   static constexpr U8 lt = 0x04;
   static constexpr U8 gt = 0x02;
   static constexpr U8 eq = 0x01;
   static constexpr U8 invert = 0x02;
   static constexpr U8 match = 0x01;
};

/// The flags that a type with an operator byte `op()` reads from it.
template < typename T >
class OpFlags {
public:
   /// Last term of its component.
   constexpr bool endOfList() const { return op() & OpBits::endOfList; }
   /// AND with the previous term; OR when clear.
   constexpr bool andPrevious() const { return op() & OpBits::andPrevious; }
   /// Value length code, 0 to 3: the value has 1 << len bytes.
   constexpr U8 len() const { return ( op() & OpBits::len ) >> 4; }
   constexpr bool lt() const { return op() & OpBits::lt; }
   constexpr bool gt() const { return op() & OpBits::gt; }
   constexpr bool eq() const { return op() & OpBits::eq; }
   /// Bitmask reading of the bit of `gt`: the logical negation of the test.
   constexpr bool invert() const { return op() & OpBits::invert; }
   /// Bitmask reading of the bit of `eq`: all bits must match, not just any.
   constexpr bool match() const { return op() & OpBits::match; }
   /// Length of the value: 1, 2, 4 or 8 bytes.
   constexpr U8 byteLength() const { return static_cast< U8 >( 1U << len() ); }

   constexpr auto operator<=>( const OpFlags& ) const = default;

private:
   constexpr U8 op() const { return static_cast< const T& >( *this ).op(); }
};

/// One term of a component packed into 32 bits: type, operator byte as it is in the NLRI, and
/// 16 bits of value. A term with a 4-byte value takes two consecutive words of the same type and
/// operator, the high half first; 8-byte values are not supported.
class OSK_EXPORT MatchOpVal : public OpFlags< MatchOpVal > {
public:
   static constexpr std::string_view typeName = "Flowspec::MatchOpVal";
   static const Vek::TypeInfo& typeInfo();

   constexpr MatchOpVal() = default;
   constexpr explicit MatchOpVal( U32 storage ) : storage_( storage ) {}
   constexpr MatchOpVal( MatchCompType type, U8 op, U16 val )
      : storage_( U32{ static_cast< U8 >( type ) } << 24 | U32{ op } << 16 | val ) {}

   /// The packed word: type in bits 31 to 24, operator in 23 to 16, value in 15 to 0.
   constexpr U32 storage() const { return storage_; }
   constexpr MatchCompType matchType() const {
      return static_cast< MatchCompType >( storage_ >> 24 );
   }
   constexpr U8 op() const { return static_cast< U8 >( storage_ >> 16 ); }
   constexpr U16 val() const { return static_cast< U16 >( storage_ ); }

   /// "<matchType=destPort;andPrevious=0;lt=0;gt=0;eq=1;invert=0;match=1;byteLength=2;val=0x1bb>".
   Vek::String toStrep() const;

   constexpr auto operator<=>( const MatchOpVal& ) const = default;

private:
   U32 storage_ = 0;
};

/// The position of a word in a rule key, 0 to 2047. The default, 2047, ends the walk of a key.
class OSK_EXPORT MatchOpValIndex {
public:
   static constexpr std::string_view typeName = "Flowspec::MatchOpValIndex";
   static const Vek::TypeInfo& typeInfo();

   static constexpr U16 min() { return 0; }
   static constexpr U16 max() { return 2047; }

   constexpr MatchOpValIndex() = default;

   /// Converts implicitly, as indices are threaded through calls. Above `max()`:
   /// `Vek::RangeException` "Flowspec::MatchOpValIndex::value < Flowspec::MatchOpValIndex::min or >
   /// Flowspec::MatchOpValIndex::max not allowed".
   constexpr MatchOpValIndex( U64 value ) : value_( static_cast< U16 >( value ) ) {
      if ( value > max() ) [[unlikely]] {
         throwOutOfRange();
      }
   }

   constexpr U16 value() const { return value_; }

   /// The number in decimal.
   Vek::String stringValue() const { return Vek::concat( value_ ); }

   constexpr auto operator<=>( const MatchOpValIndex& ) const = default;

   [[noreturn]] static void throwOutOfRange();

private:
   U16 value_ = max();
};

/// Takes a decimal number; `Vek::RangeException` when there is none, or one above 2047 (with the
/// message of the constructor).
OSK_EXPORT void sequenceToValue( Vek::CharRange& range, MatchOpValIndex* value );

/// One whole term of a rule key: what the walk of a key yields.
class OSK_EXPORT MatchOpValResult : public OpFlags< MatchOpValResult > {
public:
   static constexpr std::string_view typeName = "Flowspec::MatchOpValResult";
   static const Vek::TypeInfo& typeInfo();

   /// The terminator of a walk: all zero, `nextIndex` 2047.
   constexpr MatchOpValResult() = default;
   constexpr MatchOpValResult( MatchCompType matchType, U8 op, U32 val32,
                               MatchOpValIndex nextIndex )
      : val32_( val32 ), nextIndex_( nextIndex ), matchType_( matchType ), op_( op ) {}

   constexpr MatchCompType matchType() const { return matchType_; }
   constexpr U8 op() const { return op_; }
   /// The value, with the two halves of a 4-byte value joined.
   constexpr U32 val32() const { return val32_; }
   /// Where the next term begins.
   constexpr MatchOpValIndex nextIndex() const { return nextIndex_; }

   /// Whether this is the terminator of a walk.
   constexpr bool isEnd() const { return *this == MatchOpValResult(); }

   /// "<matchType=destPort;andPrevious=0;...;match=1;nextIndex=1;val32=0x1bb>".
   Vek::String toStrep() const;

   /// Writes the term in the command-line form, such as ";DP:=443" when it begins a component and
   /// "|=443" or "&=443" when it does not; "=1L443" with value lengths. The state of the stream
   /// does not matter. A type above 13 fails the assertion "compType < numComponentTypes".
   void formatForCli( std::ostream& out, bool newComponent, bool includeValueLength ) const;

   /// Writes the term in the detail form, such as ";Destination Port: =443" or " | =443", and
   /// ";TCP Flags: ANY(SYN:1)" for a bitmask; the same assertion.
   void formatForCliDetail( std::ostream& out, bool newComponent ) const;

   constexpr bool operator==( const MatchOpValResult& ) const = default;

private:
   U32 val32_ = 0;
   MatchOpValIndex nextIndex_;
   MatchCompType matchType_ = invalid;
   U8 op_ = 0;
};

} // namespace Flowspec
