// The Windows half of LogPipe.h: a named pipe in message mode with one instance, whose name comes
// from the system's generator. Each of the server's writes (one log record) is one message, read
// whole. The client end, opened at once so that nobody else can connect, is the write end; it is
// inheritable, but only ever inherited through the starter's explicit handle list.
#include "LogPipe.h"

#include <windows.h>

#include <cstdio>

#include "HostPlatform.h"
#include "VXChecks.h"

namespace Vistrel {

namespace {

// Room for a burst (a crash dump's lines) while the reader hands records on.
constexpr DWORD kPipeBytes = 65536;

}  // namespace

LogPipe::~LogPipe() {
    closeWriteEnd();
    if (_read != -1)
        CloseHandle(reinterpret_cast<HANDLE>(_read));
}

VXResult LogPipe::create(std::unique_ptr<LogPipe>& pipe) {
    uint64_t random[2] = {};
    VX_RETURN_IF_ERROR(HostPlatform::randomBytes(random, sizeof(random)));
    wchar_t name[96];
    std::swprintf(name, sizeof(name) / sizeof(name[0]), L"\\\\.\\pipe\\vistrel-log-%lu-%016llx%016llx",
                  static_cast<unsigned long>(GetCurrentProcessId()),
                  static_cast<unsigned long long>(random[0]), static_cast<unsigned long long>(random[1]));
    std::unique_ptr<LogPipe> made(new LogPipe);
    const HANDLE read =
        CreateNamedPipeW(name, PIPE_ACCESS_INBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE,
                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                         1, 0, kPipeBytes, 0, nullptr);
    if (read == INVALID_HANDLE_VALUE)
        return VX_WIN32_ERROR(u"CreateNamedPipe");
    made->_read = reinterpret_cast<intptr_t>(read);
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    const HANDLE write = CreateFileW(name, GENERIC_WRITE, 0, &inherit, OPEN_EXISTING, 0, nullptr);
    if (write == INVALID_HANDLE_VALUE)
        return VX_WIN32_ERROR(u"CreateFile");
    made->_write = reinterpret_cast<intptr_t>(write);
    pipe = std::move(made);
    return VXError::eNoError;
}

void LogPipe::closeWriteEnd() {
    if (_write != -1)
        CloseHandle(reinterpret_cast<HANDLE>(_write));
    _write = -1;
}

VXResult LogPipe::readRecord(std::string& record, bool& ended) {
    record.clear();
    ended = false;
    char buffer[4096];
    for (;;) {
        DWORD n = 0;
        const BOOL whole = ReadFile(reinterpret_cast<HANDLE>(_read), buffer, sizeof(buffer), &n, nullptr);
        const DWORD error = whole ? ERROR_SUCCESS : GetLastError();
        if (record.size() < kMaxRecordBytes)
            record.append(buffer, n);
        if (whole)
            break;
        if (error == ERROR_MORE_DATA)
            continue;
        if (error == ERROR_BROKEN_PIPE || error == ERROR_PIPE_NOT_CONNECTED) {
            ended = true;  // every writer is gone
            break;
        }
        return VX_WIN32_ERROR_CODE(u"ReadFile", error);
    }
    while (!record.empty() && (record.back() == '\n' || record.back() == '\r'))
        record.pop_back();
    return VXError::eNoError;
}

}  // namespace Vistrel
