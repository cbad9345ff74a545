#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/codec/LogWriter.h"
#include "Vek/text/FlagSet.h"

namespace Flowspec {

/// A set of IP versions in one byte: `ipv4` is 1, `ipv6` is 2.
class OSK_EXPORT IpVersion : public Vek::FlagSet< IpVersion > {
public:
   static constexpr std::string_view typeName = "Flowspec::IpVersion";
   static const Vek::TypeInfo& typeInfo();
   static constexpr std::string_view flagNames[] = { "ipv4", "ipv6" };

   using FlagSet::FlagSet;

   constexpr bool ipv4() const { return flag( 0 ); }
   constexpr bool ipv6() const { return flag( 1 ); }

   constexpr void ipv4Is( bool on ) { flagIs( 0, on ); }
   constexpr void ipv6Is( bool on ) { flagIs( 1, on ); }
};

// In the attribute log: U32.
constexpr std::size_t logSize( const IpVersion& ) { return 4; }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const IpVersion& set );
OSK_EXPORT void logRead( Vek::LogReader& in, IpVersion& set );

} // namespace Flowspec
