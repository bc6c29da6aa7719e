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
        _view = static_cast<const char*>(MapViewOfFile(_mapping, FILE_MAP_READ, 0, 0, 0));
        if (!taken && _bufferReady != nullptr && _dataReady != nullptr && _view != nullptr)
            _thread = std::thread([this] { run(); });
    }
    ~DebugOutputMonitor() {
        _stop = true;
        if (_thread.joinable())
            _thread.join();
        UnmapViewOfFile(_view);  // null handles and views are refused harmlessly
        for (HANDLE h : {_mapping, _dataReady, _bufferReady})
            CloseHandle(h);
    }

    bool ok() const { return _thread.joinable(); }
    std::string textOf(DWORD processId) const {
        std::lock_guard<std::mutex> guard(_lock);
        const auto it = _text.find(processId);
        return it != _text.end() ? it->second : std::string();
    }

private:
    static constexpr DWORD kBufferSize = 4096;
    void run() {
        SetEvent(_bufferReady);
        while (!_stop) {
            if (WaitForSingleObject(_dataReady, 50) != WAIT_OBJECT_0)  // looks at _stop between waits
                continue;
            DWORD processId = 0;
            std::memcpy(&processId, _view, sizeof(processId));
            const char* text = _view + sizeof(DWORD);
            std::unique_lock<std::mutex> guard(_lock);
            _text[processId].append(text, strnlen(text, kBufferSize - sizeof(DWORD)));
            guard.unlock();
            SetEvent(_bufferReady);
        }
    }

    HANDLE _bufferReady = nullptr;
    HANDLE _dataReady = nullptr;
    HANDLE _mapping = nullptr;
    const char* _view = nullptr;
    std::atomic<bool> _stop{false};
    std::thread _thread;
    mutable std::mutex _lock;
    std::map<DWORD, std::string> _text;
};
