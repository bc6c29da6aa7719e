// The POSIX half of LogFile.h: descriptors opened close-on-exec, never through a symbolic link,
// files the user's own (0600).
#include "LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "VXChecks.h"

namespace Vistrel {

namespace {

// The log and its dumps hold what the server saw: the user's only.
constexpr mode_t kFileMode = 0600;

}  // namespace

VXResult LogFile::openFile(const VXString& path, bool createNew, intptr_t& handle, uint64_t& size) {
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (createNew ? O_EXCL : O_APPEND);
    const int fd = open(path.toUtf8().c_str(), flags, kFileMode);
    if (fd < 0 && errno == ELOOP) {
        return VX_ERROR(VXError::eIOError,
                        u"\"%s\" refused: it is a symbolic link, and the log and its dumps are never "
                        u"written through a link",
                        path);
    }
    if (fd < 0)
        return VX_CRT_ERROR(u"open", errno);
    struct stat info {};
    if (fstat(fd, &info) != 0) {
        const VXResult failed = VX_CRT_ERROR(u"fstat", errno);
        close(fd);
        return failed;
    }
    handle = fd;
    size = static_cast<uint64_t>(info.st_size);
    return VXError::eNoError;
}

bool LogFile::writeAll(intptr_t handle, const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (size > 0) {
        const ssize_t n = ::write(static_cast<int>(handle), bytes, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

void LogFile::closeFile(intptr_t handle) {
    close(static_cast<int>(handle));
}

VXResult LogFile::replaceFile(const VXString& from, const VXString& to) {
    if (std::rename(from.toUtf8().c_str(), to.toUtf8().c_str()) != 0)
        return VX_CRT_ERROR(u"rename", errno);
    return VXError::eNoError;
}

VXResult LogFile::removeFile(const VXString& path) {
    if (unlink(path.toUtf8().c_str()) != 0)
        return VX_CRT_ERROR(u"unlink", errno);
    return VXError::eNoError;
}

}  // namespace Vistrel
