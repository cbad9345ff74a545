#include "Vek/types/TypeRegistry.h"

#include <iostream>

// Finds types by name that nothing here mentions.
int main() {
   int status = 0;
   for ( const char* name :
         { "Zorv::IpGenPrefix", "QosLib::ColoredCounters", "Flowspec::RuleConfig",
           "Flowspec::FlowspecPolicyConfig", "Peers::Peer" } ) {
      if ( !Vek::TypeRegistry::find( name ) ) {
         std::cerr << name << " is not registered\n";
         status = 1;
      }
   }
   return status;
}
