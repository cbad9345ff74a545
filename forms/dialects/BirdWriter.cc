#include "Osk/Endian.h"
#include "forms/dialects/Bird.h"
#include "forms/dialects/BirdNames.h"
#include "forms/dialects/Communities.h"
#include "forms/dialects/Terms.h"
#include "wire/Canonical.h"

#include <algorithm>
#include <span>

namespace Forms {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;
using Terms = std::span< const Term >;

template < typename... Parts >
[[noreturn]] void refuse( const Parts&... parts ) {
   throw Inexpressible{ Vek::concat( parts... ) };
}

const BirdNames::ComponentName& nameOf( MatchCompType type, AddressFamily family ) {
   const auto* const first =
      std::ranges::find( BirdNames::components, type, &BirdNames::ComponentName::type );
   return type == ipProto && family == AddressFamily::ipv6 ? first[1] : *first;
}

// Whether each of the flags must be as the test says, and not one of them at least.
bool wantsAll( const Term& term ) {
   return static_cast< bool >( term.test & OpBits::match ) !=
          static_cast< bool >( term.test & OpBits::invert );
}

class Writer {
public:
   explicit Writer( Vek::String& out ) : out_( out ) {}

   void writeMatch( const FlowspecKey& key, const std::vector< Component >& components );
   void writeBlock( const Wire::EncodedAction& communities );

private:
   template < typename... Parts >
   void put( const Parts&... parts ) {
      out_ += Vek::concat( parts... );
   }

   void writePrefix( std::string_view name, const Zorv::IpGenPrefix& prefix ) {
      if ( !prefix.empty() ) {
         put( name, ' ', prefix, "; " );
      }
   }
   void writeNumbers( const Component& component, const BirdNames::ComponentName& name );
   void writeFlags( const Component& component, U32 known );
   void writeMasked( const Term& term );
   void writeFragmentFlags( const Term& term, bool alone );

   Vek::String& out_;
};

void Writer::writeMatch( const FlowspecKey& key, const std::vector< Component >& components ) {
   const bool ipv6 = key.addressFamily() == AddressFamily::ipv6;
   put( std::string_view( ipv6 ? "flow6 { " : "flow4 { " ) );
   writePrefix( "dst", key.destPrefix() );
   writePrefix( "src", key.srcPrefix() );
   for ( const Component& component : components ) {
      const auto& name = nameOf( component.type, key.addressFamily() );
      put( name.first, std::string_view( name.second.empty() ? "" : " " ), name.second, ' ' );
      if ( isBitmask( component.type ) ) {
         const U32 fragments = ipv6 ? 0x0E : 0x0F;
         writeFlags( component, component.type == tcpFlags ? name.max : fragments );
      } else {
         writeNumbers( component, name );
      }
      put( std::string_view( "; " ) );
   }
   put( '}' );
}

void Writer::writeNumbers( const Component& component, const BirdNames::ComponentName& name ) {
   constexpr U8 atLeast = OpBits::gt | OpBits::eq;
   constexpr U8 atMost = OpBits::lt | OpBits::eq;
   // By the bits of the test. Nothing is below 0, and all is 0 or above it.
   constexpr std::string_view operators[] = { "< ", "= ", "> ", ">= ", "< ", "<= ", "!= ", ">= " };
   const std::vector< Term >& terms = component.terms;
   bool listed = false; // the term before is a number or a range without an operator
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      const Term& term = terms[i];
      const bool always = term.test == ( OpBits::lt | OpBits::gt | OpBits::eq );
      const U32 value = always || term.test == 0 ? 0 : term.value;
      const U32 max = std::min( name.max, U32{ 0xFFFF } ); // labels above it are cut
      if ( value > max ) {
         refuse( "BIRD takes no value above ", max, " in its component '", name.first,
                 std::string_view( name.second.empty() ? "" : " " ), name.second, '\'' );
      }
      const bool range = !term.andPrevious && term.test == atLeast && i + 1 < terms.size() &&
                         terms[i + 1].andPrevious && terms[i + 1].test == atMost &&
                         terms[i + 1].value <= max;
      const bool bare = !term.andPrevious && ( range || term.test == OpBits::eq );
      if ( i > 0 ) {
         put( std::string_view( term.andPrevious ? " && " : bare && listed ? "," : " || " ) );
      }
      put( bare ? "" : operators[term.test], value );
      if ( range ) {
         put( std::string_view( ".." ), terms[++i].value );
      }
      listed = bare;
   }
}

