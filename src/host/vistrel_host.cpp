// The C interface over Vistrel::Host, the same on every platform; no exception and no C++ type
// crosses it. Calls on one host are counted, so that close from another thread can cancel the
// capture in progress and free the host only once every call has left.
#include "vistrel_host.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

#include "HostPlatform.h"
#include "MonitorList.h"
#include "VXChecks.h"
#include "VistrelExchange.h"
#include "VistrelHost.h"
#include "VistrelHostCommand.h"

#ifndef VISTREL_VERSION_TEXT
#error "VISTREL_VERSION_TEXT comes from the build"
#endif

namespace {

// The interface's wchar_t text is each platform's own (UTF-16 or UTF-32).
std::wstring toWide(const VXString& text) {
    if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
        return std::wstring(reinterpret_cast<const wchar_t*>(text.c_str()), text.length());
    } else {
        std::wstring wide;
        for (uint32_t i = 0; i < text.length(); ++i) {
            const char32_t unit = text[i];
            if (unit >= 0xD800 && unit < 0xDC00 && i + 1 < text.length() && text[i + 1] >= 0xDC00 &&
                text[i + 1] < 0xE000) {
                wide.push_back(
                    static_cast<wchar_t>(0x10000 + ((unit - 0xD800) << 10) + (text[i + 1] - 0xDC00)));
                ++i;
            } else {
                wide.push_back(static_cast<wchar_t>(unit));
            }
        }
        return wide;
    }
}

VXString fromWide(const wchar_t* text) {
    if constexpr (sizeof(wchar_t) == sizeof(char16_t)) {
        return VXString(reinterpret_cast<const char16_t*>(text));
    } else {
        VXString out;
        for (; *text != L'\0'; ++text) {
            const auto c = static_cast<char32_t>(*text);
            if (c >= 0x10000) {
                out.append(static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10)));
                out.append(static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
            } else {
                out.append(static_cast<char16_t>(c));
            }
        }
        return out;
    }
}

}  // namespace

struct VistrelHost {
    std::unique_ptr<Vistrel::Host> host;
    Vistrel::Capture capture;
    std::wstring text;
    std::wstring lastError;
    std::wstring identifier;
    std::wstring lastDump;
    std::vector<VistrelRect> rects;

    // Calls in progress, and whether close has begun: close waits for the count to reach 0.
    std::mutex calls;
    std::condition_variable idle;
    uint32_t active = 0;
    bool closing = false;
};

namespace {

// The 1.0 structures (options up to logContext, frame up to rects: 72 bytes each on 64 bits):
// anything smaller cannot be a caller's.
constexpr uint32_t kStartOptionsV1 = offsetof(VistrelStartOptions, logContext) + sizeof(void*);
constexpr uint32_t kFrameV1 = offsetof(VistrelFrame, rects) + sizeof(void*);

static_assert(VISTREL_MAX_EXCLUDED_WINDOWS == Vistrel::kMaxExcludedWindows);
static_assert(VISTREL_SERVER_ENDED == VXThreadError::eNotRunning);
static_assert(VISTREL_CANCELED == VXError::eUserCanceled);
static_assert(VISTREL_IDENTIFIER_IN_USE == VXError::eExists);
static_assert(VISTREL_LOG_NOT_OPENED == VXError::eIOError);
static_assert(VISTREL_BUSY == VXError::eBusy);
static_assert(VISTREL_CLOSE_BOUND_MS == Vistrel::Host::kCloseBoundMs);

// The host whose log callback runs on this thread, if any: a callback cannot close its own host.
thread_local const VistrelHost* tlsCallbackHost = nullptr;

// Counts one call on a host for as long as it runs; refused once close has begun.
class CallScope {
public:
    explicit CallScope(VistrelHost* h) : _h(h) {
        std::lock_guard<std::mutex> guard(_h->calls);
        _entered = !_h->closing;
        _h->active += _entered ? 1 : 0;
    }
    ~CallScope() {
        if (!_entered)
            return;
        std::lock_guard<std::mutex> guard(_h->calls);
        if (--_h->active == 0)
            _h->idle.notify_all();
    }
    bool entered() const { return _entered; }

private:
    VistrelHost* _h;
    bool _entered = false;
};

// Whether the caller's structure is new enough to hold member (and everything before it).
template <typename S, typename M>
bool reaches(const S* s, M S::*member) {
    const size_t end = reinterpret_cast<size_t>(&(s->*member)) - reinterpret_cast<size_t>(s) + sizeof(M);
    return s->size >= end;
}

int32_t remember(VistrelHost* h, const VXResult& result) {
    if (h != nullptr)
        h->lastError = result.isError() ? toWide(result.message()) : std::wstring();
    return result.code();
}

// Runs one exported call's body: no exception crosses the interface. A failure's text goes to
// the host's last error when there is a host.
template <typename Body>
int32_t guarded(VistrelHost* h, const char16_t* what, Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        try {
            return remember(h, VX_ERROR(VXError::eUnexpected, u"Exception %s", what));
        } catch (...) {
            return VXError::eUnexpected;
        }
    }
}

