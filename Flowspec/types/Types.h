#pragma once

#include "Vek/types/TypeInfo.h"

namespace Flowspec {

// The descriptions of this module's types, each defined beside its type's table.
extern const Vek::TypeInfo matchCompTypeTypeInfo;
extern const Vek::TypeInfo ipVersionTypeInfo;
extern const Vek::TypeInfo ipBitTypeInfo;
extern const Vek::TypeInfo tcpBitTypeInfo;
extern const Vek::TypeInfo trafficRedirectTypeTypeInfo;

extern const Vek::TypeInfo flowspecKeyInfo;
extern const Vek::TypeInfo matchOpValTypeInfo;
extern const Vek::TypeInfo matchOpValIndexInfo;
extern const Vek::TypeInfo matchOpValResultInfo;
extern const Vek::TypeInfo numericalRangeInfo;
extern const Vek::TypeInfo ipBitMaskInfo;
extern const Vek::TypeInfo tcpBitMaskInfo;
extern const Vek::TypeInfo flowspecUtilInfo;

extern const Vek::TypeInfo matchComponentInfo;
extern const Vek::TypeInfo actionFieldSetInfo;
extern const Vek::TypeInfo trafficActionInfo;
extern const Vek::TypeInfo trafficRedirectInfo;
extern const Vek::TypeInfo intfSetIdInfo;
extern const Vek::TypeInfo intfInterfaceSetConfigInfo;
extern const Vek::TypeInfo interfaceEnableConfigInfo;

extern const Vek::TypeInfo configInfo;
extern const Vek::TypeInfo vrfRuleConfigInfo;
extern const Vek::TypeInfo ruleConfigInfo;
extern const Vek::TypeInfo infeasibleRuleInfo;
extern const Vek::TypeInfo cliConfigInfo;

extern const Vek::TypeInfo hwRuleProgrammingStatusTypeInfo;
extern const Vek::TypeInfo intfErrorKeyInfo;
extern const Vek::TypeInfo unsupportedQualInfo;
extern const Vek::TypeInfo counterVersionInfo;

extern const Vek::TypeInfo statusInfo;
extern const Vek::TypeInfo vrfRuleStatusInfo;
extern const Vek::TypeInfo ruleStatusInfo;
extern const Vek::TypeInfo afIntfCollInfo;
extern const Vek::TypeInfo interfaceSetInfo;
extern const Vek::TypeInfo counterInfo;

} // namespace Flowspec
