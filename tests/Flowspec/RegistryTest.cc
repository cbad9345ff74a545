#include "Vek/TypeRegistry.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

/// A type as it is declared, each row as "id kind name type". The type of a keyed collection is
/// "key -> member", that of a set its element, that of an operation its parameters and "-> result".
struct Type {
   std::string_view name;
   std::string_view kind;
   std::vector< Vek::String > rows;
};

const std::vector< Type > flowspecDalb = {
   { "Flowspec::Config",
     "root",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity",
       "258 collection enabledIntf Zorv::IntfId",
       "259 children vrfRuleConfig U32 -> Flowspec::VrfRuleConfig",
       "260 attribute twoColorCounterEnabled bool",
       "261 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::CliConfig",
     "root",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity",
       "258 collection enabledIntf Zorv::IntfId -> Flowspec::InterfaceEnableConfig",
       "259 attribute counterUpdateRequestTime Vek::Duration",
       "260 collection intfInterfaceSetConfig Zorv::IntfId -> "
       "Flowspec::FlowspecIntfInterfaceSetConfig",
       "261 collection sourceVrfOverride Zorv::IntfId -> Vek::String",
       "262 attribute interfaceSetCountLimit U32", "263 attribute isConfigDriven bool" } },
   { "Flowspec::Status",
     "root",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity",
       "258 children vrfRuleStatus U32 -> Flowspec::VrfRuleStatus",
       "259 attribute counterUpdateTime Vek::Duration", "260 attribute flowspecSupported bool",
       "261 collection unsupportedQual Zorv::AddressFamily -> Flowspec::UnsupportedQual",
       "262 children interfaceSet U16 -> Flowspec::InterfaceSet",
       "263 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::Counter",
     "root",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity",
       "258 collection snapshot Flowspec::FlowspecKey -> Flowspec::CounterVersion",
       "259 attribute timestamp Vek::Duration" } },
   { "Flowspec::VrfRuleConfig",
     "child",
     { "257 derived parent Vek::Entity", "258 key vrfId Vrf::VrfIdMap::VrfId",
       "259 children rule Flowspec::FlowspecKey -> Flowspec::RuleConfig",
       "260 children infeasibleRule Flowspec::FlowspecKey -> Flowspec::InfeasibleRule",
       "261 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::RuleConfig",
     "child",
     { "257 derived parent Vek::Entity", "258 key ruleKey Flowspec::FlowspecKey",
       "259 attribute ruleId U64",
       "260 collection matchSet Flowspec::MatchCompType -> Flowspec::MatchComponent",
       "261 attribute actionFieldSet Flowspec::ActionFieldSet",
       "262 attribute trafficAction Flowspec::TrafficAction",
       "263 attribute trafficRedirect Flowspec::TrafficRedirect",
       "264 attribute trafficMarkingDscp Zorv::IpTos", "265 attribute trafficRateLimit float",
       "266 operation infeasibleMatchInMatchSet () -> Flowspec::MatchCompType",
       "267 operation sanitizeMatchSet () -> Flowspec::MatchCompType",
       "268 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::InfeasibleRule",
     "child",
     { "257 derived parent Vek::Entity", "258 key ruleKey Flowspec::FlowspecKey",
       "259 attribute ruleId U64", "260 attribute matchCompType Flowspec::MatchCompType",
       "261 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::VrfRuleStatus",
     "child",
     { "257 derived parent Vek::Entity", "258 key vrfId Vrf::VrfIdMap::VrfId",
       "259 children activeIntfPerAf Zorv::AddressFamily -> Flowspec::AfIntfColl",
       "260 collection intfError Flowspec::IntfErrorKey -> Vek::String",
       "261 children ruleStatus Flowspec::FlowspecKey -> Flowspec::RuleStatus",
       "262 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::RuleStatus",
     "child",
     { "257 derived parent Vek::Entity", "258 key key Flowspec::FlowspecKey",
       "259 key ruleKey Flowspec::FlowspecKey",
       "260 attribute statusCode Flowspec::HwRuleProgrammingStatus",
       "261 attribute errorReason Vek::String",
       "262 attribute coloredCounters QosLib::ColoredCounters", "263 view packetCount U64",
       "264 view byteCount U64", "265 attribute version Osk::UniqueId",
       "266 attribute resolvedNexthopInfo L3::ResolvedNexthopInfo", "267 derived isProgrammed bool",
       "268 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::AfIntfColl",
     "child",
     { "257 derived parent Vek::Entity", "258 key addressFamily Zorv::AddressFamily",
       "259 collection intf Zorv::IntfId" } },
   { "Flowspec::InterfaceSet",
     "child",
     { "257 derived parent Vek::Entity", "258 key interfaceSetId U16",
       "259 collection intf Zorv::IntfId" } },
   { "Flowspec::FlowspecKey",
     "value",
     { "2 attribute vrfId Vrf::VrfIdMap::VrfId",
       "3 attribute addressFamily Zorv::AddressFamily",
       "4 attribute destPrefix Zorv::IpGenPrefix",
       "5 attribute srcPrefix Zorv::IpGenPrefix",
       "6 collection matchOpVal Flowspec::MatchOpValIndex -> Flowspec::MatchOpVal",
       "7 collection interfaceSet U32 -> U16",
       "8 constant compSeparator char",
       "9 constant compEnd char",
       "10 constant cliStrRdAnchor Vek::String",
       "11 constant cliStrRdDetail Vek::String",
       "12 operation setOpVal (index Flowspec::MatchOpValIndex, type Flowspec::MatchCompType, "
       "op U8, value U32) -> U32",
       "13 operation getOptVal (index Flowspec::MatchOpValIndex) -> Flowspec::MatchOpValResult",
       "14 operation interfaceSetPush (id U16)",
       "15 operation interfaceSetPop () -> U16",
       "16 operation interfaceSetPopAll ()",
       "17 operation toStrepCli (includeValueLength bool) -> Vek::String",
       "18 operation toStrepCliWithRd (rd Zorv::RouteDistinguisher, includeValueLength bool) -> "
       "Vek::String",
       "19 operation toStrepCliDetail () -> Vek::String",
       "20 operation toStrepCliDetailWithRd (rd Zorv::RouteDistinguisher) -> Vek::String",
       "21 operation copyInStrCliAtOffset (text Vek::String, offset U32, includesValueLength "
       "bool) -> bool",
       "22 operation copyInStrCli (text Vek::String, includesValueLength bool) -> bool",
       "23 operation copyInStrCliWithRd (text Vek::String, includesValueLength bool) -> "
       "Zorv::RouteDistinguisher",
       "24 operation copyInStringValue (text Vek::String)",
       "25 operation copyInStr (text Vek::String)",
       "26 operation copyInStructuredFilter (filter Classification::StructuredFilter)" } },
   { "Flowspec::MatchOpVal",
     "value",
     { "2 attribute storage U32", "3 derived matchType Flowspec::MatchCompType", "4 derived op U8",
       "5 derived val U16", "6 operation toStrep () -> Vek::String" } },
   { "Flowspec::MatchOpValIndex",
     "value",
     { "2 attribute value U16", "3 constant min U16", "4 constant max U16" } },
   { "Flowspec::MatchOpValResult",
     "value",
     { "2 attribute matchType Flowspec::MatchCompType", "3 attribute op U8",
       "4 attribute val32 U32", "5 attribute nextIndex Flowspec::MatchOpValIndex",
       "6 operation toStrep () -> Vek::String" } },
   { "Flowspec::MatchComponent",
     "value",
     { "2 key compType Flowspec::MatchCompType", "3 attribute prefix Zorv::IpGenPrefix",
       "4 collection numericalRange Flowspec::NumericalRange",
       "5 collection ipBitMask Flowspec::IpBitMask", "6 collection tcpBitMask Flowspec::TcpBitMask",
       "7 operation matchTypePrefix () -> bool", "8 operation matchTypeNumericalRange () -> bool",
       "9 operation matchTypeBitMask () -> bool" } },
   { "Flowspec::NumericalRange",
     "value",
     { "2 attribute rangeMin U32", "3 attribute rangeMax U32", "4 constant min U32",
       "5 constant invalidValue U32", "6 operation isValid () -> bool",
       "7 operation contains (value U32) -> bool",
       "8 operation isRangeOverlap (otherRange Flowspec::NumericalRange) -> bool",
       "9 operation rangeIntersection (otherRange Flowspec::NumericalRange) -> "
       "Flowspec::NumericalRange",
       "10 operation rangeUnion (otherRange Flowspec::NumericalRange) -> Flowspec::NumericalRange",
       "11 operation matchCompTypeMax (matchCompType Flowspec::MatchCompType) -> U32",
       "12 operation toStrep () -> Vek::String" } },
   { "Flowspec::IpBitMask",
     "value",
     { "2 attribute matchAll bool", "3 attribute val U16", "4 attribute mask U16",
       "5 constant supportedIpBits U8", "6 constant lastBit U8", "7 constant maskForAllBits U16",
       "8 operation isValid () -> bool", "9 operation toStrep () -> Vek::String",
       "10 operation toStrepCli () -> Vek::String" } },
   { "Flowspec::TcpBitMask",
     "value",
     { "2 attribute matchAll bool", "3 attribute val U16", "4 attribute mask U16",
       "5 constant supportedTcpBits U8", "6 constant lastBit U8", "7 constant maskForAllBits U16",
       "8 operation toStrep () -> Vek::String", "9 operation toStrepCli () -> Vek::String" } },
   { "Flowspec::TrafficAction",
     "value",
     { "2 attribute sampleAndLog bool", "3 attribute continueMatch bool" } },
   { "Flowspec::TrafficRedirect",
     "value",
     { "2 attribute vrfId Vrf::VrfIdMap::VrfId", "3 attribute type Flowspec::TrafficRedirectType",
       "4 attribute addr Zorv::IpGenAddr", "5 attribute srTePolicyKey SrTePolicy::PolicyKey",
       "6 attribute copy bool" } },
   { "Flowspec::ActionFieldSet",
     "value",
     { "2 attribute invalid bool", "3 attribute trafficPermit bool", "4 attribute trafficDrop bool",
       "5 attribute trafficRate bool", "6 attribute trafficAction bool",
       "7 attribute trafficRedirect bool", "8 attribute trafficMarking bool",
       "9 attribute trafficRatePkt bool" } },
   { "Flowspec::FlowspecIntfSetId", "value", { "2 attribute intfSetId optional U16" } },
   { "Flowspec::FlowspecIntfInterfaceSetConfig",
     "value",
     { "2 key intfId Zorv::IntfId", "3 collection interfaceSet Flowspec::FlowspecIntfSetId",
       "4 operation interfaceSetStrep () -> Vek::String" } },
   { "Flowspec::InterfaceEnableConfig",
     "value",
     { "2 key intfId Zorv::IntfId", "3 attribute ipVersion Flowspec::IpVersion",
       "4 attribute sourceVrfOverride Vek::String", "5 operation isDefaults () -> bool" } },
   { "Flowspec::IntfErrorKey",
     "value",
     { "2 attribute intfId Zorv::IntfId", "3 attribute addressFamily Zorv::AddressFamily" } },
   { "Flowspec::UnsupportedQual",
     "value",
     { "2 key addressFamily Zorv::AddressFamily",
       "3 collection qual Flowspec::MatchCompType -> Vek::String",
       "4 attribute unsupportedActions Flowspec::ActionFieldSet",
       "5 operation dumpState (context Osk::DumpContext, indent U32)" } },
   { "Flowspec::CounterVersion",
     "value",
     { "2 attribute coloredCounters QosLib::ColoredCounters",
       "3 attribute version Osk::UniqueId" } },
   { "Flowspec::MatchCompType", "enumeration", {} },
   { "Flowspec::HwRuleProgrammingStatus", "enumeration", {} },
   { "Flowspec::IpVersion", "enumeration", {} },
   { "Flowspec::TrafficRedirectType", "enumeration", {} },
   { "Flowspec::IpBitMask::IpBit", "enumeration", {} },
   { "Flowspec::TcpBitMask::TcpBit", "enumeration", {} },
   { "Flowspec::FlowspecUtil",
     "utility",
     { "2 operation compTypeToLabel (compType Flowspec::MatchCompType) -> Vek::String",
       "3 operation compTypeToDetailLabel (compType Flowspec::MatchCompType) -> Vek::String",
       "4 operation dscpMeaningFromValue (value U32) -> Vek::String",
       "5 operation findInterfaceSet (text Vek::String) -> Vek::String",
       "6 operation statusCodeToStrep (statusCode Flowspec::HwRuleProgrammingStatus) -> "
       "Vek::String" } },
};

const std::vector< Type > flowspecPolicy = {
   { "Flowspec::FlowspecPolicyConfig",
     "root",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity",
       "258 attribute cmapType Vek::String", "259 attribute pmapType Vek::String",
       "260 attribute mapType U32", "261 child actions Flowspec::FlowspecPolicyActionContainer" } },
   { "Flowspec::FlowspecPolicyActionContainer",
     "child",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity",
       "258 children dropAction Osk::UniqueId -> PolicyMap::DropAction",
       "259 children policeAction Osk::UniqueId -> PolicyMap::PoliceAction",
       "260 children setDscpAction Osk::UniqueId -> PolicyMap::SetDscpAction",
       "261 children setNexthopAction Osk::UniqueId -> PolicyMap::NexthopAction",
       "262 children redirectVrfRtAction Osk::UniqueId -> "
       "Flowspec::FlowspecRedirectVrfRtAction" } },
   { "Flowspec::FlowspecRedirectVrfRtAction",
     "child",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity", "258 key id Osk::UniqueId",
       "259 key actionType U32", "260 key vrfRt U64" } },
};

const std::vector< Type > policyMap = {
   { "PolicyMap::DropAction",
     "child",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity", "258 key id Osk::UniqueId",
       "259 key actionType U32" } },
   { "PolicyMap::PoliceAction",
     "child",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity", "258 key id Osk::UniqueId",
       "259 key actionType U32", "260 key rate PolicyMap::PoliceRate",
       "261 key burstSize PolicyMap::PoliceBurstSize" } },
   { "PolicyMap::SetDscpAction",
     "child",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity", "258 key id Osk::UniqueId",
       "259 key actionType U32", "260 key dscp PolicyMap::Dscp" } },
   { "PolicyMap::NexthopAction",
     "child",
     { "256 derived name Vek::String", "257 derived parent Vek::Entity", "258 key id Osk::UniqueId",
       "259 key actionType U32" } },
   { "PolicyMap::PoliceRate", "value", {} },
   { "PolicyMap::PoliceBurstSize", "value", {} },
   { "PolicyMap::Dscp", "value", {} },
};

