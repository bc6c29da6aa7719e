// The POSIX half of LogPipe.h: a pipe whose ends are both close-on-exec; the starter makes a
// copy of the write end the server's descriptor 2, the only one it inherits. Records are lines.
#include "LogPipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "VXChecks.h"

namespace Vistrel {

LogPipe::~LogPipe() {
    closeWriteEnd();
    if (_read != -1)
        close(static_cast<int>(_read));
}

VXResult LogPipe::create(std::unique_ptr<LogPipe>& pipe) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        return VX_CRT_ERROR(u"pipe2", errno);
    std::unique_ptr<LogPipe> made(new LogPipe);
    made->_read = ends[0];
    made->_write = ends[1];
    pipe = std::move(made);
    return VXError::eNoError;
}

void LogPipe::closeWriteEnd() {
    if (_write != -1)
        close(static_cast<int>(_write));
    _write = -1;
}

VXResult LogPipe::readRecord(std::string& record, bool& ended) {
    record.clear();
    ended = false;
    char buffer[4096];
    for (;;) {
        const size_t end = _pending.find('\n');
        if (end != std::string::npos || _pending.size() >= kMaxRecordBytes) {
            const size_t take = end != std::string::npos ? end : kMaxRecordBytes;
            record.assign(_pending, 0, take);
            _pending.erase(0, end != std::string::npos ? take + 1 : take);
            break;
        }
        const ssize_t n = read(static_cast<int>(_read), buffer, sizeof(buffer));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return VX_CRT_ERROR(u"read", errno);
        if (n == 0) {  // every writer is gone: what is left is the last record
            record.swap(_pending);
            ended = true;
            break;
        }
        _pending.append(buffer, static_cast<size_t>(n));
    }
    if (!record.empty() && record.back() == '\r')
        record.pop_back();
    return VXError::eNoError;
}

}  // namespace Vistrel
