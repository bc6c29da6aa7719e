#include "VistrelSharedObjects.h"

#include <new>

#include "VXChecks.h"
#include "VistrelExchange.h"

Vistrel::SharedObjects::~SharedObjects() {
    // Members would go in reverse order by themselves; the exchange's order is field order.
    eventStart.reset();
    eventCompleted.reset();
    shMemExclWnds.reset();
    shMemCaptureCursor.reset();
    shMemImage.reset();
    shMemWaitResult.reset();
    shMemResult.reset();
}

VXResult Vistrel::SharedObjects::create(const Params& params, std::shared_ptr<SharedObjects>& sharedObjects,
                                        VXSharedMapping::Open mode) {
    std::shared_ptr<SharedObjects> objects(new (std::nothrow) SharedObjects());
    if (!objects)
        return VX_ERROR(VXError::eNoMemory, u"No memory for the shared objects");
    // Unlike a Windows event, an event that cannot be made is a failure here: without its
    // futex word nothing could wait on it.
    VX_RETURN_IF_ERROR(VXEvent::create(params.eventStartName, mode, objects->eventStart));
    VX_RETURN_IF_ERROR(VXEvent::create(params.eventCompletedName, mode, objects->eventCompleted));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(params.exclWndsName.c_str(), kExclWndsBlockSize,
                                                   objects->shMemExclWnds, mode));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(params.captureCursorName.c_str(), kCaptureCursorBlockSize,
                                                   objects->shMemCaptureCursor, mode));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(
        params.imageName.c_str(), imageBlockSize(params.captureRect), objects->shMemImage, mode));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(params.waitResultName.c_str(), kWaitResultBlockSize,
                                                   objects->shMemWaitResult, mode));
    VX_RETURN_IF_ERROR(
        SharedProcessMemory::create(params.resultName.c_str(), kResultBlockSize, objects->shMemResult, mode));
    sharedObjects = std::move(objects);
    return VXError::eNoError;
}
