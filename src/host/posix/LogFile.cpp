// The POSIX half of LogFile.h: descriptors opened close-on-exec, files the user's own.
#include "LogFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "VXChecks.h"

namespace Vistrel {

namespace {

// The log and its dumps hold what the server saw: the user's only.
constexpr mode_t kFileMode = 0600;

}  // namespace

LogFile::~LogFile() {
    if (_handle != -1)
        close(static_cast<int>(_handle));
}

VXResult LogFile::openAppend(const VXString& path, std::unique_ptr<LogFile>& file) {
    const int fd = open(path.toUtf8().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, kFileMode);
    if (fd < 0) {
        // Its own code: 2008 is the server not found, never the log's folder.
        const VXResult cause = VX_CRT_ERROR(u"open", errno);
        return VX_RECODE(cause, VXError::eIOError, u"Server log \"%s\" cannot be opened", path);
    }
    std::unique_ptr<LogFile> made(new LogFile);
    made->_handle = fd;
    file = std::move(made);
    return VXError::eNoError;
}

void LogFile::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(static_cast<int>(_handle), text.data(), text.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        text.remove_prefix(static_cast<size_t>(n));
    }
}

VXResult LogFile::writeNew(const VXString& path, const std::vector<uint8_t>& bytes) {
    const int fd = open(path.toUtf8().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode);
    if (fd < 0)
        return VX_CRT_ERROR(u"open", errno);
    size_t done = 0;
    VXResult written = VXError::eNoError;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            written = VX_CRT_ERROR(u"write", n < 0 ? errno : EIO);
            break;
        }
        done += static_cast<size_t>(n);
    }
    close(fd);
    return written;
}

}  // namespace Vistrel
