// Vistrel::LogPipe: the pipe that becomes the server's standard error. The host reads the
// server's log records from it; the write end is handed to the server and to nobody else.
// Platform halves: win32/ (a message-mode pipe, so that a record of several lines stays one, as
// it was one debug-output message; passed through an explicit handle list) and posix/ (a pipe
// read line by line).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "VXResult.h"

namespace Vistrel {

class LogPipe {
public:
    ~LogPipe();
    LogPipe(const LogPipe&) = delete;
    LogPipe& operator=(const LogPipe&) = delete;

    static VXResult create(std::unique_ptr<LogPipe>& pipe);
    // The write end as the process starter passes it (a HANDLE or a descriptor).
    intptr_t writeEnd() const { return _write; }
    // Once the server holds its copy: from then on the end of the server is the end of the data.
    void closeWriteEnd();
    // Blocks until the next record (without its line end) comes; ended when every writer is gone.
    // A record longer than kMaxRecordBytes comes in pieces.
    VXResult readRecord(std::string& record, bool& ended);

    static constexpr size_t kMaxRecordBytes = 65536;

private:
    LogPipe() = default;
    std::string _pending;  // posix: bytes after the last line end
    intptr_t _read = -1;
    intptr_t _write = -1;
};

}  // namespace Vistrel