Vek::String typeText( const Vek::Field& row ) {
   if ( !row.operation ) {
      const bool keyed = row.key && !row.shownType().empty();
      return Vek::concat( row.key ? row.key->name : "", keyed ? " -> " : "", row.shownType() );
   }
   Vek::String text = "(";
   for ( std::size_t i = 0; i < row.operation->parameters.size(); ++i ) {
      text += Vek::concat( i > 0 ? ", " : "", row.arguments[i], ' ',
                           row.operation->parameters[i]->name );
   }
   text += ')';
   return row.operation->result ? Vek::concat( text, " -> ", row.operation->result->name ) : text;
}

std::vector< Vek::String > rowsOf( const Vek::TypeInfo& type ) {
   std::vector< Vek::String > texts;
   type.forEachField( [&]( const Vek::Field& row ) {
      texts.push_back(
         Vek::concat( row.id, ' ', stringValue( row.kind ), ' ', row.name, ' ', typeText( row ) ) );
   } );
   return texts;
}

void checkModule( std::string_view name, const std::vector< Type >& table ) {
   SCOPED_TRACE( name );
   const Vek::Module* const module = Vek::TypeRegistry::module( name );
   ASSERT_NE( module, nullptr );
   std::vector< std::string_view > names;
   for ( const Vek::TypeInfo* const type : module->types() ) {
      names.push_back( type->name );
   }
   std::vector< std::string_view > expected;
   for ( const Type& type : table ) {
      expected.push_back( type.name );
   }
   EXPECT_THAT( names, ElementsAreArray( expected ) );
   for ( const Type& type : table ) {
      SCOPED_TRACE( type.name );
      const Vek::TypeInfo* const found = Vek::TypeRegistry::find( type.name );
      ASSERT_NE( found, nullptr );
      EXPECT_EQ( Vek::TypeRegistry::moduleOf( *found ), module );
      EXPECT_EQ( stringValue( found->kind ), type.kind );
      EXPECT_THAT( rowsOf( *found ), ElementsAreArray( type.rows ) );
   }
}

