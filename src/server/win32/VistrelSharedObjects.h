// Vistrel::SharedObjects: the two named events and five named blocks through which host and
// server exchange requests and results, created (or joined) once from the Params' names.
// Fields are released in field order: the events, then the blocks.
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

    // An event the system refuses is logged and left without a handle (the first wait on it
    // fails); the first block that fails ends creation, and sharedObjects is left as it was.
    static VXResult create(const Params& params, std::shared_ptr<SharedObjects>& sharedObjects);
};

}  // namespace Vistrel
