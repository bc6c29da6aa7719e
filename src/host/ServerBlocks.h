// The five blocks of a server's named objects by their role, as the host's exchange reads and
// writes them; the same on both platforms, whose SharedObjects have the same fields.
#pragma once

#include <cstdint>

#include "ServerInstance.h"
#include "VistrelSharedObjects.h"

namespace Vistrel {

// The mapped view of `block`; valid while `objects` is.
uint8_t* blockView(const SharedObjects& objects, ServerInstance::Block block);

}  // namespace Vistrel