TEST( Registry, TypesAreThoseOfTheTable ) {
   checkModule( "FlowspecDalb", flowspecDalb );
   checkModule( "FlowspecPolicy", flowspecPolicy );
   checkModule( "PolicyMap", policyMap );
}

TEST( Registry, FieldsAreFoundByIdAndByName ) {
   for ( const auto* const table : { &flowspecDalb, &flowspecPolicy, &policyMap } ) {
      for ( const Type& entry : *table ) {
         const Vek::TypeInfo& type = *Vek::TypeRegistry::find( entry.name );
         type.forEachField( [&]( const Vek::Field& row ) {
            EXPECT_EQ( type.field( row.id ), &row ) << entry.name << ' ' << row.id;
            EXPECT_EQ( type.field( row.name ), &row ) << entry.name << ' ' << row.name;
         } );
         for ( const unsigned absent : { 0U, 1U, 27U, 255U, 269U, 65535U } ) {
            EXPECT_EQ( type.field( static_cast< U16 >( absent ) ), nullptr ) << entry.name;
         }
         EXPECT_EQ( type.field( "" ), nullptr );
         EXPECT_EQ( type.field( "nothing" ), nullptr );
      }
   }
}

std::vector< Vek::String > enumerators( std::string_view typeName ) {
   const Vek::TypeInfo* const type = Vek::TypeRegistry::find( typeName );
   std::vector< Vek::String > texts;
   for ( std::size_t i = 0; i < type->enumeration->count; ++i ) {
      const Vek::Enumerator& row = type->enumeration->rows[i];
      texts.push_back( Vek::concat( U32{ row.number }, ' ', row.name ) );
   }
   return texts;
}

