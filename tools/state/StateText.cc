#include "tools/state/StateText.h"

#include "Vek/text/Text.h"
#include "forms/Printable.h"
#include "tools/state/ValueText.h"

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Forms;

void appendState( Vek::String& out, Vek::NamedEntity& root, bool json ) {
   const Vek::String state = stateText( root );
   const Vek::String name = printable( root.name() );
   if ( json ) {
      const nlohmann::ordered_json object{
         { "root", name }, { "type", root.typeInfo().name }, { "state", state } };
      out += object.dump() + '\n';
   } else {
      out += Vek::concat( root.typeInfo().name, ' ', name, '\n', state );
   }
}

} // namespace Tools
