// The Windows half of LogFile.h.
#include "LogFile.h"

#include <windows.h>

#include "VXChecks.h"

namespace Vistrel {

LogFile::~LogFile() {
    if (_handle != -1)
        CloseHandle(reinterpret_cast<HANDLE>(_handle));
}

VXResult LogFile::openAppend(const VXString& path, std::unique_ptr<LogFile>& file) {
    const HANDLE h = CreateFileW(path.wstr(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        // Its own code: 2008 is the server not found, never the log's folder.
        const VXResult cause = VX_WIN32_ERROR(u"CreateFile");
        return VX_RECODE(cause, VXError::eIOError, u"Server log \"%s\" cannot be opened", path);
    }
    std::unique_ptr<LogFile> made(new LogFile);
    made->_handle = reinterpret_cast<intptr_t>(h);
    file = std::move(made);
    return VXError::eNoError;
}

void LogFile::write(std::string_view text) {
    DWORD done = 0;
    WriteFile(reinterpret_cast<HANDLE>(_handle), text.data(), static_cast<DWORD>(text.size()), &done,
              nullptr);
}

VXResult LogFile::writeNew(const VXString& path, const std::vector<uint8_t>& bytes) {
    const HANDLE file =
        CreateFileW(path.wstr(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return VX_WIN32_ERROR(u"CreateFile");
    DWORD done = 0;
    VXResult written = VXError::eNoError;
    if (!WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &done, nullptr) ||
        done != bytes.size())
        written = VX_WIN32_ERROR(u"WriteFile");
    CloseHandle(file);
    return written;
}

}  // namespace Vistrel
