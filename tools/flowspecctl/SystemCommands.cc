#include "tools/flowspecctl/SystemCommands.h"

#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/system/ShowInterfaces.h"
#include "tools/flowspecctl/system/ShowRoots.h"
#include "tools/flowspecctl/system/ShowRules.h"

#include <limits>

namespace Flowspec::Tools {

namespace {

using Zorv::AddressFamily;

constexpr const char* exitStatus =
   "Exit status: 0 when it was done, 1 when it was not, 2 for wrong usage.";

// An option that names a root.
struct Root {
   const char* option;
   const char* help;
   Vek::String SystemOptions::*name;
};
constexpr Root configRoot{ "--config-root", "Name of the root that holds the rules",
                           &SystemOptions::config };
constexpr Root cliConfigRoot{ "--cli-config-root",
                              "Name of the root that holds what operators configure",
                              &SystemOptions::cliConfig };
constexpr Root statusRoot{ "--status-root", "Name of the root that holds the status",
                           &SystemOptions::status };
constexpr Root counterRoot{ "--counter-root", "Name of the root that holds the counters",
                            &SystemOptions::counter };

void addSystem( CLI::App& command, SystemOptions& system, std::initializer_list< Root > roots ) {
   addSocket( command, system.endpoint );
   for ( const Root& root : roots ) {
      command.add_option( root.option, system.*root.name, root.help )
         ->type_name( "NAME" )
         ->capture_default_str();
   }
   command.footer( exitStatus );
}

// An interface as "intf3" or "3".
std::optional< Zorv::IntfId > interface( const Vek::String& text ) {
   const auto number = Vek::decimal( text, std::numeric_limits< U64 >::max() );
   return number ? Zorv::IntfId( *number ) : Zorv::IntfId::fromText( text );
}

std::optional< U16 > interfaceSet( const Vek::String& text ) {
   const auto number = Vek::decimal( text, maxInterfaceSetId );
   return number ? std::optional( static_cast< U16 >( *number ) ) : std::nullopt;
}

// Operands whose texts `read` turns into optionals of what `list` holds.
template < typename Read, typename Element >
CLI::Option* addList( CLI::App& command, const char* name, const char* help, Read read,
                      const char* expected, std::vector< Element >& list ) {
   return command
      .add_option_function< std::vector< Vek::String > >(
         name,
         [=, &list]( const std::vector< Vek::String >& texts ) {
            for ( const Vek::String& text : texts ) {
               const auto element = read( text );
               if ( !element ) {
                  throw CLI::ValidationError(
                     name, Vek::concat( "'", text, "' is not ", std::string_view( expected ) ) );
               }
               list.push_back( *element );
            }
         },
         help )
      ->type_name( "" );
}

std::optional< AddressFamily > ipFamily( std::string_view text ) {
   const auto family = Zorv::addressFamily( text );
   return family == AddressFamily::ipv4 || family == AddressFamily::ipv6 ? family : std::nullopt;
}

std::optional< HwRuleProgrammingStatus > statusCode( std::string_view text ) {
   for ( const Vek::Enumerator& row : hwRuleProgrammingStatusRows ) {
      if ( row.name == text ) {
         return static_cast< HwRuleProgrammingStatus >( row.number );
      }
   }
   return std::nullopt;
}

std::optional< double > seconds( const Vek::String& text ) {
   const auto number = Vek::decimal( text, 86400 );
   return number && *number > 0 ? std::optional( static_cast< double >( *number ) ) : std::nullopt;
}

} // namespace

SystemCommands::SystemCommands( CLI::App& app ) {
   addShow( app );
   CLI::App& refresh = *app.add_subcommand(
      "refresh", "Have counters read from hardware, and wait until they are there" );
   addSystem( refresh, show_.system, { cliConfigRoot, counterRoot } );
   add( refresh, [this]( Output& output ) {
      runRefresh( show_.system, output );
      return true;
   } );
   addChange( app, "enable", "Have rules applied to packets of interfaces", CliChange::enable );
   addChange( app, "disable", "Have rules no longer applied", CliChange::disable );
   addChange( app, "interface-set", "Say in which interface sets an interface is",
              CliChange::interfaceSet );
   addChange( app, "vrf-override", "Say in which VRF an interface's packets are matched",
              CliChange::vrfOverride );
   CLI::App& watch = *app.add_subcommand( "watch", "Print changes as they happen, a line each" );
   addSocket( watch, watch_.endpoint );
   watch.add_flag( "--json", watch_.json, "Write an object for each change" );
   watch.add_flag( "--initial", watch_.initial, "Begin with what is there" );
   watch.add_option( "ROOT", watch_.roots, "Names of roots; those of the system when not given" )
      ->type_name( "" );
   watch.footer( "Exit status: 1 when it cannot begin or write, 2 for wrong usage; else it goes on "
                 "until a signal ends it." );
   add( watch, [this]( Output& output ) {
      runWatch( watch_, output );
      return true;
   } );
}

void SystemCommands::add( const CLI::App& command, Action action ) {
   actions_.emplace_back( &command, std::move( action ) );
}

std::optional< bool > SystemCommands::run( Output& output ) {
   for ( const auto& [command, action] : actions_ ) {
      if ( command->parsed() ) {
         return action( output );
      }
   }
   return std::nullopt;
}

CLI::App& SystemCommands::addListing( CLI::App& show, const char* name, const char* help,
                                      void ( *list )( const ShowOptions&, Output& ) ) {
   CLI::App& command = *show.add_subcommand( name, help );
   command.add_flag( "--json", show_.json, "Write an object on each line" );
   addVrf( command, "Only what is in this VRF", show_.filter.vrfId );
   addFamily( command, "to leave out the other", show_.filter.family );
   add( command, [=, this]( Output& output ) {
      list( show_, output );
      return true;
   } );
   return command;
}

void SystemCommands::addShow( CLI::App& app ) {
   CLI::App& show = *app.add_subcommand( "show", "Show the state of a running system" );
   show.require_subcommand( 1 );
   CLI::App& rules =
      addListing( show, "rules", "The configured rules with their actions", showRules );
   addSystem( rules, show_.system, { configRoot, statusRoot } );
   CLI::App& status =
      addListing( show, "status", "What became of the rules in hardware", showStatus );
   addSystem( status, show_.system, { statusRoot } );
   CLI::App& counters =
      addListing( show, "counters", "What the rules counted, as it was last read", showCounters );
   addSystem( counters, show_.system, { counterRoot, statusRoot, cliConfigRoot } );
   addOption( counters, "--rate", "SECONDS",
              "Read them now and once more, and show the rates between", seconds,
              "a whole number of seconds from 1 to 86400",
              [this]( double interval ) { show_.interval = interval; } );
   for ( CLI::App* const command : { &rules, &status, &counters } ) {
      addOption( *command, "--status", "CODE,...", "Only rules with one of these status codes",
                 listOf( statusCode ), "a list of status codes, such as programmed",
                 [this]( const auto& codes ) { show_.filter.status = codes; } );
   }
   CLI::App& interfaces =
      addListing( show, "interfaces", "Where rules are applied, and the interface sets in use",
                  showInterfaces );
   addSystem( interfaces, show_.system, { statusRoot, cliConfigRoot } );
   CLI::App& unsupported =
      addListing( show, "unsupported", "What the hardware cannot do", showUnsupported );
   addSystem( unsupported, show_.system, { statusRoot } );
   CLI::App& roots =
      *show.add_subcommand( "roots", "The roots of the state database, and who writes them" );
   addSystem( roots, show_.system, {} );
   roots.add_flag( "--json", show_.json, "Write an object on each line" );
   add( roots, [this]( Output& output ) {
      showRoots( show_, output );
      return true;
   } );
   CLI::App& rule = *show.add_subcommand( "rule", "All that is known of a rule" );
   addSystem( rule, show_.system, { configRoot, statusRoot, counterRoot } );
   rule.add_flag( "--json", show_.json, "Write an object" );
   addFrom( rule, show_.from );
   addVrf( rule, "Only the rule of this VRF", show_.filter.vrfId );
   addFamily( rule, "to leave out the other", show_.filter.family );
   rule.add_option( "KEY", show_.key, "The rule's key" )->required()->type_name( "" );
   add( rule, [this]( Output& output ) { return showRule( show_, output ); } );
}

void SystemCommands::addChange( CLI::App& app, const char* name, const char* help,
                                CliChange change ) {
   CLI::App& command = *app.add_subcommand( name, help );
   addSystem( command, change_.system, { cliConfigRoot } );
   const bool many = change == CliChange::enable || change == CliChange::disable;
   CLI::Option* const operand =
      many ? addList( command, "INTERFACE", "Interfaces, such as intf3 or 3", interface,
                      "an interface", change_.intfs )
           : addOption( command, "INTERFACE", "", "Interface, such as intf3 or 3", interface,
                        "an interface",
                        [this]( Zorv::IntfId intf ) { change_.intfs.push_back( intf ); } );
   operand->required();
   if ( many ) {
      addOption( command, "--family", "FAMILY", "Address family, ipv4 or ipv6; both when not given",
                 ipFamily, "ipv4 or ipv6",
                 [this]( AddressFamily family ) { change_.family = family; } );
   }
   if ( change == CliChange::enable ) {
      command.add_option( "--vrf", change_.vrf, "Name of the VRF whose rules apply" )
         ->type_name( "NAME" );
   }
   if ( change == CliChange::interfaceSet ) {
      addList( command, "SET", "Interface sets, numbers from 0 to 16383; none when not given",
               interfaceSet, "an interface set, a number from 0 to 16383", change_.interfaceSets );
   }
   if ( change == CliChange::vrfOverride ) {
      command
         .add_option( "VRF", change_.vrf, "Name of the VRF; the interface's own when not given" )
         ->type_name( "" );
   }
   add( command, [=, this]( Output& ) {
      changeCliConfig( change, change_ );
      return true;
   } );
}

} // namespace Flowspec::Tools
