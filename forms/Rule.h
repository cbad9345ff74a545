#pragma once

#include "forms/dialects/Dialect.h"

namespace Flowspec::Tools {

using Forms::Rule;

} // namespace Flowspec::Tools
