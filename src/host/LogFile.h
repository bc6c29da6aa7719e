// Vistrel::LogFile: the collected log's file, opened for appending, and the crash dumps written
// beside it. One platform half each (win32/, posix/); the writer is the log's own thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "VXResult.h"
#include "VXString.h"

namespace Vistrel {

class LogFile {
public:
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Creates the file when missing; a folder that does not exist or a file that cannot be
    // written is 2010 (eIOError) with the system's error in the text.
    static VXResult openAppend(const VXString& path, std::unique_ptr<LogFile>& file);
    // Appends; a failed write is dropped (the log must never stop the host).
    void write(std::string_view text);
    // A new file holding bytes; one that exists already is never overwritten.
    static VXResult writeNew(const VXString& path, const std::vector<uint8_t>& bytes);

private:
    LogFile() = default;
    intptr_t _handle = -1;
};

}  // namespace Vistrel
