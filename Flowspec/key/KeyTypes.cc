#include "Classification/StructuredFilter.h"
#include "Flowspec/key/FlowspecKey.h"
#include "Vek/types/ValueInfo.h"

/// The words of a rule key as any other map.
template <>
struct Vek::CollectionAccess< Flowspec::TermWords > {
   using Key = Flowspec::MatchOpValIndex;
   using Value = Flowspec::MatchOpVal;
   using Order = Vek::KeyOrder< Key >;

   static U32 size( const Flowspec::TermWords& words ) { return words.size(); }
   static const void* find( const Flowspec::TermWords& words, Key index ) {
      // The word is the lower half of its member.
      constexpr std::size_t half = std::endian::native == std::endian::little ? 0 : 1;
      const auto* const member = words.find( index );
      return member ? reinterpret_cast< const U32* >( member ) + half : nullptr;
   }
   static void visit( const Flowspec::TermWords& words, const MemberVisitor& visitor ) {
      for ( const auto [index, word] : words ) {
         visitor( &index, &word );
      }
   }
};

namespace Flowspec {

namespace {

using K = FlowspecKey;
using Vek::constant;
using Vek::operation;
using Vek::property;

constexpr auto words = static_cast< const TermWords& (K::*)() const >( &K::matchOpVal );
constexpr auto interfaceSets =
   static_cast< const K::VE_InterfaceSet& (K::*)() const >( &K::interfaceSet );

constexpr Vek::Rows rows{
   property< &K::vrfId, &K::vrfIdIs >( 2, "vrfId" ).as( "Vrf::VrfIdMap::VrfId" ),
   property< &K::addressFamily, &K::addressFamilyIs >( 3, "addressFamily" ),
   property< &K::destPrefix, &K::destPrefixIs >( 4, "destPrefix" ),
   property< &K::srcPrefix, &K::srcPrefixIs >( 5, "srcPrefix" ),
   Vek::coll< words, &K::matchOpValIs, &K::matchOpValDel >( 6, "matchOpVal" ),
   Vek::coll< interfaceSets, &K::interfaceSetIs, nullptr >( 7, "interfaceSet" ),
   constant< &K::compSeparator >( 8, "compSeparator" ),
   constant< &K::compEnd >( 9, "compEnd" ),
   constant< &K::cliStrRdAnchor >( 10, "cliStrRdAnchor" ),
   constant< &K::cliStrRdDetail >( 11, "cliStrRdDetail" ),
   operation< &K::setOpVal >( 12, "setOpVal", "index", "type", "op", "value" ),
   operation< &K::getOptVal >( 13, "getOptVal", "index" ),
   operation< &K::interfaceSetPush >( 14, "interfaceSetPush", "id" ),
   operation< &K::interfaceSetPop >( 15, "interfaceSetPop" ),
   operation< &K::interfaceSetPopAll >( 16, "interfaceSetPopAll" ),
   operation< &K::toStrepCli >( 17, "toStrepCli", "includeValueLength" ),
   operation< &K::toStrepCliWithRd >( 18, "toStrepCliWithRd", "rd", "includeValueLength" ),
   operation< &K::toStrepCliDetail >( 19, "toStrepCliDetail" ),
   operation< &K::toStrepCliDetailWithRd >( 20, "toStrepCliDetailWithRd", "rd" ),
   operation< &K::copyInStrCliAtOffset >( 21, "copyInStrCliAtOffset", "text", "offset",
                                          "includesValueLength" ),
   operation< &K::copyInStrCli >( 22, "copyInStrCli", "text", "includesValueLength" ),
   operation< &K::copyInStrCliWithRd >( 23, "copyInStrCliWithRd", "text", "includesValueLength" ),
   operation< &K::copyInStringValue >( 24, "copyInStringValue", "text" ),
   operation< &K::copyInStr >( 25, "copyInStr", "text" ),
   operation< &K::copyInStructuredFilter >( 26, "copyInStructuredFilter", "filter" ),
   operation< &K::compare >( 27, "compare", "other", "skipIntfSet" ),
   operation< &K::hash >( 28, "hash" ),
   operation< &K::toStrep >( 29, "toStrep" ),
   operation< &K::stringValue >( 30, "stringValue" ),
};

} // namespace

const Vek::TypeInfo& FlowspecKey::typeInfo() {
   static constexpr Vek::TypeInfo info = Vek::valueInfo< FlowspecKey, rows >();
   return info;
}

} // namespace Flowspec