// The same for the calls that return a text: "" when anything throws.
template <typename Body>
const wchar_t* guardedText(Body&& body) noexcept {
    try {
        return body();
    } catch (...) {
        return L"";
    }
}

int32_t closing(VistrelHost* h) {
    (void)h;  // its texts belong to the call that closes it
    return VXError::eUserCanceled;
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
    h->text = toWide(c.result.text);
    frame->code = c.result.code;
    frame->text = h->text.c_str();
    h->rects.clear();
    if (c.result.code <= VXError::eNoError && c.image) {
        for (const VXRect& rect : c.updatedRegion)
            h->rects.push_back(toC(rect));
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
    return remember(h, VXError::eNoError);
}

int32_t listMonitors(VistrelMonitor* monitors, uint32_t capacity, uint32_t* count,
                     VistrelRect* virtualScreen) {
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
        // Cut to the field with its terminator (Windows' names come from a field of this size;
        // an X monitor's name may be longer).
        const std::wstring name = toWide(found[i].deviceName);
        size_t k = 0;
        for (; k + 1 < sizeof(m.deviceName) / sizeof(wchar_t) && k < name.size(); ++k)
            m.deviceName[k] = name[k];
        m.deviceName[k] = L'\0';
    }
    if (virtualScreen != nullptr)
        *virtualScreen = toC(all);
    return VXError::eNoError;
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
    *host = h;           // handed out even on failure, so that the caller can read the error text
    CallScope scope(h);  // a close from another thread (or the log callback) waits for the start
    try {
        if (options == nullptr || options->size < kStartOptionsV1)
            return remember(h, VX_ERROR(VXError::eBadParameter, u"Start options missing or too small"));
        Vistrel::HostOptions hostOptions;
        hostOptions.captureRect = VXRect(options->left, options->top, options->right, options->bottom);
        hostOptions.serverPath = options->serverPath != nullptr
                                     ? fromWide(options->serverPath)
                                     : Vistrel::HostPlatform::serverBesideLibrary();
        if (hostOptions.serverPath.isEmpty())
            return remember(
                h, VX_ERROR(VXError::eNotFound, u"Server not found: the library's own folder is unknown"));
        if (options->identifier != nullptr) {
            hostOptions.guid = fromWide(options->identifier);
            // An empty given identifier is a bad one, not a request for a fresh one.
            if (hostOptions.guid.isEmpty())
                return remember(h, Vistrel::HostCommand::checkIdentifier(hostOptions.guid));
        }
        hostOptions.unitTestMode = options->unitTestMode != 0;
        if (options->logPath != nullptr)
            hostOptions.logPath = fromWide(options->logPath);
        if (VistrelLogCallback callback = options->logCallback) {
            void* context = options->logContext;
            hostOptions.logCallback = [callback, context, h](std::string_view line, bool fromHost) {
                const std::string text(line);
                tlsCallbackHost = h;
                callback(context, text.c_str(), fromHost ? 1 : 0);
                tlsCallbackHost = nullptr;
            };
        }
        if (reaches(options, &VistrelStartOptions::maxCrashRestartsPerMinute)) {
            hostOptions.autoRestart = options->autoRestart != 0;
            hostOptions.maxCrashRestartsPerMinute = options->maxCrashRestartsPerMinute;
        }
        if (reaches(options, &VistrelStartOptions::maxDumpFiles)) {
            hostOptions.logMaxBytes = options->logMaxBytes;
            hostOptions.maxDumpFiles = options->maxDumpFiles;
        }
        return remember(h, Vistrel::Host::start(hostOptions, h->host));
    } catch (...) {
        return remember(h, VX_ERROR(VXError::eUnexpected, u"Exception while starting the server"));
    }
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_capture(VistrelHost* h, const uint64_t* windows,
                                                         uint32_t windowCount, int32_t captureCursor,
                                                         uint32_t timeoutMs, VistrelFrame* frame) {
    if (frame == nullptr || frame->size < kFrameV1) {
        if (h == nullptr)
            return VXError::eBadParameter;
        CallScope scope(h);
        return scope.entered() ? remember(h, VX_ERROR(VXError::eBadParameter, u"Frame missing or too small"))
                               : closing(h);
    }
    clearFrame(frame);
    if (h == nullptr)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
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
    if (h == nullptr)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
    return guarded(h, u"while waiting for the server", [&]() -> int32_t {
        if (exitCode == nullptr || finalCode == nullptr)
            return remember(h, VX_ERROR(VXError::eBadParameter, u"Null argument"));
        if (!h->host)
            return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
        Vistrel::ResultRecord final;
        const VXResult r = h->host->waitForExit(timeoutMs, *exitCode, final);
        if (r.isSuccess()) {
            *finalCode = final.code;
            h->text = toWide(final.text);
        }
        return remember(h, r);
    });
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_last_text(const VistrelHost* h) {
    return h == nullptr ? L"" : h->text.c_str();
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_last_error(const VistrelHost* h) {
    return h == nullptr ? L"" : h->lastError.c_str();
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_close(VistrelHost* h) {
    if (h == nullptr)
        return VXError::eNoError;
    // The log thread cannot wait for itself to finish delivering.
    if (tlsCallbackHost == h)
        return VXError::eBusy;
    {
        std::unique_lock<std::mutex> guard(h->calls);
        if (h->closing)
            return VXError::eBusy;  // another thread closes it already
        h->closing = true;
        if (h->host)
            h->host->stop();  // the capture in progress returns; every later call is refused
        h->idle.wait(guard, [h] { return h->active == 0; });
    }
    // No call is inside any more and none can enter: freeing is safe.
    return guarded(nullptr, u"while closing the host", [h]() -> int32_t {
        delete h;
        return VXError::eNoError;
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_cancel(VistrelHost* h) {
    if (h == nullptr)
        return VXError::eBadParameter;
    return guarded(nullptr, u"while cancelling", [h]() -> int32_t {
        if (h->host)  // set once by start, before any other thread can have the host
            h->host->cancel();
        return VXError::eNoError;
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_set_rect(VistrelHost* h, const VistrelRect* rect) {
    if (h == nullptr)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
    return guarded(h, u"while setting the rectangle", [&]() -> int32_t {
        if (rect == nullptr)
            return remember(h, VX_ERROR(VXError::eBadParameter, u"Null rectangle"));
        if (!h->host)
            return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
        return remember(h, h->host->setCaptureRect(VXRect(rect->left, rect->top, rect->right, rect->bottom)));
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_restart_count(VistrelHost* h, uint32_t* count) {
    if (h == nullptr || count == nullptr)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
    return guarded(h, u"while counting restarts", [&]() -> int32_t {
        *count = h->host ? h->host->restartCount() : 0;
        return VXError::eNoError;
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_server_process_id(VistrelHost* h, uint32_t* processId) {
    if (h == nullptr || processId == nullptr)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
    return guarded(h, u"while reading the process id", [&]() -> int32_t {
        if (!h->host)
            return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
        *processId = h->host->processId();
        return VXError::eNoError;
    });
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_identifier(VistrelHost* h) {
    if (h == nullptr)
        return L"";
    CallScope scope(h);
    if (!scope.entered() || !h->host)
        return L"";
    return guardedText([h] {
        h->identifier = toWide(h->host->identifier());
        return h->identifier.c_str();
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_log_result(VistrelHost* h, const wchar_t** text) {
    if (h == nullptr)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
    return guarded(h, u"while reading the log's result", [&]() -> int32_t {
        if (text != nullptr)
            *text = L"";
        return h->host ? remember(h, h->host->logResult()) : remember(h, VXError::eNoError);
    });
}

extern "C" VISTREL_HOST_API const wchar_t* vistrel_host_last_dump(VistrelHost* h) {
    if (h == nullptr)
        return L"";
    CallScope scope(h);
    if (!scope.entered() || !h->host)
        return L"";
    return guardedText([h] {
        const std::vector<VXString> dumps = h->host->dumpFiles();
        h->lastDump = dumps.empty() ? std::wstring() : toWide(dumps.back());
        return h->lastDump.c_str();
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_set_frame_mode(VistrelHost* h, int32_t mode) {
    if (h == nullptr || mode < VISTREL_FRAME_COPY || mode > VISTREL_FRAME_ZERO_COPY_WITH_REGION)
        return VXError::eBadParameter;
    CallScope scope(h);
    if (!scope.entered())
        return closing(h);
    return guarded(h, u"while setting the frame mode", [&]() -> int32_t {
        if (!h->host)
            return remember(h, VXResult(VXError::eNotInitialized, u"Server not started"));
        static constexpr Vistrel::FrameMode kModes[] = {Vistrel::FrameMode::eCopy,
                                                        Vistrel::FrameMode::eZeroCopy,
                                                        Vistrel::FrameMode::eZeroCopyWithRegion};
        h->host->setFrameMode(kModes[mode]);
        return remember(h, VXError::eNoError);
    });
}

extern "C" VISTREL_HOST_API int32_t vistrel_host_list_monitors(VistrelMonitor* monitors, uint32_t capacity,
                                                               uint32_t* count, VistrelRect* virtualScreen) {
    if (count == nullptr || (monitors == nullptr && capacity > 0))
        return VXError::eBadParameter;
    return guarded(nullptr, u"while listing the monitors",
                   [&]() -> int32_t { return listMonitors(monitors, capacity, count, virtualScreen); });
}
