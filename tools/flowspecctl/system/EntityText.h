#pragma once

#include "Vek/entity/Entity.h"
#include "Vek/log/StreamType.h"

/// How the commands that compare and watch states of any types call what they find there.
namespace Tools {

/// What the rows of an entity's type take as their object.
const void* addressOf( const Vek::Entity& entity );

/// As `appendValue`, but for rule keys, which people read better in their value form.
Vek::String textOf( const Vek::ValueType& type, const void* value );

/// Appends an entity that is no root to the way to it: after what is before it, its type's last
/// name and its constructor parameters, such as "VrfRuleStatus 0, InterfaceSet 3".
void appendStep( Vek::String& path, const Vek::Entity& entity, Vek::log::StreamTypes& types );

} // namespace Tools
