// The Windows half of HostPlatform.h.
#include "HostPlatform.h"

#include <windows.h>
// RtlGenRandom (SystemFunction036 in advapi32): the system's cryptographic generator, without a
// library beyond those the host links already.
#include <ntsecapi.h>

#include <string>

#include "ServerLogText.h"
#include "VXChecks.h"
#include "VXCrashDebug.h"

namespace Vistrel {

namespace {

constexpr uint32_t kModulePathChars = 32768;
constexpr DWORD kVersionSignature = 0xFEEF04BD;
// Exit codes from here up say the server died of an exception.
constexpr uint32_t kFirstExceptionCode = 0xC0000000u;

VXString modulePath(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    DWORD n = 0;
    while ((n = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()))) == path.size() &&
           path.size() < kModulePathChars)
        path.resize(path.size() * 2);
    path.resize(n);
    return VXString::fromWide(path.c_str());
}

}  // namespace

VXString executableFolder() {
    return folderOf(modulePath(nullptr));
}

namespace HostPlatform {

VXResult randomBytes(void* buffer, size_t size) {
    if (!RtlGenRandom(buffer, static_cast<ULONG>(size)))
        return VX_WIN32_ERROR(u"RtlGenRandom");
    return VXError::eNoError;
}

VXString identifierTag() {
    return VXString();
}

const char16_t* serverFileName() {
    return u"Vistrel.exe";
}

// A host in another language runs inside its own interpreter's executable, so the program's
// folder would be the wrong place to look: the server ships beside the library.
VXString serverBesideLibrary() {
    HMODULE self = nullptr;
    if (!GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&serverBesideLibrary), &self)) {
        return VXString();
    }
    return folderOf(modulePath(self)) + VXString(serverFileName());
}

VXString programVersion(const VXString& path) {
    HMODULE image = LoadLibraryExW(path.wstr(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    if (image == nullptr)
        return VXString(u"none");
    VXString version(u"none");
    HRSRC resource = FindResourceW(image, MAKEINTRESOURCEW(VS_VERSION_INFO), MAKEINTRESOURCEW(16));
    HGLOBAL loaded = resource != nullptr ? LoadResource(image, resource) : nullptr;
    const auto* data = static_cast<const uint8_t*>(loaded != nullptr ? LockResource(loaded) : nullptr);
    const DWORD size = resource != nullptr ? SizeofResource(image, resource) : 0;
    for (DWORD offset = 0; data != nullptr && offset + sizeof(VS_FIXEDFILEINFO) <= size; offset += 4) {
        const auto* info = reinterpret_cast<const VS_FIXEDFILEINFO*>(data + offset);
        if (info->dwSignature == kVersionSignature) {
            version = vxFormat(u"%u.%u.%u.%u", HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS),
                               HIWORD(info->dwFileVersionLS), LOWORD(info->dwFileVersionLS));
            break;
        }
    }
    FreeLibrary(image);
    return version;
}

bool isFullPath(const VXString& path) {
    auto separator = [](char16_t c) { return c == u'\\' || c == u'/'; };
    const bool drive = path.length() >= 3 &&
                       ((path[0] >= u'A' && path[0] <= u'Z') || (path[0] >= u'a' && path[0] <= u'z')) &&
                       path[1] == u':' && separator(path[2]);
    const bool share = path.length() >= 3 && separator(path[0]) && separator(path[1]);
    return drive || share;
}

bool fileExists(const VXString& path) {
    return GetFileAttributesW(path.wstr()) != INVALID_FILE_ATTRIBUTES;
}

VXResult findServer(const VXString& path) {
    if (GetFileAttributesW(path.wstr()) != INVALID_FILE_ATTRIBUTES)
        return VXError::eNoError;
    VXResult missing = VX_WIN32_ERROR(u"GetFileAttributes");
    missing.addContext(u"Server \"%s\" not found", path);
    return missing;
}

VXString describeExit(const ServerExit& exit, bool withCause) {
    if (!withCause)
        return vxFormat(u"exit code %u", exit.exitCode);
    VXString text = vxFormat(u"exit code %s", ServerLogText::exitCodeText(exit.exitCode));
    if (exit.exitCode >= kFirstExceptionCode)
        text.appendFormat(u": %s", VXDebug::exceptionName(exit.exitCode));
    return text;
}

}  // namespace HostPlatform

}  // namespace Vistrel
