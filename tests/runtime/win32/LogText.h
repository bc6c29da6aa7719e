#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "support/LogCapture.h"

// The message part of each captured line (after "<function> - ").
inline std::vector<std::string> messages(const LogCapture& log) {
    std::vector<std::string> out;
    for (const std::string& line : log.lines()) {
        const size_t pos = line.find(" - ");
        out.push_back(pos == std::string::npos ? line : line.substr(pos + 3));
    }
    return out;
}

inline std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

// Index of the first line at or after `from` that contains the text; -1 when none does.
inline int findLine(const std::vector<std::string>& lines, const std::string& text, int from = 0) {
    for (int i = from; i < static_cast<int>(lines.size()); ++i) {
        if (lines[i].find(text) != std::string::npos)
            return i;
    }
    return -1;
}

inline int countLines(const std::vector<std::string>& lines, const std::string& text) {
    int n = 0;
    for (const std::string& line : lines)
        n += line.find(text) != std::string::npos ? 1 : 0;
    return n;
}

// "%016llX" of an address, as the log prints pointers.
inline std::string hex16(const void* p) {
    char text[20];
    std::snprintf(text, sizeof(text), "%016llX",
                  static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(p)));
    return text;
}
