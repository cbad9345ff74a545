#pragma once

#include "Flowspec/vocab/MatchCompType.h"

#include <compare>

namespace Flowspec {

/// An inclusive interval of unsigned numbers: protocols, ports, lengths and the like. A plain
/// value, ordered by its lower, then its upper bound.
///
/// Construction admits the bound `invalidValue()`, the algebra does not: a range with such a bound
/// is not valid, contains nothing, and is what the algebra returns for no result.
class OSK_EXPORT NumericalRange {
public:
   static constexpr std::string_view typeName = "Flowspec::NumericalRange";
   static const Vek::TypeInfo& typeInfo();

   static constexpr U32 min() { return 0; }
   /// One above the largest 24-bit value: the bound of a range that is not valid.
   static constexpr U32 invalidValue() { return 16777216; }

   /// The invalid range, `[invalidValue, invalidValue]`.
   constexpr NumericalRange() = default;

   /// The range of the two bounds. `Vek::RangeException` when they are upside down or above
   /// `invalidValue()`, in this order:
   /// - "Flowspec::NumericalRange::rangeMin > rangeMax_ not allowed"
   /// - "Flowspec::NumericalRange::rangeMin < Flowspec::NumericalRange::min or >
   ///   Flowspec::NumericalRange::invalidValue not allowed"
   /// - the same with `rangeMax` as its subject
   NumericalRange( U64 rangeMin, U64 rangeMax );

   constexpr U32 rangeMin() const { return rangeMin_; }
   constexpr U32 rangeMax() const { return rangeMax_; }

   /// Whether both bounds are below `invalidValue()`.
   constexpr bool isValid() const {
      return rangeMin_ < invalidValue() && rangeMax_ < invalidValue();
   }

   /// Whether `value` lies in the range; false for a range that is not valid.
   constexpr bool contains( U32 value ) const {
      return isValid() && rangeMin_ <= value && value <= rangeMax_;
   }

   /// Whether the ranges share a value. Both must be valid: the assertion
   /// "isValid() && otherRange.isValid()" holds for this and the two operations below.
   bool isRangeOverlap( const NumericalRange& otherRange ) const;

   /// The common part, or the invalid range when there is none.
   NumericalRange rangeIntersection( const NumericalRange& otherRange ) const;

   /// The interval that covers two ranges which share a value, or the invalid range when they do
   /// not: ranges that only touch are not joined.
   NumericalRange rangeUnion( const NumericalRange& otherRange ) const;

   /// The largest value that the field of a numeric component has (`ComponentType::maximum`); 255
   /// for `invalid`. Other types fail the assertion "!isBitfieldType( matchCompType ) &&
   /// matchCompType != destPrefix() && matchCompType != srcPrefix()".
   static U32 matchCompTypeMax( MatchCompType matchCompType );

   /// "[ 80, 443 ]".
   Vek::String toStrep() const;

   U32 hash() const;

   constexpr auto operator<=>( const NumericalRange& ) const = default;

private:
   static NumericalRange built( U32 rangeMin, U32 rangeMax );

   U32 rangeMin_ = invalidValue();
   U32 rangeMax_ = invalidValue();
};

} // namespace Flowspec
