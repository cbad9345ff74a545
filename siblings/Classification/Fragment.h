#pragma once

#include "Vek/text/Enum.h"
#include "Vek/types/Ptr.h"

namespace Classification {

/// Which packets a filter takes by their fragmentation.
enum class FragmentType : U8 {
   anyFragment = 0, ///< the first fragment and all others, but no whole packet
   firstFragment = 1,
   nonFirstFragment = 2,
   notFragment = 3, ///< whole packets only
};

inline constexpr Vek::Enumerator fragmentTypeRows[] = {
   { 0, "anyFragment" }, { 1, "firstFragment" }, { 2, "nonFirstFragment" }, { 3, "notFragment" } };
static_assert( Vek::enumeratorsAreDense( fragmentTypeRows ) );

inline constexpr Vek::EnumInfo fragmentTypeInfo{ "Classification::FragmentType", fragmentTypeRows };

constexpr const Vek::EnumInfo& enumInfo( FragmentType ) { return fragmentTypeInfo; }

using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

/// The fragment type with a number or a name; `Vek::RangeException` when there is none.
inline FragmentType FragmentTypeInstance( U64 number ) {
   return Vek::enumInstance< FragmentType >( number );
}
inline FragmentType FragmentTypeInstance( std::string_view name ) {
   return Vek::enumInstance< FragmentType >( name );
}

/// The fragment criterion of a filter; counted, as filters share it, and never changed.
class OSK_EXPORT Fragment final : public Vek::Counted {
public:
   FragmentType fragmentType() const { return fragmentType_; }

   friend Vek::Ptr< Fragment > Vek::make< Fragment >( Classification::FragmentType& fragmentType );

private:
   explicit Fragment( FragmentType fragmentType ) : fragmentType_( fragmentType ) {}
   ~Fragment() override;

   FragmentType fragmentType_;
};

/// A new criterion.
OSK_EXPORT Vek::Ptr< const Fragment > fragmentFactory( FragmentType fragmentType );

} // namespace Classification
