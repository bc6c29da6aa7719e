// The C interface over Vistrel::Host; no exception and no C++ type crosses it.
#include "vistrel_host.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <string>

#include "MonitorList.h"
#include "VXChecks.h"
#include "VistrelExchange.h"
#include "VistrelHost.h"

#ifndef VISTREL_VERSION_TEXT
#error "VISTREL_VERSION_TEXT comes from the build"
#endif

struct VistrelHost {
    std::unique_ptr<Vistrel::Host> host;
    Vistrel::Capture capture;
    VXString text;
    VXString lastError;
    VXString logText;
    VXString lastDump;
    std::vector<VistrelRect> rects;
};

namespace {

// The first version's structures: anything smaller cannot be a caller's.
constexpr uint32_t kStartOptionsV1 = offsetof(VistrelStartOptions, unitTestMode) + sizeof(int32_t);
constexpr uint32_t kFrameV1 = offsetof(VistrelFrame, microseconds) + sizeof(uint64_t);

static_assert(VISTREL_MAX_EXCLUDED_WINDOWS == Vistrel::kMaxExcludedWindows);
static_assert(VISTREL_SERVER_ENDED == VXThreadError::eNotRunning);

// "Vistrel.exe" beside this DLL: a host in another language runs inside its own interpreter's
// executable, so the program's folder would be the wrong place to look.
VXString serverBesideLibrary() {
    HMODULE self = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&serverBesideLibrary), &self)) {
        return VXString(u"Vistrel.exe");
    }
    std::wstring path(MAX_PATH, L'\0');
    DWORD n = 0;
    while ((n = GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size()))) == path.size())
        path.resize(path.size() * 2);
    path.resize(n);
    return Vistrel::folderOf(VXString::fromWide(path.c_str())) + VXString(u"Vistrel.exe");
}

// Whether the caller's structure is new enough to hold member (and everything before it).
template <typename S, typename M>
bool reaches(const S* s, M S::*member) {
    const size_t end = reinterpret_cast<size_t>(&(s->*member)) - reinterpret_cast<size_t>(s) + sizeof(M);
    return s->size >= end;
}

int32_t remember(VistrelHost* h, const VXResult& result) {
    if (h != nullptr)
        h->lastError = result.isError() ? result.message() : VXString();
    return result.code();
}

// Everything after the size member, as far as the caller's structure reaches.
void clearFrame(VistrelFrame* frame) {
    const size_t end = frame->size < sizeof(VistrelFrame) ? frame->size : sizeof(VistrelFrame);
    std::memset(reinterpret_cast<uint8_t*>(frame) + sizeof(frame->size), 0, end - sizeof(frame->size));
}

VistrelRect toC(const VXRect& r) {
    return VistrelRect{r.getLeft(), r.getTop(), r.getRight(), r.getBottom()};
}

int32_t capture(VistrelHost* h, const uint64_t* windows, uint32_t windowCount, int32_t captureCursor,
                uint32_t timeoutMs, VistrelFrame* frame) {
    // The count is checked before the list is touched: nothing past an allowed list is read.
    if (windowCount > Vistrel::kMaxExcludedWindows || (windows == nullptr && windowCount > 0)) {
        return remember(h, VX_ERROR(VXError::eBadParameter, u"Window list of %u entries refused (at most %u)",
                                    windowCount, Vistrel::kMaxExcludedWindows));
    }
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
    if (c.result.code <= VXError::eNoError && c.image) {
        for (const VXRect& r : c.updatedRegion)
            h->rects.push_back(toC(r));
        if (reaches(frame, &VistrelFrame::rects)) {  // a 1.0 caller's frame ends before them
            frame->rectCount = static_cast<uint32_t>(h->rects.size());
            frame->rects = h->rects.data();
        }
        frame->pixels = c.image->getBits();
        frame->width = c.image->getWidth();
        frame->height = c.image->getHeight();
        frame->stride = c.image->getBytesPerLine();
        frame->waitIterations = c.wait.iterations;
        frame->waitMilliseconds = c.wait.milliseconds;
        frame->waitTimedOut = c.wait.timedOut ? 1 : 0;
    }
    frame->microseconds = c.microseconds;
    return remember(h, VXError::eNoError);
}

}  // namespace

