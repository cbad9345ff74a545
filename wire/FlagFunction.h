#pragma once

#include "Osk/Types.h"

#include <vector>

namespace Wire {

/// Which combinations of some flags are admitted: a truth table, so that two of them are equal when
/// they admit the same. Combination `c` has flag `f` set when bit `f` of `c` is.
class OSK_EXPORT FlagFunction {
public:
   /// Admits each combination of the lowest `flags` flags, 12 at the most, or none.
   FlagFunction( unsigned flags, bool all );

   /// Admits where any of the flags in `mask` is set; those that are not among the function's are
   /// never set.
   static FlagFunction any( unsigned flags, U32 mask );
   /// Admits where all of the flags in `mask` are set.
   static FlagFunction all( unsigned flags, U32 mask );

   unsigned flags() const { return flags_; }
   bool admits( U32 combination ) const { return words_[combination / 64] >> combination % 64 & 1; }
   bool admitsAll() const { return *this == FlagFunction( flags_, true ); }
   bool admitsNone() const { return *this == FlagFunction( flags_, false ); }

   FlagFunction& operator&=( const FlagFunction& other );
   FlagFunction& operator|=( const FlagFunction& other );
   FlagFunction operator~() const;

   bool operator==( const FlagFunction& ) const = default;

   /// A conjunction: the flags of `set` are set, those of `clear` are not.
   struct Cube {
      U16 set = 0;
      U16 clear = 0;
      bool operator==( const Cube& ) const = default;
   };

   /// Conjunctions of which at least one holds for each admitted combination and none for another;
   /// without any of them that is no longer so. The same for equal functions.
   std::vector< Cube > cubes() const;

private:
   // Admits where one flag is set.
   static FlagFunction flag( unsigned flags, unsigned flag );

   unsigned flags_;
   std::vector< U64 > words_;
};

} // namespace Wire
