#include "VistrelSharedObjects.h"

#include <new>

#include "VXChecks.h"
#include "VistrelExchange.h"

namespace {

// Both sides name the objects alike and without a "Local\" or "Global\" prefix, so they
// meet in the session namespace.
constexpr int32_t kEventScope = VXSync::eScopeOpen;
constexpr bool kAutoReset = false;

VXResult makeEvent(const VXString& name, std::shared_ptr<VXEvent>& event) {
    try {
        event = std::make_shared<VXEvent>(name.c_str(), kAutoReset, kEventScope);
    } catch (const std::bad_alloc&) {
        return VX_ERROR(VXError::eNoMemory, u"No memory for event \"%s\"", name);
    }
    return VXError::eNoError;
}

}  // namespace

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

VXResult Vistrel::SharedObjects::create(const Params& params, std::shared_ptr<SharedObjects>& sharedObjects) {
    std::shared_ptr<SharedObjects> objects;
    try {
        objects = std::make_shared<SharedObjects>();
    } catch (const std::bad_alloc&) {
        return VX_ERROR(VXError::eNoMemory, u"No memory for the shared objects");
    }
    VX_RETURN_IF_ERROR(makeEvent(params.eventStartName, objects->eventStart));
    VX_RETURN_IF_ERROR(makeEvent(params.eventCompletedName, objects->eventCompleted));
    VX_RETURN_IF_ERROR(
        SharedProcessMemory::create(params.exclWndsName.c_str(), kExclWndsBlockSize, objects->shMemExclWnds));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(params.captureCursorName.c_str(), kCaptureCursorBlockSize,
                                                   objects->shMemCaptureCursor));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(params.imageName.c_str(),
                                                   imageBlockSize(params.captureRect), objects->shMemImage));
    VX_RETURN_IF_ERROR(SharedProcessMemory::create(params.waitResultName.c_str(), kWaitResultBlockSize,
                                                   objects->shMemWaitResult));
    VX_RETURN_IF_ERROR(
        SharedProcessMemory::create(params.resultName.c_str(), kResultBlockSize, objects->shMemResult));
    sharedObjects = std::move(objects);
    return VXError::eNoError;
}
