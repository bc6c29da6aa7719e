#include "VXDumpFile.h"

#include <atomic>
#include <mutex>

#include "VXDumpText.h"
#include "VXLog.h"

namespace {

constexpr const char16_t* kFolderName = u"TesseraDumps\\";

std::mutex gFolderLock;
VXString* gFolder = nullptr;  // made on first use and kept for the life of the process
std::atomic<uint32_t> gSequence{0};

VXString executableBaseName() {
    wchar_t path[MAX_PATH + 1] = {};
    const DWORD n = GetModuleFileNameW(nullptr, path, MAX_PATH + 1);
    VXString name = VXString::fromWide(n <= MAX_PATH ? path : L"");
    const int32_t slash = [&] {
        int32_t last = -1;
        for (uint32_t i = 0; i < name.length(); ++i) {
            if (name[i] == u'\\' || name[i] == u'/')
                last = static_cast<int32_t>(i);
        }
        return last;
    }();
    VXString base;
    name.substr(slash + 1, base);
    int32_t dot = -1;
    for (uint32_t i = 0; i < base.length(); ++i) {
        if (base[i] == u'.')
            dot = static_cast<int32_t>(i);
    }
    if (dot > 0) {
        VXString cut;
        base.substr(0, dot, cut);
        base = cut;
    }
    return base.isEmpty() ? VXString(u"process") : base;
}

// Creates each missing level of the folder; the levels that exist are fine.
void createFolder(const VXString& folder) {
    for (uint32_t i = 0; i < folder.length(); ++i) {
        if (folder[i] != u'\\' || i < 3)
            continue;
        VXString level;
        folder.substr(0, static_cast<int32_t>(i), level);
        CreateDirectoryW(level.wstr(), nullptr);
    }
}

}  // namespace

void VXMiniDump::setFolder(const VXString& folder) {
    VXString value = folder;
    if (!value.isEmpty() && value[value.length() - 1] != u'\\')
        value.append(u'\\');
    if (value.isEmpty()) {
        VX_LOG(VXLogLevel::eDebug, u": (empty)");
    } else {
        VX_LOG(VXLogLevel::eDebug, u": %s", value);
    }
    {
        std::lock_guard<std::mutex> guard(gFolderLock);
        if (gFolder == nullptr)
            gFolder = new VXString;
        *gFolder = value;
    }
    if (!value.isEmpty())
        createFolder(value);
}

VXString VXMiniDump::folder() {
    std::lock_guard<std::mutex> guard(gFolderLock);
    return gFolder != nullptr ? *gFolder : VXString();
}

VXString VXMiniDump::defaultFolder() {
    wchar_t temp[MAX_PATH + 2] = {};
    const DWORD n = GetTempPathW(MAX_PATH + 1, temp);
    VXString folder = VXString::fromWide(n > 0 && n <= MAX_PATH + 1 ? temp : L"C:\\");
    if (folder[folder.length() - 1] != u'\\')
        folder.append(u'\\');
    folder.append(kFolderName);
    return folder;
}

VXString VXMiniDump::nextFileName() {
    const uint32_t sequence = ++gSequence;
    return vxFormat(u"%s%s_%u_%02u.dmp", folder(), executableBaseName(), GetCurrentProcessId(), sequence);
}

HANDLE VXMiniDump::createFile(const VXString& path) {
    const HANDLE file =
        CreateFileW(path.wstr(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        VX_LOG(VXLogLevel::eCritical, u"Failed to create file %s; last OS error = %d.", path, error);
        return nullptr;
    }
    return file;
}

bool VXMiniDump::logFile(HANDLE file) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size) || size.QuadPart <= 0 || size.QuadPart > 0xFFFFFFFFLL) {
        VX_LOG(VXLogLevel::eCritical, u"File size is too big or invalid. Last error = %d", GetLastError());
        return false;
    }
    const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (mapping == nullptr) {
        VX_LOG(VXLogLevel::eCritical, u"Crash dump creation failed to create file mapping. Last error = %d",
               GetLastError());
        return false;
    }
    void* view = MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0);
    if (view == nullptr) {
        VX_LOG(VXLogLevel::eCritical,
               u"Crash dump creation failed to create a map view of file. Last error = %d", GetLastError());
        CloseHandle(mapping);
        return false;
    }
    const bool logged = VXDumpText::logDump(static_cast<uint8_t*>(view), static_cast<size_t>(size.QuadPart));
    FlushViewOfFile(view, 0);
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    return logged;
}