extern "C" VISTREL_HOST_API const char* vistrel_host_version(void) {
    return VISTREL_VERSION_TEXT;
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_start(const VistrelStartOptions* options,
                                                       VistrelHost** host) {
    if (host == nullptr)
        return VXError::eBadParameter;
    *host = nullptr;
    auto* h = new (std::nothrow) VistrelHost;
    if (h == nullptr)
        return VXError::eNoMemory;
    *host = h;  // handed out even on failure, so that the caller can read the error text
    try {
        if (options == nullptr || options->size < kStartOptionsV1)
            return remember(h, VX_ERROR(VXError::eBadParameter, u"Start options missing or too small"));
        Vistrel::HostOptions hostOptions;
        hostOptions.captureRect = VXRect(options->left, options->top, options->right, options->bottom);
        hostOptions.serverPath =
            options->serverPath != nullptr ? VXString::fromWide(options->serverPath) : serverBesideLibrary();
        if (options->identifier != nullptr)
            hostOptions.guid = VXString::fromWide(options->identifier);
        hostOptions.unitTestMode = options->unitTestMode != 0;
        if (reaches(options, &VistrelStartOptions::logContext)) {
            if (options->logPath != nullptr)
                hostOptions.logPath = VXString::fromWide(options->logPath);
            if (VistrelLogCallback callback = options->logCallback) {
                void* context = options->logContext;
                hostOptions.logCallback = [callback, context](std::string_view line, bool fromHost) {
                    const std::string text(line);
                    callback(context, text.c_str(), fromHost ? 1 : 0);
                };
            }
        }
        return remember(h, Vistrel::Host::start(hostOptions, h->host));
    } catch (...) {
        return remember(h, VX_ERROR(VXError::eUnexpected, u"Exception while starting the server"));
    }
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_capture(VistrelHost* h, const uint64_t* windows,
                                                         uint32_t windowCount, int32_t captureCursor,
                                                         uint32_t timeoutMs, VistrelFrame* frame) {
    if (frame == nullptr || frame->size < kFrameV1)
        return remember(h, VX_ERROR(VXError::eBadParameter, u"Frame missing or too small"));
    clearFrame(frame);
    if (h == nullptr)
        return VXError::eBadParameter;
    int32_t code = VXError::eUnexpected;
    try {
        code = capture(h, windows, windowCount, captureCursor, timeoutMs, frame);
    } catch (...) {
        code = remember(h, VX_ERROR(VXError::eUnexpected, u"Exception during a capture"));
    }
    if (code != VXError::eNoError)
        clearFrame(frame);  // never the previous frame's pointers
    return code;
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_wait_exit(VistrelHost* h, uint32_t timeoutMs,
                                                           uint32_t* exitCode, int32_t* finalCode) {
    if (h == nullptr || exitCode == nullptr || finalCode == nullptr)
        return remember(h, VX_ERROR(VXError::eBadParameter, u"Null argument"));
    if (!h->host)
        return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
    try {
        Vistrel::ResultRecord final;
        const VXResult r = h->host->waitForExit(timeoutMs, *exitCode, final);
        if (r.isSuccess()) {
            *finalCode = final.code;
            h->text = final.text;
        }
        return remember(h, r);
    } catch (...) {
        return remember(h, VX_ERROR(VXError::eUnexpected, u"Exception while waiting for the server"));
    }
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_last_text(const VistrelHost* h) {
    return h == nullptr ? L"" : h->text.wstr();
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_last_error(const VistrelHost* h) {
    return h == nullptr ? L"" : h->lastError.wstr();
}

extern "C" VISTREL_HOST_API void vistrel_host_close(VistrelHost* h) {
    delete h;
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_log_result(VistrelHost* h, const wchar_t** text) {
    if (h == nullptr)
        return VXError::eBadParameter;
    const VXResult r = h->host ? h->host->logResult() : VXResult(VXError::eNoError);
    h->logText = r.isError() ? r.message() : VXString();
    if (text != nullptr)
        *text = h->logText.wstr();
    return r.code();
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_last_dump(VistrelHost* h) {
    if (h == nullptr || !h->host)
        return L"";
    const std::vector<VXString> dumps = h->host->dumpFiles();
    h->lastDump = dumps.empty() ? VXString() : dumps.back();
    return h->lastDump.wstr();
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_set_frame_mode(VistrelHost* h, int32_t mode) {
    if (h == nullptr || mode < VISTREL_FRAME_COPY || mode > VISTREL_FRAME_ZERO_COPY_WITH_REGION)
        return VXError::eBadParameter;
    if (!h->host)
        return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
    static constexpr Vistrel::FrameMode kModes[] = {Vistrel::FrameMode::eCopy, Vistrel::FrameMode::eZeroCopy,
                                                    Vistrel::FrameMode::eZeroCopyWithRegion};
    h->host->setFrameMode(kModes[mode]);
    return remember(h, VXError::eNoError);
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_list_monitors(VistrelMonitor* monitors, uint32_t capacity,
                                                               uint32_t* count, VistrelRect* virtualScreen) {
    if (count == nullptr || (monitors == nullptr && capacity > 0))
        return VXError::eBadParameter;
    std::vector<Vistrel::MonitorInfo> found;
    VXRect all;
    try {
        const VXResult r = Vistrel::MonitorList::list(found, all);
        if (r.isError())
            return r.code();
    } catch (...) {
        return VXError::eNoMemory;
    }
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