// `known` are the flags that BIRD has.
void Writer::writeFlags( const Component& component, U32 known ) {
   const bool named = component.type == Flowspec::fragment;
   const std::vector< Term >& terms = component.terms;
   // All packets that have the field pass a test of no flag, or none do.
   if ( terms.size() == 1 && terms[0].value == 0 ) {
      const bool all = wantsAll( terms[0] );
      put( std::string_view( named ? "is_fragment" : "0x1/0x1" ),
           std::string_view( all ? " || " : " && " ),
           std::string_view( named ? "!is_fragment" : "0x0/0x1" ) );
      return;
   }
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      const Term& term = terms[i];
      if ( term.value == 0 || term.value & ~known ) {
         refuse( "BIRD has no words for a test of the flags ", term.value, " in its component '",
                 std::string_view( named ? "fragment" : "tcp flags" ), '\'' );
      }
      if ( i > 0 ) {
         put( std::string_view( term.andPrevious ? " && " : " || " ) );
      }
      if ( named ) {
         const bool followed = i + 1 < terms.size() && terms[i + 1].andPrevious;
         writeFragmentFlags( term, !term.andPrevious && !followed );
      } else {
         writeMasked( term );
      }
   }
}

void Writer::writeMasked( const Term& term ) {
   const bool match = term.test & OpBits::match;
   Vek::TextWriter text( out_ );
   text << std::string_view( wantsAll( term ) ? "0x" : "!0x" );
   text.hex( match ? term.value : 0 ) << "/0x";
   text.hex( term.value );
}

// BIRD names one flag at a time. Those of which one is enough are joined by "||", which is no part
// of a conjunction.
void Writer::writeFragmentFlags( const Term& term, bool alone ) {
   const bool inverted = term.test & OpBits::invert;
   const bool all = wantsAll( term );
   if ( !all && !alone && !std::has_single_bit( term.value ) ) {
      refuse( "BIRD has no words for some of several fragment flags in a conjunction" );
   }
   std::string_view separator;
   for ( U32 bit = 0; bit < std::size( BirdNames::fragments ); ++bit ) {
      if ( term.value >> bit & 1 ) {
         put( std::exchange( separator, std::string_view( all ? " && " : " || " ) ),
              std::string_view( inverted ? "!" : "" ), BirdNames::fragments[bit] );
      }
   }
}

void Writer::writeBlock( const Wire::EncodedAction& communities ) {
   if ( !communities.ipv6.empty() ) {
      refuse( "BIRD has no IPv6-address-specific extended communities" );
   }
   if ( communities.extended.empty() ) {
      return;
   }
   put( std::string_view( " { " ) );
   for ( const Wire::ExtendedCommunity& community : communities.extended ) {
      Vek::TextWriter text( out_ );
      text << "bgp_ext_community.add((generic, 0x";
      text.hex( Osk::loadBig32( community.data() ) ) << ", 0x";
      text.hex( Osk::loadBig32( community.data() + 4 ) ) << ")); ";
   }
   put( '}' );
}

} // namespace

void appendBird( const Rule& rule, const Context& context, Vek::String& out ) {
   if ( rule.rd ) {
      refuse( "BIRD has no route distinguisher in flow specifications" );
   }
   const std::vector< Component > components = componentsOf( rule.key );
   const std::size_t size = out.size();
   try {
      Writer( out ).writeMatch( rule.key, components );
   } catch ( const Inexpressible& ) {
      FlowspecKey canonical = rule.key;
      if ( Wire::CanonicalRule( rule.key ).toKey( canonical ) ) {
         throw;
      }
      out.resize( size );
      Writer( out ).writeMatch( canonical, componentsOf( canonical ) );
   }
   Writer( out ).writeBlock( communitiesOf( rule, context ) );
}

} // namespace Forms
