// What a host needs before any object exists: a fresh identifier for the server's named
// objects, the rule a given identifier must follow, and the full command line that starts the
// server.
#pragma once

#include "VXRect.h"
#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

class HostCommand {
public:
    static constexpr uint32_t kMaxIdentifierLength = 64;

    // A random identifier in the usual GUID text form, e.g. "{8C1A...-...}", from the system's
    // cryptographic generator.
    static VXResult newGuid(VXString& guid);
    // 2005 naming the rule unless the identifier is 1 to 64 ASCII letters, digits, '-', '{'
    // and '}': anything else could reach the server's command line or the objects' names.
    static VXResult checkIdentifier(const VXString& identifier);
    // 2005 unless the rectangle is non-empty and its image block (header, rows and slack) fits
    // in 32 bits; checked before any object or image is made for it.
    static VXResult checkRect(const VXRect& captureRect);
    // The quoted server path, a blank, then the server's own options.
    static VXResult build(const VXString& serverPath, const VXRect& captureRect, const VXString& guid,
                          bool unitTestMode, VXString& commandLine);
    // The quoted server path, a blank, then serverOptions as they are.
    static VXResult join(const VXString& serverPath, const VXString& serverOptions, VXString& commandLine);
};

}  // namespace Vistrel
