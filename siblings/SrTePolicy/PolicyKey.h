#pragma once

#include "Zorv/IpGenAddr.h"

#include <compare>
#include <iosfwd>
#include <optional>

namespace SrTePolicy {

/// What identifies a segment-routing policy at its headend: the color, which stands for an intent
/// such as low latency, and the endpoint (RFC 9256 section 2.1). A plain value, ordered by color,
/// then endpoint; the default is color 0 without an endpoint, which is no policy.
class OSK_EXPORT PolicyKey {
public:
   static constexpr std::string_view typeName = "SrTePolicy::PolicyKey";

   constexpr PolicyKey() = default;
   constexpr PolicyKey( U32 color, const Zorv::IpGenAddr& endpoint )
      : color_( color ), endpoint_( endpoint ) {}

   /// The key that all of `text` spells in the form of `stringValue`; nothing otherwise.
   static std::optional< PolicyKey > fromText( std::string_view text );

   /// Reads `text` as `fromText` does; `RangeException` with `badTextMessage( text )` when it is no
   /// key, and then this one is unchanged.
   void stringValueIs( std::string_view text );

   /// The message about a text that is no key:
   /// "SrTePolicy::PolicyKey: '<text>' is not a policy key".
   static Vek::String badTextMessage( std::string_view text );

   constexpr U32 color() const { return color_; }
   /// IPv4 or IPv6, where all zero is the null endpoint; the empty address for no policy.
   constexpr const Zorv::IpGenAddr& endpoint() const { return endpoint_; }

   /// A hash of both parts that is the same in all processes of one build.
   U32 hash() const;

   /// The color in decimal, "," and the address: "100,192.0.2.1"; "0," for the default.
   Vek::String stringValue() const;

   auto operator<=>( const PolicyKey& ) const = default;

private:
   U32 color_ = 0;
   Zorv::IpGenAddr endpoint_;
};

OSK_EXPORT Vek::TextWriter& operator<<( Vek::TextWriter& out, const PolicyKey& key );
OSK_EXPORT std::ostream& operator<<( std::ostream& out, const PolicyKey& key );

// In the attribute log: the color as U32 and the endpoint.
constexpr std::size_t logSize( const PolicyKey& ) { return 24; }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const PolicyKey& key );
OSK_EXPORT void logRead( Vek::LogReader& in, PolicyKey& key );

} // namespace SrTePolicy
