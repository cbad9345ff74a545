#include "Flowspec/vocab/FlowspecUtil.h"

#include "Flowspec/vocab/InterfaceSetId.h"
#include "Osk/Assert.h"

#include <algorithm>

namespace Flowspec {

namespace {

constexpr DscpName dscpTable[] = {
   { 0, "cs0" },   { 8, "cs1" },   { 10, "af11" }, { 12, "af12" }, { 14, "af13" }, { 16, "cs2" },
   { 18, "af21" }, { 20, "af22" }, { 22, "af23" }, { 24, "cs3" },  { 26, "af31" }, { 28, "af32" },
   { 30, "af33" }, { 32, "cs4" },  { 34, "af41" }, { 36, "af42" }, { 38, "af43" }, { 40, "cs5" },
   { 46, "ef" },   { 48, "cs6" },  { 56, "cs7" },
};
static_assert( std::ranges::is_sorted( dscpTable, {}, &DscpName::value ) );

constexpr std::string_view statusTexts[] = {
   "Not processed",
   "Programmed",
   "Programmed with some failures",
   "Unsupported Match",
   "Unsupported TCAM Profile",
   "Unsupported Action",
   "Resource Exhausted",
   "Interface-set Resource Exhausted",
};
static_assert( std::size( statusTexts ) == std::size( hwRuleProgrammingStatusRows ) );

} // namespace

Vek::String FlowspecUtil::compTypeToLabel( MatchCompType compType ) {
   OSK_ASSERT( static_cast< U8 >( compType ) < numComponentTypes, "compType < numComponentTypes" );
   return Vek::String( componentType( compType ).label );
}

Vek::String FlowspecUtil::compTypeToDetailLabel( MatchCompType compType ) {
   OSK_ASSERT( static_cast< U8 >( compType ) < numComponentTypes, "compType < numComponentTypes" );
   return Vek::String( componentType( compType ).detailLabel );
}

Vek::String FlowspecUtil::dscpMeaningFromValue( U32 value ) {
   const auto row = std::ranges::lower_bound( dscpTable, value, {}, &DscpName::value );
   return row != std::end( dscpTable ) && row->value == value ? Vek::String( row->name ) : "";
}

std::span< const DscpName > FlowspecUtil::dscpNames() { return dscpTable; }

Vek::String FlowspecUtil::findInterfaceSet( std::string_view text ) {
   const std::size_t begin = text.find( interfaceSetAnchor );
   if ( begin == std::string_view::npos ) {
      return "";
   }
   const std::size_t end = text.find( ';', begin );
   if ( end == std::string_view::npos ) {
      return "";
   }
   return Vek::String( text.substr( begin, end + 1 - begin ) );
}

Vek::String FlowspecUtil::statusCodeToStrep( HwRuleProgrammingStatus statusCode ) {
   const U8 number = static_cast< U8 >( statusCode );
   OSK_ASSERT( number < std::size( statusTexts ), "false && \"Unexpected status code\"" );
   return Vek::String( statusTexts[number] );
}

} // namespace Flowspec
