// Vistrel::SharedObjects on Linux: the two named events and five named blocks through which
// host and server exchange requests and results, made from the Params' names as POSIX shared
// memory. Same members, sizes and release order (field order) as on Windows. What this process
// created it also removes when the record goes; what it only opened (a host's objects) stays.
#pragma once

#include <memory>

#include "SharedProcessMemory.h"
#include "VXEvent.h"
#include "VXResult.h"
#include "VistrelParams.h"

namespace Vistrel {

struct SharedObjects {
    std::shared_ptr<VXEvent> eventStart;      // host to server, auto-reset
    std::shared_ptr<VXEvent> eventCompleted;  // server to host, auto-reset
    std::shared_ptr<SharedProcessMemory> shMemExclWnds;
    std::shared_ptr<SharedProcessMemory> shMemCaptureCursor;
    std::shared_ptr<SharedProcessMemory> shMemImage;
    std::shared_ptr<SharedProcessMemory> shMemWaitResult;
    std::shared_ptr<SharedProcessMemory> shMemResult;

    SharedObjects() = default;
    ~SharedObjects();
    SharedObjects(const SharedObjects&) = delete;
    SharedObjects& operator=(const SharedObjects&) = delete;

    // Creates (mode 0600) or opens each object as `mode` says, in field order; the first that
    // fails ends creation (what was made so far goes again), and sharedObjects is left as it was.
    static VXResult create(const Params& params, std::shared_ptr<SharedObjects>& sharedObjects,
                           VXSharedMapping::Open mode = VXSharedMapping::Open::eCreateOrOpen);
};

}  // namespace Vistrel