TEST( Registry, Enumerators ) {
   EXPECT_THAT( enumerators( "Flowspec::MatchCompType" ),
                ElementsAre( "0 invalid", "1 destPrefix", "2 srcPrefix", "3 ipProto", "4 port",
                             "5 destPort", "6 srcPort", "7 icmpType", "8 icmpCode", "9 tcpFlags",
                             "10 packetLength", "11 dscp", "12 fragment", "13 flowLabel" ) );
   EXPECT_THAT( enumerators( "Flowspec::HwRuleProgrammingStatus" ),
                ElementsAre( "0 unprocessed", "1 programmed", "2 programmedWithFailures",
                             "3 unsupportedMatch", "4 unsupportedTcamProfile",
                             "5 unsupportedAction", "6 resourceExhausted",
                             "7 intfSetResourceExhausted" ) );
   EXPECT_THAT( enumerators( "Flowspec::IpVersion" ), ElementsAre( "1 ipv4", "2 ipv6" ) );
   EXPECT_THAT( enumerators( "Flowspec::TrafficRedirectType" ),
                ElementsAre( "0 vrf", "1 addr", "2 srTePolicy" ) );
   EXPECT_THAT(
      enumerators( "Flowspec::IpBitMask::IpBit" ),
      ElementsAre( "0 dontFragment", "1 isFragment", "2 firstFragment", "3 lastFragment" ) );
   EXPECT_THAT( enumerators( "Flowspec::TcpBitMask::TcpBit" ),
                ElementsAre( "0 tcpFin", "1 tcpSyn", "2 tcpRst", "3 tcpPsh", "4 tcpAck", "5 tcpUrg",
                             "6 tcpEce", "7 tcpCwr", "8 tcpNs" ) );
}

