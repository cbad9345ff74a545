#include "Vek/types/RuntimeModule.h"
#include "Vek/types/ValueInfo.h"
#include "Zorv/ZorvModule.h"
#include "peers/PeerRequests.h"
#include "peers/PeerTable.h"
#include "peers/RuleDeadlines.h"

namespace Peers {

namespace {

constexpr std::string_view needs[] = { "Vek::String", "Zorv::IpGenAddr", "Flowspec::FlowspecKey" };

constinit Vek::Module
   module( "Peers",
           Vek::types< PeerTable, Peer, UnfiledRule, PeerRequests, RuleDeadlines, RouteKey,
                       Capabilities, FamilyState, MessageCounts, RuleCounts, SessionState, Family >,
           needs );

/// Loads the module while this library is there.
class Loader {
public:
   Loader() {
      Vek::runtimeModule.loaded();
      Zorv::zorvModule.loaded();
      module.loaded();
   }
   Loader( const Loader& ) = delete;
   Loader& operator=( const Loader& ) = delete;
   ~Loader() { module.unloaded(); }
};

const Loader loader;

} // namespace

} // namespace Peers

// By this name a linker finds what is in this file, though nothing calls it.
extern "C" const char flowspecPeersModule;
const char flowspecPeersModule = 0;
