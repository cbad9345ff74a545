#include "Flowspec/vocab/BitMask.h"
#include "Flowspec/vocab/FlagSetLog.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Flowspec/vocab/IpVersion.h"
#include "Flowspec/vocab/MatchOpVal.h"
#include "Flowspec/vocab/NumericalRange.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

namespace {

using Vek::constant;
using Vek::derived;
using Vek::operation;
using Vek::property;
using Vek::Rows;

constexpr Vek::Enumerator ipVersionRows[] = { { 1, "ipv4" }, { 2, "ipv6" } };
constexpr Vek::EnumInfo ipVersionInfo{ IpVersion::typeName, ipVersionRows };

// What a word and a decoded term have in common stands under the same names in both.
constexpr Rows matchOpValRows{
   property< &MatchOpVal::storage >( 2, "storage" ),
   derived< &MatchOpVal::matchType >( 3, "matchType" ),
   derived< &MatchOpVal::op >( 4, "op" ),
   derived< &MatchOpVal::val >( 5, "val" ),
   operation< &MatchOpVal::toStrep >( 6, "toStrep" ),
   derived< &MatchOpVal::endOfList >( 7, "endOfList" ),
   derived< &MatchOpVal::andPrevious >( 8, "andPrevious" ),
   derived< &MatchOpVal::len >( 9, "len" ),
   derived< &MatchOpVal::lt >( 10, "lt" ),
   derived< &MatchOpVal::gt >( 11, "gt" ),
   derived< &MatchOpVal::eq >( 12, "eq" ),
   derived< &MatchOpVal::invert >( 13, "invert" ),
   derived< &MatchOpVal::match >( 14, "match" ),
   derived< &MatchOpVal::byteLength >( 15, "byteLength" ),
};
constexpr Rows matchOpValIndexRows{
   property< &MatchOpValIndex::value >( 2, "value" ),
   constant< &MatchOpValIndex::min >( 3, "min" ),
   constant< &MatchOpValIndex::max >( 4, "max" ),
};
constexpr Rows matchOpValResultRows{
   property< &MatchOpValResult::matchType >( 2, "matchType" ),
   property< &MatchOpValResult::op >( 3, "op" ),
   property< &MatchOpValResult::val32 >( 4, "val32" ),
   property< &MatchOpValResult::nextIndex >( 5, "nextIndex" ),
   operation< &MatchOpValResult::toStrep >( 6, "toStrep" ),
   derived< &MatchOpValResult::endOfList >( 7, "endOfList" ),
   derived< &MatchOpValResult::andPrevious >( 8, "andPrevious" ),
   derived< &MatchOpValResult::len >( 9, "len" ),
   derived< &MatchOpValResult::lt >( 10, "lt" ),
   derived< &MatchOpValResult::gt >( 11, "gt" ),
   derived< &MatchOpValResult::eq >( 12, "eq" ),
   derived< &MatchOpValResult::invert >( 13, "invert" ),
   derived< &MatchOpValResult::match >( 14, "match" ),
   derived< &MatchOpValResult::byteLength >( 15, "byteLength" ),
};
constexpr Rows numericalRangeRows{
   property< &NumericalRange::rangeMin >( 2, "rangeMin" ),
   property< &NumericalRange::rangeMax >( 3, "rangeMax" ),
   constant< &NumericalRange::min >( 4, "min" ),
   constant< &NumericalRange::invalidValue >( 5, "invalidValue" ),
   operation< &NumericalRange::isValid >( 6, "isValid" ),
   operation< &NumericalRange::contains >( 7, "contains", "value" ),
   operation< &NumericalRange::isRangeOverlap >( 8, "isRangeOverlap", "otherRange" ),
   operation< &NumericalRange::rangeIntersection >( 9, "rangeIntersection", "otherRange" ),
   operation< &NumericalRange::rangeUnion >( 10, "rangeUnion", "otherRange" ),
   operation< &NumericalRange::matchCompTypeMax >( 11, "matchCompTypeMax", "matchCompType" ),
   operation< &NumericalRange::toStrep >( 12, "toStrep" ),
};
constexpr Rows ipBitMaskRows{
   property< &IpBitMask::matchAll >( 2, "matchAll" ),
   property< &IpBitMask::val >( 3, "val" ),
   property< &IpBitMask::mask >( 4, "mask" ),
   constant< &IpBitMask::supportedIpBits >( 5, "supportedIpBits" ),
   constant< &IpBitMask::lastBit >( 6, "lastBit" ),
   constant< &IpBitMask::maskForAllBits >( 7, "maskForAllBits" ),
   operation< &IpBitMask::isValid >( 8, "isValid" ),
   operation< &IpBitMask::toStrep >( 9, "toStrep" ),
   operation< &IpBitMask::toStrepCli >( 10, "toStrepCli" ),
};
constexpr Rows tcpBitMaskRows{
   property< &TcpBitMask::matchAll >( 2, "matchAll" ),
   property< &TcpBitMask::val >( 3, "val" ),
   property< &TcpBitMask::mask >( 4, "mask" ),
   constant< &TcpBitMask::supportedTcpBits >( 5, "supportedTcpBits" ),
   constant< &TcpBitMask::lastBit >( 6, "lastBit" ),
   constant< &TcpBitMask::maskForAllBits >( 7, "maskForAllBits" ),
   operation< &TcpBitMask::toStrep >( 8, "toStrep" ),
   operation< &TcpBitMask::toStrepCli >( 9, "toStrepCli" ),
};
constexpr Rows flowspecUtilRows{
   operation< &FlowspecUtil::compTypeToLabel >( 2, "compTypeToLabel", "compType" ),
   operation< &FlowspecUtil::compTypeToDetailLabel >( 3, "compTypeToDetailLabel", "compType" ),
   operation< &FlowspecUtil::dscpMeaningFromValue >( 4, "dscpMeaningFromValue", "value" ),
   operation< &FlowspecUtil::findInterfaceSet >( 5, "findInterfaceSet", "text" ),
   operation< &FlowspecUtil::statusCodeToStrep >( 6, "statusCodeToStrep", "statusCode" ),
};

consteval Vek::TypeInfo ipVersionType() {
   Vek::TypeInfo info = Vek::plainInfo< IpVersion >();
   info.kind = Vek::TypeKind::enumeration;
   info.enumeration = &ipVersionInfo;
   return info;
}

consteval Vek::TypeInfo utilityType() {
   Vek::TypeInfo info = Vek::valueInfo< FlowspecUtil, flowspecUtilRows >();
   info.kind = Vek::TypeKind::utility;
   return info;
}

// Of a type that keeps its attributes within bounds and tells in its own words when they are not.
consteval Vek::TypeInfo bounded( Vek::TypeInfo info ) {
   info.bounded = true;
   return info;
}

constinit const Vek::TypeInfo ipVersionTypeInfo = ipVersionType();
constinit const Vek::TypeInfo flowspecUtilInfo = utilityType();
constinit const Vek::TypeInfo matchOpValInfo = Vek::valueInfo< MatchOpVal, matchOpValRows >();
constinit const Vek::TypeInfo matchOpValIndexInfo =
   bounded( Vek::valueInfo< MatchOpValIndex, matchOpValIndexRows >() );
constinit const Vek::TypeInfo matchOpValResultInfo =
   Vek::valueInfo< MatchOpValResult, matchOpValResultRows >();
constinit const Vek::TypeInfo numericalRangeInfo =
   bounded( Vek::valueInfo< NumericalRange, numericalRangeRows >() );
constinit const Vek::TypeInfo ipBitMaskInfo = Vek::valueInfo< IpBitMask, ipBitMaskRows >();
constinit const Vek::TypeInfo tcpBitMaskInfo = Vek::valueInfo< TcpBitMask, tcpBitMaskRows >();

} // namespace

const Vek::TypeInfo& IpVersion::typeInfo() { return ipVersionTypeInfo; }
const Vek::TypeInfo& FlowspecUtil::typeInfo() { return flowspecUtilInfo; }
const Vek::TypeInfo& MatchOpVal::typeInfo() { return matchOpValInfo; }
const Vek::TypeInfo& MatchOpValIndex::typeInfo() { return matchOpValIndexInfo; }
const Vek::TypeInfo& MatchOpValResult::typeInfo() { return matchOpValResultInfo; }
const Vek::TypeInfo& NumericalRange::typeInfo() { return numericalRangeInfo; }
const Vek::TypeInfo& IpBitMask::typeInfo() { return ipBitMaskInfo; }
const Vek::TypeInfo& TcpBitMask::typeInfo() { return tcpBitMaskInfo; }

void logWrite( Vek::LogWriter& out, const IpVersion& set ) { out.u32( set.value() ); }
void logRead( Vek::LogReader& in, IpVersion& set ) { set = readFlagSet< IpVersion >( in ); }

} // namespace Flowspec