TEST( Registry, ModulesAndWhatTheyNeed ) {
   std::vector< std::string_view > names;
   for ( const Vek::Module* const module : Vek::TypeRegistry::modules() ) {
      names.push_back( module->name() );
      EXPECT_TRUE( module->isLoaded() );
      EXPECT_TRUE( module->missing().empty() ) << module->name();
      EXPECT_EQ( Vek::TypeRegistry::module( module->name() ), module );
   }
   EXPECT_THAT( names,
                ElementsAre( "Vek", "Zorv", "Vrf", "QosLib", "SrTePolicy", "L3", "Classification",
                             "PolicyMap", "FlowspecDalb", "FlowspecPolicy" ) );
   EXPECT_THAT( Vek::TypeRegistry::module( "FlowspecDalb" )->needs(),
                ElementsAre( "Osk::DumpContext", "Osk::UniqueId", "Zorv::AddressFamily",
                             "Zorv::IntfId", "Zorv::IpGenAddr", "Zorv::IpGenPrefix",
                             "Zorv::RouteDistinguisher", "Classification::StructuredFilter",
                             "QosLib::ColoredCounters", "SrTePolicy::PolicyKey",
                             "Vrf::VrfIdMap::VrfId", "Vek::String", "L3::ResolvedNexthopInfo",
                             "PolicyMap", "L3", "Zorv" ) );
   EXPECT_THAT( Vek::TypeRegistry::module( "FlowspecPolicy" )->needs(),
                ElementsAre( "Osk::UniqueId", "Vek::String", "PolicyMap" ) );
}

TEST( Registry, UnknownNames ) {
   for ( const std::string_view name :
         { "", "Flowspec::", "Flowspec::config", "flowspec::Config", "Flowspec::Config ",
           "Flowspec::Confi", "Config", "FlowspecDalb" } ) {
      EXPECT_EQ( Vek::TypeRegistry::find( name ), nullptr ) << name;
   }
   for ( const std::string_view name : { "", "Flowspec", "flowspecDalb", "Flowspec::Config" } ) {
      EXPECT_EQ( Vek::TypeRegistry::module( name ), nullptr ) << name;
   }
   EXPECT_EQ( Vek::TypeRegistry::moduleOf( Vek::TypeInfo() ), nullptr );
}

} // namespace
} // namespace Flowspec
