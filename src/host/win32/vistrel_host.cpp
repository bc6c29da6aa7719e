// The C interface over Vistrel::Host; no exception and no C++ type crosses it.
#include "vistrel_host.h"

#include <algorithm>
#include <new>

#include "MonitorList.h"
#include "VXChecks.h"
#include "VistrelExchange.h"
#include "VistrelHost.h"

struct VistrelHost {
    std::unique_ptr<Vistrel::Host> host;
    Vistrel::Capture capture;
    VXString text;
    VXString lastError;
    std::vector<VistrelRect> rects;
};

namespace {

int32_t remember(VistrelHost* h, const VXResult& result) {
    if (h != nullptr)
        h->lastError = result.isError() ? result.message() : VXString();
    return result.code();
}

VistrelRect toC(const VXRect& r) {
    return VistrelRect{r.getLeft(), r.getTop(), r.getRight(), r.getBottom()};
}

}  // namespace

extern "C" int32_t vistrel_host_start(const wchar_t* serverPath, int32_t left, int32_t top, int32_t right,
                                      int32_t bottom, int32_t unitTestMode, VistrelHost** host) {
    if (host == nullptr)
        return VXError::eBadParameter;
    *host = nullptr;
    auto* h = new (std::nothrow) VistrelHost;
    if (h == nullptr)
        return VXError::eNoMemory;
    Vistrel::HostOptions options;
    options.captureRect = VXRect(left, top, right, bottom);
    if (serverPath != nullptr)
        options.serverPath = VXString::fromWide(serverPath);
    options.unitTestMode = unitTestMode != 0;
    const int32_t code = remember(h, Vistrel::Host::start(options, h->host));
    *host = h;  // handed out even on failure, so that the caller can read the error text
    return code;
}

extern "C" int32_t vistrel_host_capture(VistrelHost* h, const uint64_t* windows, uint32_t windowCount,
                                        int32_t captureCursor, uint32_t timeoutMs, VistrelFrame* frame) {
    if (h == nullptr || frame == nullptr || (windows == nullptr && windowCount > 0))
        return VXError::eBadParameter;
    if (!h->host)
        return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
    const std::vector<uint64_t> list(windows, windows + windowCount);
    const VXResult r = h->host->capture(list, captureCursor != 0, h->capture, timeoutMs);
    if (r.isError())
        return remember(h, r);
    const Vistrel::Capture& c = h->capture;
    h->text = c.result.text;
    frame->code = c.result.code;
    frame->text = h->text.wstr();
    h->rects.clear();
    frame->rectCount = 0;
    frame->rects = nullptr;
    if (c.result.code <= VXError::eNoError && c.image) {
        for (const VXRect& r : c.updatedRegion)
            h->rects.push_back(toC(r));
        frame->rectCount = static_cast<uint32_t>(h->rects.size());
        frame->rects = h->rects.data();
        frame->pixels = c.image->getBits();
        frame->width = c.image->getWidth();
        frame->height = c.image->getHeight();
        frame->stride = c.image->getBytesPerLine();
        frame->waitIterations = c.wait.iterations;
        frame->waitMilliseconds = c.wait.milliseconds;
        frame->waitTimedOut = c.wait.timedOut ? 1 : 0;
    }
    frame->microseconds = c.microseconds;
    return remember(h, VXResult(c.result.code, u"%s", c.result.text));
}

extern "C" int32_t vistrel_host_wait_exit(VistrelHost* h, uint32_t timeoutMs, uint32_t* exitCode,
                                          int32_t* finalCode) {
    if (h == nullptr || exitCode == nullptr || finalCode == nullptr)
        return VXError::eBadParameter;
    if (!h->host)
        return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
    Vistrel::ResultRecord final;
    const VXResult r = h->host->waitForExit(timeoutMs, *exitCode, final);
    if (r.isSuccess()) {
        *finalCode = final.code;
        h->text = final.text;
    }
    return remember(h, r);
}

extern "C" const wchar_t* vistrel_host_last_text(const VistrelHost* h) {
    return h == nullptr ? L"" : h->text.wstr();
}

extern "C" const wchar_t* vistrel_host_last_error(const VistrelHost* h) {
    return h == nullptr ? L"" : h->lastError.wstr();
}

extern "C" void vistrel_host_close(VistrelHost* h) {
    delete h;
}

extern "C" int32_t vistrel_host_set_frame_mode(VistrelHost* h, int32_t mode) {
    if (h == nullptr || mode < VISTREL_FRAME_COPY || mode > VISTREL_FRAME_ZERO_COPY_WITH_REGION)
        return VXError::eBadParameter;
    if (!h->host)
        return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
    static constexpr Vistrel::FrameMode kModes[] = {Vistrel::FrameMode::eCopy, Vistrel::FrameMode::eZeroCopy,
                                                    Vistrel::FrameMode::eZeroCopyWithRegion};
    h->host->setFrameMode(kModes[mode]);
    return remember(h, VXError::eNoError);
}

extern "C" int32_t vistrel_host_list_monitors(VistrelMonitor* monitors, uint32_t capacity, uint32_t* count,
                                              VistrelRect* virtualScreen) {
    if (count == nullptr || (monitors == nullptr && capacity > 0))
        return VXError::eBadParameter;
    std::vector<Vistrel::MonitorInfo> found;
    VXRect all;
    const VXResult r = Vistrel::MonitorList::list(found, all);
    if (r.isError())
        return r.code();
    *count = static_cast<uint32_t>(found.size());
    for (uint32_t i = 0; i < std::min(capacity, *count); ++i) {
        VistrelMonitor& m = monitors[i];
        m.bounds = toC(found[i].bounds);
        m.workArea = toC(found[i].workArea);
        m.primary = found[i].primary ? 1 : 0;
        // The name came from a field of the same size, so it always fits with its terminator.
        const wchar_t* name = found[i].deviceName.wstr();
        size_t k = 0;
        for (; k + 1 < sizeof(m.deviceName) / sizeof(wchar_t) && name[k] != L'\0'; ++k)
            m.deviceName[k] = name[k];
        m.deviceName[k] = L'\0';
    }
    if (virtualScreen != nullptr)
        *virtualScreen = toC(all);
    return VXError::eNoError;
}
