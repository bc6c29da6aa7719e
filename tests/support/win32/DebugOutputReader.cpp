#include "DebugOutputReader.h"

#include <cstring>

#include "VXChecks.h"

namespace Vistrel {

namespace {

constexpr wchar_t kBufferName[] = L"DBWIN_BUFFER";
constexpr wchar_t kBufferReadyName[] = L"DBWIN_BUFFER_READY";
constexpr wchar_t kDataReadyName[] = L"DBWIN_DATA_READY";
constexpr uint32_t kProcessIdBytes = sizeof(DWORD);

VXResult takenBy(const wchar_t* name) {
    return VXResult(VXError::eInUse,
                    u"The debug output buffer is held by another reader (a debugger, a log viewer or "
                    u"another host): \"%s\" already exists (Win32 error %d). The server's log is not "
                    u"collected; capturing goes on",
                    name, static_cast<int32_t>(ERROR_ALREADY_EXISTS));
}

// Creates a named object that must not exist yet; an existing one is left alone.
VXResult createOwn(HANDLE handle, const wchar_t* name, const char16_t* call, HANDLE& out) {
    const DWORD error = GetLastError();
    if (handle == nullptr)
        return VXResult::fromWin32Error(call, error);
    if (error == ERROR_ALREADY_EXISTS) {
        CloseHandle(handle);
        return takenBy(name);
    }
    out = handle;
    return VXError::eNoError;
}

}  // namespace

VXResult DebugOutputReader::open(Sink sink, std::unique_ptr<DebugOutputReader>& reader) {
    VX_CHECK_PARAM(sink != nullptr);
    std::unique_ptr<DebugOutputReader> r(new DebugOutputReader);
    r->_sink = std::move(sink);
    VX_RETURN_IF_ERROR(createOwn(CreateEventW(nullptr, FALSE, FALSE, kBufferReadyName), kBufferReadyName,
                                 u"CreateEvent", r->_bufferReady));
    VX_RETURN_IF_ERROR(createOwn(CreateEventW(nullptr, FALSE, FALSE, kDataReadyName), kDataReadyName,
                                 u"CreateEvent", r->_dataReady));
    VX_RETURN_IF_ERROR(createOwn(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBufferBytes, kBufferName),
        kBufferName, u"CreateFileMapping", r->_mapping));
    r->_view = static_cast<const uint8_t*>(MapViewOfFile(r->_mapping, FILE_MAP_READ, 0, 0, kBufferBytes));
    if (r->_view == nullptr)
        return VX_WIN32_ERROR(u"MapViewOfFile");
    r->_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    r->_watchSet = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    r->_finished = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (r->_stop == nullptr || r->_watchSet == nullptr || r->_finished == nullptr)
        return VX_WIN32_ERROR(u"CreateEvent");
    DebugOutputReader* self = r.get();
    r->_thread = std::thread([self] { self->run_(); });
    reader = std::move(r);
    return VXError::eNoError;
}

DebugOutputReader::~DebugOutputReader() {
    stop();
    release_();
    for (HANDLE h : {_stop, _watchSet, _finished}) {
        if (h != nullptr)
            CloseHandle(h);
    }
}

void DebugOutputReader::release_() {
    if (_view != nullptr)
        UnmapViewOfFile(_view);
    _view = nullptr;
    for (HANDLE* h : {&_mapping, &_dataReady, &_bufferReady}) {
        if (*h != nullptr)
            CloseHandle(*h);
        *h = nullptr;
    }
}

void DebugOutputReader::watch(uint32_t processId, HANDLE process) {
    _process = process;
    _processId = processId;
    SetEvent(_watchSet);
}

void DebugOutputReader::waitUntilStopped(uint32_t timeoutMs) {
    if (_thread.joinable() && WaitForSingleObject(_finished, timeoutMs) == WAIT_OBJECT_0)
        _thread.join();
}

void DebugOutputReader::stop() {
    if (_stop != nullptr)
        SetEvent(_stop);
    if (_thread.joinable())
        _thread.join();
}

void DebugOutputReader::run_() {
    SetEvent(_bufferReady);
    HANDLE third = _watchSet;
    for (;;) {
        // The stop request first, so that a flood of other processes' messages cannot hold the
        // reader; a pending message before the end of its process, so that none is lost.
        const HANDLE handles[] = {_stop, _dataReady, third};
        const DWORD wait = WaitForMultipleObjects(3, handles, FALSE, INFINITE);
        if (wait == WAIT_OBJECT_0 + 1) {
            DWORD processId = 0;
            std::memcpy(&processId, _view, kProcessIdBytes);
            if (processId == _processId && processId != 0) {
                const char* text = reinterpret_cast<const char*>(_view + kProcessIdBytes);
                _sink(std::string(text, strnlen(text, kBufferBytes - kProcessIdBytes)));
                ++_delivered;
            } else {
                ++_dropped;
            }
            SetEvent(_bufferReady);
        } else if (wait == WAIT_OBJECT_0 + 2 && third == _watchSet && _process != nullptr) {
            third = _process;
        } else {
            break;  // stopped, the watched process ended, or the wait itself failed
        }
    }
    // Writers wait for a reader as long as the buffer exists: give it back at once, not when
    // the host gets round to destroying this object.
    release_();
    SetEvent(_finished);
}

}  // namespace Vistrel
