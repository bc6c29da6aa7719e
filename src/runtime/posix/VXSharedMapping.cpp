#include "VXSharedMapping.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "VXChecks.h"

namespace {

// glibc's shm_open puts the name under /dev/shm; one path component of at most NAME_MAX.
constexpr size_t kMaxNameBytes = NAME_MAX;

VXResult errnoResult(const char16_t* method, int error, const std::string& name,
                     const VXSourceLocation& site) {
    VXResult r = VXResult::fromCrtError(method, error, site);
    r.addContext(u"Object name: \"%hs\"", name.c_str());
    return r;
}

}  // namespace

#define VX_ERRNO_ERROR(method, name) errnoResult(method, errno, name, VX_SITE)

VXSharedMapping::~VXSharedMapping() {
    // Each step runs even when another failed; failures are only logged.
    if (_data != nullptr && munmap(_data, _size) != 0) {
        VXLog::logResult(VXLogLevel::eWarning, u"VXSharedMapping::release",
                         VX_ERRNO_ERROR(u"munmap", _posixName));
    }
    if (_fd >= 0 && close(_fd) != 0)
        VXLog::logResult(VXLogLevel::eWarning, u"VXSharedMapping::release",
                         VX_ERRNO_ERROR(u"close", _posixName));
    if (_created && !_removed)
        remove().logIfError(VX_SITE);
}

VXResult VXSharedMapping::posixName(const VXString& name, std::string& posixName) {
    VX_CHECK_PARAM(!name.isEmpty());
    std::string utf8 = name.toUtf8();
    VX_CHECK_PARAM(utf8.find('/') == std::string::npos);
    VX_CHECK_PARAM(utf8.find('\0') == std::string::npos);
    VX_CHECK_PARAM(utf8.size() <= kMaxNameBytes);
    posixName = "/" + utf8;
    return VXError::eNoError;
}

VXResult VXSharedMapping::create(const VXString& name, size_t size, Open mode,
                                 std::unique_ptr<VXSharedMapping>& mapping) {
    VX_CHECK_PARAM(size > 0);
    std::unique_ptr<VXSharedMapping> object(new (std::nothrow) VXSharedMapping());
    if (!object)
        return VX_ERROR(VXError::eNoMemory, u"No memory for shared object \"%s\"", name);
    VX_RETURN_IF_ERROR(posixName(name, object->_posixName));
    const char* path = object->_posixName.c_str();

    // Exclusive creation first: only then is it known who made the object and must size it.
    constexpr int kFlags = O_RDWR | O_CLOEXEC;
    if (mode != Open::eOpenExisting) {
        object->_fd = shm_open(path, kFlags | O_CREAT | O_EXCL, kCreateMode);
        if (object->_fd >= 0) {
            object->_created = true;
        } else if (errno != EEXIST || mode == Open::eCreateExclusive) {
            return VX_ERRNO_ERROR(u"shm_open", object->_posixName);
        }
    }
    if (object->_fd < 0) {
        object->_fd = shm_open(path, kFlags, 0);
        if (object->_fd < 0)
            return VX_ERRNO_ERROR(u"shm_open", object->_posixName);
    }

    VXResult failure;
    if (object->_created) {
        // The umask may have taken bits off; the mode is the owner's read and write, exactly.
        if (fchmod(object->_fd, kCreateMode) != 0)
            failure = VX_ERRNO_ERROR(u"fchmod", object->_posixName);
        else if (ftruncate(object->_fd, static_cast<off_t>(size)) != 0)
            failure = VX_ERRNO_ERROR(u"ftruncate", object->_posixName);
    } else {
        struct stat info {};
        if (fstat(object->_fd, &info) != 0) {
            failure = VX_ERRNO_ERROR(u"fstat", object->_posixName);
        } else if (static_cast<uint64_t>(info.st_size) < size) {
            failure = VX_ERROR(VXError::eBadFormat, u"Shared object \"%hs\" holds %lld bytes, %llu needed",
                               object->_posixName.c_str(), static_cast<long long>(info.st_size),
                               static_cast<unsigned long long>(size));
        }
    }
    if (failure.isSuccess()) {
        void* data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, object->_fd, 0);
        if (data == MAP_FAILED) {
            failure = VX_ERRNO_ERROR(u"mmap", object->_posixName);
        } else {
            object->_data = static_cast<uint8_t*>(data);
            object->_size = size;
        }
    }
    if (failure.isError())
        return failure;  // an object this call created goes with it, name and all
    mapping = std::move(object);
    return VXError::eNoError;
}

VXResult VXSharedMapping::remove(const VXString& name) {
    std::string path;
    VX_RETURN_IF_ERROR(posixName(name, path));
    if (shm_unlink(path.c_str()) != 0)
        return VX_ERRNO_ERROR(u"shm_unlink", path);
    return VXError::eNoError;
}

VXResult VXSharedMapping::remove() {
    if (shm_unlink(_posixName.c_str()) != 0)
        return VX_ERRNO_ERROR(u"shm_unlink", _posixName);
    _removed = true;
    return VXError::eNoError;
}

VXResult VXSharedMapping::mode(unsigned& mode) const {
    struct stat info {};
    if (fstat(_fd, &info) != 0)
        return VX_ERRNO_ERROR(u"fstat", _posixName);
    mode = static_cast<unsigned>(info.st_mode & 07777);
    return VXError::eNoError;
}
