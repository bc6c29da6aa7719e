// The C interface over Vistrel::Host; no exception and no C++ type crosses it.
#include "vistrel_host.h"

#include <new>

#include "VXChecks.h"
#include "VistrelExchange.h"
#include "VistrelHost.h"

struct VistrelHost {
    std::unique_ptr<Vistrel::Host> host;
    Vistrel::Capture capture;
    VXString text;
    VXString lastError;
    VXString logText;
    VXString lastDump;
};

namespace {

int32_t remember(VistrelHost* h, const VXResult& result) {
    if (h != nullptr)
        h->lastError = result.isError() ? result.message() : VXString();
    return result.code();
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
    if (c.result.code <= VXError::eNoError && c.image) {
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

extern "C" int32_t vistrel_host_start_with_log(const wchar_t* serverPath, int32_t left, int32_t top,
                                               int32_t right, int32_t bottom, int32_t unitTestMode,
                                               const wchar_t* logPath, VistrelLogCallback callback,
                                               void* context, VistrelHost** host) {
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
    if (logPath != nullptr)
        options.logPath = VXString::fromWide(logPath);
    if (callback != nullptr) {
        options.logCallback = [callback, context](std::string_view line, bool fromHost) {
            const std::string text(line);
            callback(context, text.c_str(), fromHost ? 1 : 0);
        };
    }
    const int32_t code = remember(h, Vistrel::Host::start(options, h->host));
    *host = h;
    return code;
}

extern "C" int32_t vistrel_host_log_result(VistrelHost* h, const wchar_t** text) {
    if (h == nullptr)
        return VXError::eBadParameter;
    const VXResult r = h->host ? h->host->logResult() : VXResult(VXError::eNoError);
    h->logText = r.isError() ? r.message() : VXString();
    if (text != nullptr)
        *text = h->logText.wstr();
    return r.code();
}

extern "C" const wchar_t* vistrel_host_last_dump(VistrelHost* h) {
    if (h == nullptr || !h->host)
        return L"";
    const std::vector<VXString> dumps = h->host->dumpFiles();
    h->lastDump = dumps.empty() ? VXString() : dumps.back();
    return h->lastDump.wstr();
}
