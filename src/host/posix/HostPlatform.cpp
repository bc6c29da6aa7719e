// The POSIX half of HostPlatform.h.
#include "HostPlatform.h"

#include <dlfcn.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "VXChecks.h"

namespace Vistrel {

namespace {

VXString fromNative(const std::string& path) {
    return VXString::fromUtf8(path);
}

}  // namespace

VXString executableFolder() {
    std::string path(PATH_MAX, '\0');
    const ssize_t n = readlink("/proc/self/exe", path.data(), path.size());
    if (n <= 0)
        return VXString();
    path.resize(static_cast<size_t>(n));
    return folderOf(fromNative(path));
}

namespace HostPlatform {

VXResult randomBytes(void* buffer, size_t size) {
    auto* bytes = static_cast<uint8_t*>(buffer);
    while (size > 0) {
        const ssize_t n = getrandom(bytes, size, 0);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return VX_CRT_ERROR(u"getrandom", errno);
        }
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return VXError::eNoError;
}

VXString identifierTag() {
    return vxFormat(u"-h%d", static_cast<int32_t>(getpid()));
}

const char16_t* serverFileName() {
    return u"vistrel";
}

// The server ships beside libvistrel_host.so (the build tree), or in the bin folder beside the
// lib folder that holds it (an installed prefix: lib/ and bin/). A host in another language runs
// inside its own interpreter, so the program's folder would be the wrong place to look.
VXString serverBesideLibrary() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&serverBesideLibrary), &info) == 0 || info.dli_fname == nullptr)
        return VXString();
    char resolved[PATH_MAX];
    const char* path = realpath(info.dli_fname, resolved) != nullptr ? resolved : info.dli_fname;
    const VXString folder = folderOf(fromNative(path));
    const VXString beside = folder + VXString(serverFileName());
    if (fileExists(beside))
        return beside;
    const std::string installed = (folder + VXString(u"../bin/") + VXString(serverFileName())).toUtf8();
    return realpath(installed.c_str(), resolved) != nullptr ? fromNative(resolved) : beside;
}

VXString programVersion(const VXString&) {
    // An ELF program carries no version resource; the server is the library's own build.
    return VXString(u"none");
}

bool isFullPath(const VXString& path) {
    return path.length() > 0 && path[0] == u'/';
}

bool fileExists(const VXString& path) {
    struct stat status {};
    return stat(path.toUtf8().c_str(), &status) == 0;
}

VXResult findServer(const VXString& path) {
    if (access(path.toUtf8().c_str(), X_OK) == 0)
        return VXError::eNoError;
    const int error = errno;
    const VXResult cause = VX_CRT_ERROR(u"access", error);
    return VX_RECODE(cause, VXError::eNotFound, u"Server \"%s\" not found", path);
}

VXString describeExit(const ServerExit& exit, bool) {
    if (exit.signal != 0)
        return vxFormat(u"signal %d (SIG%hs)", exit.signal, sigabbrev_np(exit.signal));
    return vxFormat(u"exit code %u", exit.exitCode);
}

}  // namespace HostPlatform

}  // namespace Vistrel
