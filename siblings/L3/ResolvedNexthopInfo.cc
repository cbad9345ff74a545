#include "L3/ResolvedNexthopInfo.h"

#include "Osk/HashMix.h"
#include "Vek/text/Exceptions.h"

#include <algorithm>
#include <iterator>

namespace L3 {

namespace {

void mixAddress( Osk::HashMix& mix, const Zorv::IpGenAddr& address ) {
   mix.mix( U64{ static_cast< U8 >( address.family() ) } << 32 | address.hash() );
}

template < typename Members >
void writeMembers( Vek::TextWriter& out, const Members& members ) {
   std::string_view separator;
   for ( const auto& member : members ) {
      out << separator << member;
      separator = ",";
   }
   out << '}';
}

void writeAddresses( Vek::TextWriter& out, const ResolvedNexthopInfo::NexthopSet& addresses ) {
   out << '{';
   if ( addresses.size() == 1 && addresses.begin()->empty() ) {
      out << ',';
   }
   writeMembers( out, addresses );
}

// Reads the text of a resolved next hop. Each operation takes one part of it, and tells whether it
// was there.
class Reader {
public:
   explicit Reader( std::string_view text ) : rest_( text ) {}

   bool read( ResolvedNexthopInfo::NexthopSet& nexthopSet, ResolvedNexthopInfo::Vias& vias ) {
      const auto addAddress = [&] {
         Zorv::IpGenAddr address;
         return takeAddress( ",}", address ) && ( nexthopSet.insert( address ), true );
      };
      const auto addVia = [&] { return takeVia( vias.emplace_back() ); };
      return takeText( "<nexthopSet={" ) && takeMembers( addAddress ) && takeText( ";vias={" ) &&
             takeMembers( addVia ) && takeText( ">" ) && rest_.empty();
   }

private:
   bool takeText( std::string_view text ) {
      return rest_.rest().starts_with( text ) && !rest_.take( text.size() ).empty();
   }

   // What stands before the next of `ends`.
   std::string_view takeUpTo( std::string_view ends ) {
      return rest_.take( std::min( rest_.rest().find_first_of( ends ), rest_.rest().size() ) );
   }

   template < typename Add >
   bool takeMembers( Add add ) {
      if ( rest_.take( '}' ) ) {
         return true;
      }
      while ( add() ) {
         if ( !rest_.take( ',' ) ) {
            return rest_.take( '}' );
         }
      }
      return false;
   }

   bool takeAddress( std::string_view ends, Zorv::IpGenAddr& address ) {
      const std::string_view text = takeUpTo( ends );
      const auto read = text.empty() ? Zorv::IpGenAddr() : Zorv::IpGenAddr::fromText( text );
      address = read.value_or( Zorv::IpGenAddr() );
      return read.has_value();
   }

   bool takeIntf( Zorv::IntfId& intf ) {
      const auto read = Zorv::IntfId::fromText( takeUpTo( ";" ) );
      intf = read.value_or( Zorv::IntfId() );
      return read.has_value();
   }

   bool takeLabel( MplsLabel& label ) {
      const std::string_view text = takeUpTo( ";" );
      const auto number = Vek::decimal( text, MplsLabel::none() - 1 );
      label = number ? MplsLabel( *number ) : MplsLabel();
      return number || text == "none";
   }

   bool takeVia( Via& via ) {
      if ( !takeText( "<address=" ) || !takeAddress( ";", via.address ) || !takeText( ";intf=" ) ||
           !takeIntf( via.intf ) || !takeText( ";mplsLabel=" ) || !takeLabel( via.mplsLabel ) ||
           !takeText( ";active=" ) ) {
         return false;
      }
      via.active = rest_.take( '1' );
      return ( via.active || rest_.take( '0' ) ) && rest_.take( '>' );
   }

   Vek::CharRange rest_;
};

} // namespace

ResolvedNexthopInfo::Vias ResolvedNexthopInfo::viasActive() const {
   Vias active;
   std::ranges::copy_if( vias_, std::back_inserter( active ), &Via::active );
   return active;
}

Vek::String ResolvedNexthopInfo::nexthopSetStrep() const {
   Vek::String text;
   Vek::TextWriter out( text );
   writeAddresses( out, nexthopSet_ );
   out.flush();
   return text;
}

U32 ResolvedNexthopInfo::hash() const {
   Osk::HashMix mix;
   mix.mix( U64{ nexthopSet_.size() } );
   for ( const Zorv::IpGenAddr& address : nexthopSet_ ) {
      mixAddress( mix, address );
   }
   for ( const Via& via : vias_ ) {
      mixAddress( mix, via.address );
      mix.mix( via.intf.value(), U64{ via.mplsLabel.value() } << 1 | via.active );
   }
   return mix.value();
}

Vek::String ResolvedNexthopInfo::stringValue() const { return Vek::concat( *this ); }

void ResolvedNexthopInfo::stringValueIs( std::string_view text ) {
   NexthopSet nexthopSet;
   Vias vias;
   if ( !Reader( text ).read( nexthopSet, vias ) ) {
      Vek::throwRange( Vek::concat( typeName, ": '", text, "' is not a resolved next hop" ) );
   }
   *this = ResolvedNexthopInfo( std::move( nexthopSet ), std::move( vias ) );
}

Vek::TextWriter& operator<<( Vek::TextWriter& out, const ResolvedNexthopInfo& info ) {
   out << "<nexthopSet=";
   writeAddresses( out, info.nexthopSet() );
   out << ";vias={";
   writeMembers( out, info.vias() );
   return out << '>';
}

std::ostream& operator<<( std::ostream& out, const ResolvedNexthopInfo& info ) {
   return Vek::writeText( out, info.stringValue() );
}

namespace {

constexpr std::size_t addressSize = logSize( Zorv::IpGenAddr() );
constexpr std::size_t viaSize = addressSize + logSize( Zorv::IntfId() ) + 4 + 1;

} // namespace

std::size_t logSize( const ResolvedNexthopInfo& info ) {
   return 4 + info.nexthopSet().size() * addressSize + 4 + info.vias().size() * viaSize;
}

void logWrite( Vek::LogWriter& out, const ResolvedNexthopInfo& info ) {
   out.u32( static_cast< U32 >( info.nexthopSet().size() ) );
   for ( const Zorv::IpGenAddr& address : info.nexthopSet() ) {
      logWrite( out, address );
   }
   out.u32( static_cast< U32 >( info.vias().size() ) );
   for ( const Via& via : info.vias() ) {
      logWrite( out, via.address );
      logWrite( out, via.intf );
      out.u32( via.mplsLabel.value() );
      out.boolean( via.active );
   }
}

void logRead( Vek::LogReader& in, ResolvedNexthopInfo& info ) {
   ResolvedNexthopInfo::NexthopSet nexthopSet;
   for ( U32 left = in.count( addressSize ); left > 0; --left ) {
      Zorv::IpGenAddr address;
      logRead( in, address );
      nexthopSet.insert( nexthopSet.end(), address );
   }
   ResolvedNexthopInfo::Vias vias( in.count( viaSize ) );
   for ( Via& via : vias ) {
      logRead( in, via.address );
      logRead( in, via.intf );
      const U32 label = in.u32();
      if ( label > MplsLabel::none() ) {
         in.fail( Vek::concat( "no MPLS label has the number ", label ) );
      }
      via.mplsLabel = MplsLabel( label );
      via.active = in.boolean();
   }
   info = ResolvedNexthopInfo( std::move( nexthopSet ), std::move( vias ) );
}

} // namespace L3
