// What a host needs before any Windows object exists: a fresh identifier for the server's
// named objects and the full command line that starts the server.
#pragma once

#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

class HostCommand {
public:
    // A random identifier in the usual GUID text form, e.g. "{8C1A...-...}".
    static VXString newGuid();
    // The quoted server path, a blank, then the server's own options.
    static VXResult build(const VXString& serverPath, const VXRect& captureRect, const VXString& guid,
                          bool unitTestMode, VXString& commandLine);
    // The quoted server path, a blank, then serverOptions as they are.
    static VXResult join(const VXString& serverPath, const VXString& serverOptions, VXString& commandLine);
};

}  // namespace Vistrel
