#pragma once

#include "Zorv/AddressFamily.h"
#include "Zorv/IntfId.h"

namespace Flowspec {

/// An interface and an address family on it, for which an error is reported. A plain value, ordered
/// by the interface's number, then the family.
class OSK_EXPORT IntfErrorKey {
public:
   static constexpr std::string_view typeName = "Flowspec::IntfErrorKey";
   static constexpr std::size_t rowCount = 2;
   static const Vek::TypeInfo& typeInfo();

   /// The interface 0 without a family.
   constexpr IntfErrorKey() = default;
   constexpr IntfErrorKey( Zorv::IntfId intfId, Zorv::AddressFamily addressFamily )
      : intfId_( intfId ), addressFamily_( addressFamily ) {}

   constexpr Zorv::IntfId intfId() const { return intfId_; }
   constexpr Zorv::AddressFamily addressFamily() const { return addressFamily_; }

   /// A hash of both that is the same in all processes of one version; another one for another
   /// seed.
   U32 hash( U32 seed = 0 ) const;

   /// "intf3,ipv4".
   Vek::String stringValue() const;
   /// Reads what `stringValue` writes; `Vek::RangeException` "Flowspec::IntfErrorKey: '<text>' is
   /// not an interface and a family" for anything else, and then this one is unchanged.
   void stringValueIs( std::string_view text );

   constexpr auto operator<=>( const IntfErrorKey& ) const = default;

   struct OSK_HIDDEN Table;

private:
   Zorv::IntfId intfId_;
   Zorv::AddressFamily addressFamily_ = Zorv::AddressFamily::none;
};

// In the attribute log: the interface, then the family as U32.
constexpr std::size_t logSize( const IntfErrorKey& ) { return 12; }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const IntfErrorKey& key );
OSK_EXPORT void logRead( Vek::LogReader& in, IntfErrorKey& key );

} // namespace Flowspec
