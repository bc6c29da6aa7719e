// The Windows half of LogFile.h: files created with a protected DACL for the current user and
// SYSTEM, opened without following a reparse point.
#include "LogFile.h"

#include <windows.h>
// windows.h first: these need its types.
#include <sddl.h>

#include <vector>

#include "VXChecks.h"

namespace Vistrel {

namespace {

// "D:P": protected, nothing inherited from the folder; full file access for the user and SYSTEM.
VXResult ownerOnly(std::vector<uint8_t>& token, PSECURITY_DESCRIPTOR& descriptor) {
    HANDLE process = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &process))
        return VX_WIN32_ERROR(u"OpenProcessToken");
    DWORD size = 0;
    GetTokenInformation(process, TokenUser, nullptr, 0, &size);
    token.assign(size, 0);
    const BOOL got = GetTokenInformation(process, TokenUser, token.data(), size, &size);
    CloseHandle(process);
    if (!got)
        return VX_WIN32_ERROR(u"GetTokenInformation");
    wchar_t* sid = nullptr;
    if (!ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(token.data())->User.Sid, &sid))
        return VX_WIN32_ERROR(u"ConvertSidToStringSid");
    const std::wstring sddl = std::wstring(L"O:") + sid + L"D:P(A;;FA;;;" + sid + L")(A;;FA;;;SY)";
    LocalFree(sid);
    if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &descriptor,
                                                              nullptr))
        return VX_WIN32_ERROR(u"ConvertStringSecurityDescriptorToSecurityDescriptor");
    return VXError::eNoError;
}

}  // namespace

VXResult LogFile::openFile(const VXString& path, bool createNew, intptr_t& handle, uint64_t& size) {
    std::vector<uint8_t> token;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    VX_RETURN_IF_ERROR(ownerOnly(token, descriptor));
    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), descriptor, FALSE};
    // The reparse point itself is opened, never its target, so that it can be refused.
    const HANDLE h = CreateFileW(
        path.wstr(), createNew ? GENERIC_WRITE : FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
        FILE_SHARE_READ | (createNew ? 0 : FILE_SHARE_WRITE), &attributes,
        createNew ? CREATE_NEW : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    const VXResult opened =
        h == INVALID_HANDLE_VALUE ? VX_WIN32_ERROR(u"CreateFile") : VXResult(VXError::eNoError);
    LocalFree(descriptor);
    VX_RETURN_IF_ERROR(opened);
    BY_HANDLE_FILE_INFORMATION info{};
    if (!GetFileInformationByHandle(h, &info)) {
        const VXResult failed = VX_WIN32_ERROR(u"GetFileInformationByHandle");
        CloseHandle(h);
        return failed;
    }
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        CloseHandle(h);
        return VX_ERROR(VXError::eIOError,
                        u"\"%s\" refused: it is a symbolic link or another reparse point, and the log "
                        u"and its dumps are never written through a link",
                        path);
    }
    handle = reinterpret_cast<intptr_t>(h);
    size = (uint64_t{info.nFileSizeHigh} << 32) | info.nFileSizeLow;
    return VXError::eNoError;
}

bool LogFile::writeAll(intptr_t handle, const void* data, size_t size) {
    DWORD done = 0;
    return WriteFile(reinterpret_cast<HANDLE>(handle), data, static_cast<DWORD>(size), &done, nullptr) &&
           done == size;
}

void LogFile::closeFile(intptr_t handle) {
    CloseHandle(reinterpret_cast<HANDLE>(handle));
}

VXResult LogFile::replaceFile(const VXString& from, const VXString& to) {
    if (!MoveFileExW(from.wstr(), to.wstr(), MOVEFILE_REPLACE_EXISTING))
        return VX_WIN32_ERROR(u"MoveFileEx");
    return VXError::eNoError;
}

VXResult LogFile::removeFile(const VXString& path) {
    if (!DeleteFileW(path.wstr()))
        return VX_WIN32_ERROR(u"DeleteFile");
    return VXError::eNoError;
}

}  // namespace Vistrel
