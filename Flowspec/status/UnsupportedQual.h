#pragma once

#include "Flowspec/config/TrafficActions.h"
#include "Flowspec/vocab/MatchCompType.h"
#include "Osk/DumpContext.h"
#include "Vek/collections/FlatMap.h"
#include "Zorv/AddressFamily.h"

namespace Flowspec {

/// What the platform cannot do for rules of one address family: the component types that it cannot
/// match on, and the actions that it cannot apply. A plain value with a map in it.
class OSK_EXPORT UnsupportedQual {
public:
   static constexpr std::string_view typeName = "Flowspec::UnsupportedQual";
   static constexpr std::size_t rowCount = 4;
   static const Vek::TypeInfo& typeInfo();
   using Qual = Vek::FlatMap< MatchCompType, Vek::String >;

   /// Nothing, of no family.
   UnsupportedQual() = default;
   explicit UnsupportedQual( Zorv::AddressFamily addressFamily )
      : addressFamily_( addressFamily ) {}

   /// There is no generic text form: the assertion "\"No String constructor for UnsupportedQual -
   /// has collection\" == nullptr" fails.
   explicit UnsupportedQual( const Vek::String& text );

   /// The family; the key of this value in `Status`.
   Zorv::AddressFamily addressFamily() const { return addressFamily_; }

   /// The component types that cannot be matched on, ascending, with the reasons. Any number of a
   /// type can be held.
   const Qual& qual() const { return qual_; }
   /// The reason for a type, or "".
   Vek::String qual( MatchCompType compType ) const;
   /// Inserts or replaces.
   void qualIs( MatchCompType compType, const Vek::String& reason );
   void qualDel( MatchCompType compType ) { qual_.erase( compType ); }
   /// Removes the member at `at` and returns the place where to go on.
   Qual::const_iterator qualDel( Qual::const_iterator at ) { return qual_.erase( at ); }
   void qualDelAll() { qual_.clear(); }

   /// The actions that cannot be applied.
   ActionFieldSet unsupportedActions() const { return unsupportedActions_; }
   void unsupportedActionsIs( ActionFieldSet unsupportedActions ) {
      unsupportedActions_ = unsupportedActions;
   }

   /// Writes the value, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   /// "<addressFamily=ipv4;quals=2;unsupportedActions=trafficDrop>": reasons are only counted.
   Vek::String toStrep() const;

   /// True when the value differs from a default one.
   explicit operator bool() const { return !( *this == UnsupportedQual() ); }

   /// By family, actions, and types with their reasons.
   bool operator==( const UnsupportedQual& ) const = default;

   struct OSK_HIDDEN Table;

private:
   Zorv::AddressFamily addressFamily_ = Zorv::AddressFamily::none;
   ActionFieldSet unsupportedActions_;
   Qual qual_;
};

// In the attribute log: the family as U32, each type as U32 with its reason, a U32 0 after them,
// and the actions as U32. A reason under the type `invalid` raises `Vek::DefaultKeyException`. The
// reader leaves the value unchanged when it raises something.
OSK_EXPORT std::size_t logSize( const UnsupportedQual& value );
OSK_EXPORT void logWrite( Vek::LogWriter& out, const UnsupportedQual& value );
OSK_EXPORT void logRead( Vek::LogReader& in, UnsupportedQual& value );

} // namespace Flowspec
