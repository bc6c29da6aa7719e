#include <cstdio>

#include "VXLog.h"

#ifdef _WIN32
#include <windows.h>
#endif

void VXLogTargetConsole::write(const VXString& line) {
#ifdef _WIN32
    OutputDebugStringW(line.wstr());
    OutputDebugStringW(L"\n");
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
