#include "VXGlobalDeadlockEvent.h"

#include <windows.h>

#include <tlhelp32.h>

#include <map>

#include "VXChecks.h"
#include "VXEvent.h"

namespace {

// Parent links can form a loop when process ids are reused; the walk stops after this many.
constexpr int kMaxAncestors = 64;

struct ProcessEntry {
    uint32_t parentId = 0;
    VXString exeName;
};

// Creation time of a process; 0 when it cannot be queried.
ULONGLONG creationTime(uint32_t processId) {
    HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId);
    if (process == nullptr)
        return 0;
    FILETIME created{}, exited{}, kernel{}, user{};
    ULONGLONG time = 0;
    if (GetProcessTimes(process, &created, &exited, &kernel, &user)) {
        time = (static_cast<ULONGLONG>(created.dwHighDateTime) << 32) | created.dwLowDateTime;
    }
    CloseHandle(process);
    return time;
}

}  // namespace

VXString VXGlobalDeadlockEvent::eventName(uint32_t rootProcessId) {
    return vxFormat(kNameFormat, rootProcessId);
}

VXResult VXGlobalDeadlockEvent::findRootAncestorProcess(uint32_t& rootProcessId) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return VX_WIN32_ERROR(u"CreateToolhelp32Snapshot");
    std::map<uint32_t, ProcessEntry> processes;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        processes[entry.th32ProcessID] = {entry.th32ParentProcessID, VXString::fromWide(entry.szExeFile)};
    }
    CloseHandle(snapshot);

    uint32_t current = GetCurrentProcessId();
    ULONGLONG currentCreated = creationTime(current);
    for (int depth = 0; depth < kMaxAncestors; ++depth) {
        const auto self = processes.find(current);
        if (self == processes.end())
            break;
        const uint32_t parentId = self->second.parentId;
        const auto parent = processes.find(parentId);
        if (parentId == 0 || parentId == current || parent == processes.end())
            break;
        // A "parent" started after its child is a stranger that reused the dead parent's id.
        const ULONGLONG parentCreated = creationTime(parentId);
        if (parentCreated == 0 || (currentCreated != 0 && parentCreated > currentCreated))
            break;
        VX_LOG(VXLogLevel::eInfo, u"found a parent %s",
               vxFormat(u"%u (%s)", parentId, parent->second.exeName));
        current = parentId;
        currentCreated = parentCreated;
    }
    rootProcessId = current;
    return VXError::eNoError;
}

void VXGlobalDeadlockEvent::setGlobalDeadlockEvent() {
    uint32_t root = 0;
    const VXResult found = findRootAncestorProcess(root);
    if (found.isError()) {
        VXLog::logResult(VXLogLevel::eWarning, u"VXGlobalDeadlockEvent::setGlobalDeadlockEvent", found);
        return;
    }
    const VXString name = eventName(root);
    VX_LOG(VXLogLevel::eInfo, u"creating event name %s", name);
    HANDLE event = nullptr;
    if (VXEvent::open(name.c_str(), VXSync::eScopeOpen, true, event).isError()) {
        VX_LOG(VXLogLevel::eDebug, u"No process watches for deadlocks under %s", name);
        return;
    }
    VX_LOG(VXLogLevel::eInfo, u"signaling event");
    if (!SetEvent(event))
        VX_WIN32_ERROR(u"SetEvent").logIfError(VX_SITE);
    CloseHandle(event);
}
