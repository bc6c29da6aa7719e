// Test helper: routes the process log into memory for the lifetime of the object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "VXLog.h"
#include "support/ResultText.h"

class LogCapture {
public:
    LogCapture() : _target(std::make_shared<VXLogCaptureTarget>()) {
        VXLog::flush();
        VXLog::setTargets({_target});
    }
    ~LogCapture() {
        VXLog::flush();
        VXLog::setTargets({std::make_shared<VXLogTargetConsole>()});
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The lines as UTF-8, after resolving this thread's pending repeats.
    std::vector<std::string> lines() const {
        VXLog::flush();
        std::vector<std::string> out;
        for (const VXString& line : _target->lines())
            out.push_back(line.toUtf8());
        return out;
    }
    // The lines with the timestamp cut off (everything up to and including "PST ").
    std::vector<std::string> bodies() const {
        std::vector<std::string> out;
        for (const std::string& line : lines()) {
            const size_t pos = line.find(" PST ");
            out.push_back(pos == std::string::npos ? line : line.substr(pos + 5));
        }
        return out;
    }
    // The lines written so far, without resolving anything still held back.
    std::vector<VXString> linesAsWritten() const { return _target->lines(); }
    bool contains(const std::string& text) const {
        for (const std::string& line : lines()) {
            if (line.find(text) != std::string::npos)
                return true;
        }
        return false;
    }
    void clear() {
        VXLog::flush();
        _target->clear();
    }

private:
    std::shared_ptr<VXLogCaptureTarget> _target;
};

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
