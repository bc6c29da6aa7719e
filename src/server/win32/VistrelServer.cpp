#include "VistrelServer.h"

#include <windows.h>

#include <vector>

#include "HookD3D.h"
#include "MagD3DScreenReader.h"
#include "MagnificationDll.h"
#include "SerializeUtils.h"
#include "VXChecks.h"
#include "VXImageUtils.h"
#include "VistrelExchange.h"

namespace Vistrel {

namespace {

// Room for the record header and the terminator when a result text has to be shortened.
constexpr uint32_t kResultTextRoom = (kResultBlockSize - SerializeUtils::kResultHeaderSize) / 2 - 1;
constexpr char16_t kCutMark[] = u" [...]";

}  // namespace

VXResult getCommandLineArgs(const char16_t* commandLine, VXString& cmdLineArgs) {
    VX_CHECK_PARAM(commandLine);
    // The program name ends at the first blank outside double quotes.
    bool quoted = false;
    const char16_t* p = commandLine;
    for (; *p != u'\0'; ++p) {
        if (*p == u'"')
            quoted = !quoted;
        if (*p == u' ' && !quoted)
            break;
    }
    cmdLineArgs = p;
    return VXError::eNoError;
}

VXResult getCommandLineArgs(VXString& cmdLineArgs) {
    return getCommandLineArgs(reinterpret_cast<const char16_t*>(GetCommandLineW()), cmdLineArgs);
}

VXResult writeResult(const std::shared_ptr<SharedProcessMemory>& shMemResult, const VXResult& result) {
    VX_CHECK_PARAM(shMemResult);
    VX_CHECK_PARAM(shMemResult->view);
    auto* view = static_cast<uint8_t*>(shMemResult->view);
    if (result.message().length() > kResultTextRoom) {
        // A chain too long for the block still tells the host its code and its beginning.
        VXResult shortened(result.code(), u"%s%s",
                           VXString(result.message().c_str(), static_cast<int32_t>(kResultTextRoom - 6)),
                           kCutMark);
        if (SerializeUtils::writeResult(view, kResultBlockSize, shortened) == nullptr) {
            return VX_ERROR(VXError::eUnexpected, u"Failed writing result");
        }
        return VXError::eNoError;
    }
    if (SerializeUtils::writeResult(view, kResultBlockSize, result) == nullptr) {
        return VX_ERROR(VXError::eUnexpected, u"Failed writing result");
    }
    return VXError::eNoError;
}

VXResult serveRequests(const VXRect& captureRect, const std::shared_ptr<SharedObjects>& sharedObjects,
                       bool unitTestMode) {
    VX_CHECK_PARAM(!captureRect.isEmpty());
    VX_CHECK_PARAM(sharedObjects);
    VX_CHECK_PARAM(sharedObjects->eventStart);
    VX_CHECK_PARAM(sharedObjects->eventCompleted);
    VX_CHECK_PARAM(sharedObjects->shMemExclWnds);
    VX_CHECK_PARAM(sharedObjects->shMemCaptureCursor);
    VX_CHECK_PARAM(sharedObjects->shMemImage);
    VX_CHECK_PARAM(sharedObjects->shMemWaitResult);
    VX_CHECK_PARAM(sharedObjects->shMemResult);
    const SharedObjects& objects = *sharedObjects;

    std::shared_ptr<VXImage> image;
    VX_RETURN_IF_ERROR(VXImageUtils::createImage(VXSize(captureRect.getWidth(), captureRect.getHeight()), 32,
                                                 nullptr, image));
    auto reader = std::make_unique<MagD3DScreenReader>();
    VX_RETURN_IF_ERROR(reader->setup(captureRect, image));

    const uint32_t imageBlock = imageBlockSize(captureRect);
    std::vector<uint64_t> handles;
    std::vector<HWND> windows;
    VXResult waitResult = objects.eventStart->wait(kRequestTimeoutMs);
    while (waitResult.isSuccess()) {
        if (SerializeUtils::readWindowList(static_cast<const uint8_t*>(objects.shMemExclWnds->view),
                                           kExclWndsBlockSize, handles) == nullptr) {
            return VX_ERROR(VXError::eUnexpected, u"Failed reading excluded windows");
        }
        bool captureCursor = false;
        if (SerializeUtils::readBool(static_cast<const uint8_t*>(objects.shMemCaptureCursor->view),
                                     captureCursor) == nullptr) {
            return VX_ERROR(VXError::eUnexpected, u"Failed reading capture cursor flag");
        }
        windows.clear();
        for (uint64_t handle : handles)
            windows.push_back(reinterpret_cast<HWND>(static_cast<uintptr_t>(handle)));

        VXResult request = reader->setExcludedWindows(windows);
        if (request.isSuccess())
            request = reader->setCaptureCursor(captureCursor);
        if (request.isSuccess() && !unitTestMode)
            request = reader->readScreen();

        // A failed capture leaves the previous image and wait record in place.
        if (request.isSuccess()) {
            if (SerializeUtils::writeImage(static_cast<uint8_t*>(objects.shMemImage->view), imageBlock,
                                           image) == nullptr) {
                return VX_ERROR(VXError::eUnexpected, u"Failed writing image");
            }
            const WaitRecord wait{reader->getStabilizationRounds(), reader->getStabilizationTimeMs(),
                                  reader->isStabilizationTimedOut()};
            if (SerializeUtils::writeWaitRecord(static_cast<uint8_t*>(objects.shMemWaitResult->view), wait) ==
                nullptr) {
                return VX_ERROR(VXError::eUnexpected, u"Failed writing wait performance indicators");
            }
        }
        VX_RETURN_IF_ERROR(writeResult(objects.shMemResult, request));
        VX_RETURN_IF_ERROR(objects.eventCompleted->set());
        waitResult = objects.eventStart->wait(kRequestTimeoutMs);
    }
    reader.reset();
    return VX_CHAIN(waitResult);
}

VXResult run(const Params& params, const std::shared_ptr<SharedObjects>& sharedObjects, bool unitTestMode) {
    // The binding and MagInitialize first; the interception on its own so that a failure to
    // install it can still be paired with MagUninitialize.
    VX_RETURN_IF_ERROR(initMagnification(true));
    if (!unitTestMode) {
        const VXResult hooked = HookD3D::installStretchRectHook(HookD3D::eCallOriginalNever);
        if (hooked.isError()) {
            uninitMagnification(true);
            return VX_CHAIN(hooked);
        }
    }
    VXResult served = serveRequests(params.captureRect, sharedObjects, unitTestMode);  // moved out at the end
    uninitMagnification(unitTestMode);
    if (served.isError())
        return VX_CHAIN(served);
    return served;
}

}  // namespace Vistrel
