#pragma once

#include "Vek/text/Text.h"
#include "Vrf/VrfIdMap.h"
#include "Zorv/AddressFamily.h"
#include "forms/KeyForms.h"

#include <CLI/CLI.hpp>

/// Options that several commands have.
namespace Tools {

/// An option whose text `read` turns into an optional; `expected` names what it takes.
template < typename Read, typename Take >
CLI::Option* addOption( CLI::App& command, const char* name, const char* type,
                        const Vek::String& help, Read read, const Vek::String& expected,
                        Take take ) {
   return command
      .add_option_function< Vek::String >(
         name,
         [=]( const Vek::String& text ) {
            const auto value = read( text );
            if ( !value ) {
               throw CLI::ValidationError( name, Vek::concat( "'", text, "' is not ", expected ) );
            }
            take( *value );
         },
         help )
      ->type_name( type );
}

/// A reader of the list whose elements, with commas between them, `read` turns into optionals.
template < typename Read >
auto listOf( Read read ) {
   return [=]( std::string_view texts ) {
      using Element = typename decltype( read( texts ) )::value_type;
      std::optional< std::vector< Element > > list( std::in_place );
      for ( bool more = true; more; ) {
         const std::size_t comma = texts.find( ',' );
         const auto element = read( texts.substr( 0, comma ) );
         if ( !element ) {
            return std::optional< std::vector< Element > >();
         }
         list->push_back( *element );
         more = comma != texts.npos;
         texts.remove_prefix( more ? comma + 1 : texts.size() );
      }
      return list;
   };
}

/// What a rule has where its text does not tell.
struct RuleDefaults {
   std::optional< Zorv::RouteDistinguisher > rd;
   std::optional< Vrf::VrfIdMap::VrfId > vrfId;
   std::optional< Zorv::AddressFamily > family;

   /// Makes `rule` one that has only these, and keeps the memory that it holds.
   void reset( Forms::Rule& rule ) const;
};

/// The order of the output.
enum class Order : U8 {
   input,
   key, ///< of `FlowspecKeyOrder`
   rfc, ///< in which routers try rules (`wire/Precedence.h`)
};
struct Sort {
   Order order = Order::input;
   /// What came after `--sort` and is no order: the first file.
   std::optional< Vek::String > file;
};
/// Whether a rule with key `a` is written before one with key `b`; false for `Order::input`.
bool isBefore( Order order, const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b );

/// Replaces a key by the canonical one that admits the same packets (`wire/Canonical.h`). A reason,
/// and the key as it was, when there is none.
[[nodiscard]] Forms::Reason makeCanonical( Flowspec::FlowspecKey& key );

/// The first attribute or component in which the packets of two keys differ, such as "destPort";
/// "" when they are equivalent. Both have an address family.
Vek::String difference( const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b );

/// The names of all forms, or of those that can be read.
Vek::String formNames( bool readableOnly );

/// `--from`, the form of rules.
void addFrom( CLI::App& command, Forms::Form& from );
/// `--rd`, `--vrf` and `--family`, for rules whose form has none.
CLI::Option* addRd( CLI::App& command, RuleDefaults& defaults );
void addVrf( CLI::App& command, RuleDefaults& defaults );
void addFamily( CLI::App& command, RuleDefaults& defaults );
/// `--vrf`, a number, and `--family`, with another meaning.
void addVrf( CLI::App& command, const Vek::String& help,
             std::optional< Vrf::VrfIdMap::VrfId >& vrfId );
void addFamily( CLI::App& command, const Vek::String& help,
                std::optional< Zorv::AddressFamily >& family );
/// `--sort`, with or without `rfc`; `--canonical`; `--equivalent`, two rules.
void addSort( CLI::App& command, Sort& sort );
void addCanonical( CLI::App& command, bool& canonical );
void addEquivalent( CLI::App& command, std::vector< Vek::String >& rules );
/// `--socket`, where the state database listens.
void addSocket( CLI::App& command, Vek::String& endpoint );
/// `--strict`, for texts that are not what they seem to be (`forms/Doubts.h`).
void addStrict( CLI::App& command, bool& strict );
/// The files of a command that reads lines, and its footer.
void addFiles( CLI::App& command, std::vector< Vek::String >& files );

} // namespace Tools
