// Reads other processes' debug output through the shared buffer, as a log viewer does: under
// a debugger the unhandled-exception filter would never be called.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <thread>

class DebugOutputMonitor {
public:
    DebugOutputMonitor() {
        _bufferReady = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_BUFFER_READY");
        const bool taken = GetLastError() == ERROR_ALREADY_EXISTS;
        _dataReady = CreateEventW(nullptr, FALSE, FALSE, L"DBWIN_DATA_READY");
        _mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, kBufferSize,
                                      L"DBWIN_BUFFER");
        _view = _mapping != nullptr
                    ? static_cast<const char*>(MapViewOfFile(_mapping, FILE_MAP_READ, 0, 0, 0))
                    : nullptr;
        _ok = !taken && _bufferReady != nullptr && _dataReady != nullptr && _view != nullptr;
        if (_ok)
            _thread = std::thread([this] { run(); });
    }
    ~DebugOutputMonitor() {
        _stop = true;
        if (_thread.joinable())
            _thread.join();
        if (_view != nullptr)
            UnmapViewOfFile(_view);
        for (HANDLE h : {_mapping, _dataReady, _bufferReady}) {
            if (h != nullptr)
                CloseHandle(h);
        }
    }
    DebugOutputMonitor(const DebugOutputMonitor&) = delete;
    DebugOutputMonitor& operator=(const DebugOutputMonitor&) = delete;

    bool ok() const { return _ok; }
    std::string textOf(DWORD processId) const {
        std::lock_guard<std::mutex> guard(_lock);
        const auto it = _text.find(processId);
        return it != _text.end() ? it->second : std::string();
    }

private:
    static constexpr DWORD kBufferSize = 4096;
    static constexpr DWORD kPollMs = 50;

    void run() {
        SetEvent(_bufferReady);
        while (!_stop) {
            if (WaitForSingleObject(_dataReady, kPollMs) != WAIT_OBJECT_0)
                continue;
            DWORD processId = 0;
            std::memcpy(&processId, _view, sizeof(processId));
            const char* text = _view + sizeof(DWORD);
            const size_t length = strnlen(text, kBufferSize - sizeof(DWORD));
            {
                std::lock_guard<std::mutex> guard(_lock);
                _text[processId].append(text, length);
            }
            SetEvent(_bufferReady);
        }
    }

    HANDLE _bufferReady = nullptr;
    HANDLE _dataReady = nullptr;
    HANDLE _mapping = nullptr;
    const char* _view = nullptr;
    bool _ok = false;
    std::atomic<bool> _stop{false};
    std::thread _thread;
    mutable std::mutex _lock;
    std::map<DWORD, std::string> _text;
};
