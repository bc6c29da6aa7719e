#include "VistrelServer.h"

#include <cstring>
#include <vector>

#include "SerializeUtils.h"
#include "VXChecks.h"
#include "VXImageUtils.h"
#include "VistrelExchange.h"

namespace Vistrel {

namespace {

// Room for the record header and the terminator when a result text has to be shortened.
constexpr uint32_t kResultTextRoom = (kResultBlockSize - SerializeUtils::kResultHeaderSize) / 2 - 1;
constexpr char16_t kCutMark[] = u" [...]";
constexpr uint32_t kCutMarkLength = sizeof(kCutMark) / sizeof(char16_t) - 1;

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}

// Without a capture (unit-test mode) the image goes out as made: zeros, as a freshly made
// bitmap holds, rather than whatever the allocator handed over.
void clearImage(VXImage& image) {
    const size_t rowBytes =
        static_cast<size_t>(image.getBytesPerPixel()) * static_cast<size_t>(image.getWidth());
    for (int32_t row = 0; row < image.getHeight(); ++row) {
        uint8_t* line = image.getLinePtr(row);
        if (line != nullptr)
            std::memset(line, 0, rowBytes);
    }
}

}  // namespace

VXResult writeResult(const std::shared_ptr<SharedProcessMemory>& shMemResult, const VXResult& result) {
    VX_CHECK_PARAM(shMemResult);
    VX_CHECK_PARAM(shMemResult->view);
    auto* view = static_cast<uint8_t*>(shMemResult->view);
    const VXString& message = result.message();
    if (message.length() > kResultTextRoom) {
        // A chain too long for the block still tells the host its code and its beginning; a
        // surrogate pair at the cut goes as a whole, never half of it.
        uint32_t keep = kResultTextRoom - kCutMarkLength;
        if (isHighSurrogate(message[keep - 1]))
            --keep;
        VXResult shortened(result.code(), u"%s%s", VXString(message.c_str(), static_cast<int32_t>(keep)),
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
                       bool unitTestMode, ServerPlatform& platform) {
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
    clearImage(*image);
    std::unique_ptr<ScreenReader> reader = platform.makeReader();
    VX_RETURN_IF_ERROR(reader->setup(captureRect, image));

    const uint32_t imageBlock = imageBlockSize(captureRect);
    std::vector<uint64_t> handles;
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

        VXResult request = reader->setExcludedWindows(handles);
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
        // No later request could be served: the final result tells the host why, at once
        // rather than after the idle end.
        if (request.isError() && reader->isSourceLost()) {
            reader.reset();
            return VX_CHAIN(request);
        }
        waitResult = objects.eventStart->wait(kRequestTimeoutMs);
    }
    reader.reset();
    return VX_CHAIN(waitResult);
}

VXResult run(const Params& params, const std::shared_ptr<SharedObjects>& sharedObjects, bool unitTestMode,
             ServerPlatform& platform) {
    VX_RETURN_IF_ERROR(platform.startCapture(unitTestMode));
    VXResult served = serveRequests(params.captureRect, sharedObjects, unitTestMode, platform);
    platform.stopCapture(unitTestMode);
    if (served.isError())
        return VX_CHAIN(served);
    return served;
}

}  // namespace Vistrel
