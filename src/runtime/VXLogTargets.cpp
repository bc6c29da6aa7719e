#include <cstdio>
#include <string>

#include "VXLog.h"

#ifdef _WIN32
#include <windows.h>

namespace {

// The log pipe a host gave as standard error: looked up once, and only a real handle counts, so
// that a server started without one behaves as it always did.
HANDLE hostLogPipe() {
    static const HANDLE pipe = [] {
        const HANDLE h = GetStdHandle(STD_ERROR_HANDLE);
        return h != nullptr && h != INVALID_HANDLE_VALUE && GetFileType(h) != FILE_TYPE_UNKNOWN ? h : nullptr;
    }();
    return pipe;
}

}  // namespace
#endif

void VXLogTargetConsole::write(const VXString& line) {
#ifdef _WIN32
    OutputDebugStringW(line.wstr());
    OutputDebugStringW(L"\n");
    if (const HANDLE pipe = hostLogPipe()) {
        // One write per line, so that lines of different threads never interleave. A host that
        // stopped reading costs the line, nothing more.
        const std::string text = line.toUtf8() + "\n";
        DWORD written = 0;
        WriteFile(pipe, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    }
#else
    const std::string text = line.toUtf8();
    std::fprintf(stderr, "%s\n", text.c_str());
#endif
}

void VXLogTargetStdOut::write(const VXString& line) {
    const std::string text = line.toUtf8();
    std::fprintf(stdout, "%s\n", text.c_str());
    std::fflush(stdout);
}

void VXLogCaptureTarget::write(const VXString& line) {
    std::lock_guard<std::mutex> guard(_lock);
    _lines.push_back(line);
}

std::vector<VXString> VXLogCaptureTarget::lines() const {
    std::lock_guard<std::mutex> guard(_lock);
    return _lines;
}

void VXLogCaptureTarget::clear() {
    std::lock_guard<std::mutex> guard(_lock);
    _lines.clear();
}
