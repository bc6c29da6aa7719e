// Test helper: starts a helper program that lives beside the test executable and collects
// its exit code, so that a test can put a second real process on the other side of a name.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

class ChildProcess {
public:
    static constexpr uint32_t kNoExitCode = 0xFFFFFFFFu;

    // program: file name in the test executable's folder; arguments: the rest of the line.
    ChildProcess(const std::wstring& program, const std::wstring& arguments) {
        std::wstring line = L"\"" + besideTest(program) + L"\" " + arguments;
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                           &_info)) {
            CloseHandle(_info.hThread);
            _started = true;
        }
    }
    ~ChildProcess() {
        if (!_started)
            return;
        if (WaitForSingleObject(_info.hProcess, 0) == WAIT_TIMEOUT)
            TerminateProcess(_info.hProcess, kNoExitCode);
        CloseHandle(_info.hProcess);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool started() const { return _started; }
    // The exit code, or kNoExitCode when the process did not end in time.
    uint32_t wait(uint32_t timeoutMs) {
        if (!_started || WaitForSingleObject(_info.hProcess, timeoutMs) != WAIT_OBJECT_0)
            return kNoExitCode;
        DWORD code = kNoExitCode;
        GetExitCodeProcess(_info.hProcess, &code);
        return code;
    }

    static std::wstring besideTest(const std::wstring& file) {
        wchar_t path[MAX_PATH];
        const DWORD n = GetModuleFileNameW(nullptr, path, MAX_PATH);
        std::wstring folder(path, n);
        return folder.substr(0, folder.find_last_of(L'\\') + 1) + file;
    }

private:
    PROCESS_INFORMATION _info{};
    bool _started = false;
};
