// The Windows half of ServerInstance.h. The server runs in a job object of its own that kills
// it when the job's last handle closes: the host's, whenever and however the host ends.
#include "ServerInstance.h"

#include <windows.h>

#include <string>

#include "SecuredObjects.h"
#include "ServerBlocks.h"
#include "VXChecks.h"
#include "VistrelSharedObjects.h"

namespace Vistrel {

namespace {

constexpr UINT kTerminateExitCode = 0xDEAD;

}  // namespace

struct ServerInstance::Platform {
    std::unique_ptr<SecuredObjects> secured;
    std::shared_ptr<SharedObjects> objects;
    HANDLE job = nullptr;
    HANDLE process = nullptr;

    ~Platform() {
        if (process != nullptr) {
            if (WaitForSingleObject(process, 0) == WAIT_TIMEOUT)
                TerminateProcess(process, kTerminateExitCode);
            CloseHandle(process);
        }
        if (job != nullptr)
            CloseHandle(job);  // kill-on-close: nothing of the server outlives this
    }
};

ServerInstance::ServerInstance() : _platform(new Platform) {}

ServerInstance::~ServerInstance() = default;

VXResult ServerInstance::create(const Params& params, std::unique_ptr<ServerInstance>& instance) {
    std::unique_ptr<ServerInstance> made(new ServerInstance);
    made->_params = params;
    Platform& p = *made->_platform;
    VX_RETURN_IF_ERROR(SecuredObjects::create(params, p.secured));
    VX_RETURN_IF_ERROR(SharedObjects::create(params, p.objects));
    for (const auto& event : {p.objects->eventStart, p.objects->eventCompleted}) {
        if (event->handle() == nullptr)
            return VX_ERROR(VXError::eNotInitialized, u"Event \"%s\" could not be created", event->name());
    }
    instance = std::move(made);
    return VXError::eNoError;
}

VXResult ServerInstance::launch(const VXString& serverPath, const VXString& commandLine, LogPipe* pipe) {
    Platform& p = *_platform;
    p.job = CreateJobObjectW(nullptr, nullptr);
    if (p.job == nullptr)
        return VX_WIN32_ERROR(u"CreateJobObject");
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!SetInformationJobObject(p.job, JobObjectExtendedLimitInformation, &limits, sizeof(limits)))
        return VX_WIN32_ERROR(u"SetInformationJobObject");

    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof(startup);
    // No standard handles but the log pipe: a server without a pipe finds none and writes
    // only to the debugger output, as for any host that gives none.
    startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    HANDLE inherited = pipe != nullptr ? reinterpret_cast<HANDLE>(pipe->writeEnd()) : nullptr;
    startup.StartupInfo.hStdError = inherited;
    std::vector<uint8_t> attributes;
    if (inherited != nullptr) {
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        attributes.assign(size, 0);
        startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(attributes.data());
        if (!InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size))
            return VX_WIN32_ERROR(u"InitializeProcThreadAttributeList");
        // Only this handle is inherited, whatever else of the host's is inheritable.
        if (!UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST,
                                       &inherited, sizeof(inherited), nullptr, nullptr)) {
            const VXResult failed = VX_WIN32_ERROR(u"UpdateProcThreadAttribute");
            DeleteProcThreadAttributeList(startup.lpAttributeList);
            return failed;
        }
    }
    PROCESS_INFORMATION process{};
    // CreateProcessW may write into the command line.
    std::wstring writable(commandLine.wstr());
    // The server runs in its own folder: a library it loads by name must never come from
    // whatever folder the host happens to be in.
    const VXString folder = folderOf(serverPath);
    // Suspended until it is in the job, so that not one instruction of it runs untied.
    DWORD flags = CREATE_SUSPENDED | (inherited != nullptr ? EXTENDED_STARTUPINFO_PRESENT : 0);
    const BOOL created = CreateProcessW(
        serverPath.wstr(), writable.data(), nullptr, nullptr, inherited != nullptr ? TRUE : FALSE, flags,
        nullptr, folder.isEmpty() ? nullptr : folder.wstr(), &startup.StartupInfo, &process);
    const DWORD createError = GetLastError();
    if (startup.lpAttributeList != nullptr)
        DeleteProcThreadAttributeList(startup.lpAttributeList);
    if (!created)
        return VX_WIN32_ERROR_CODE(u"CreateProcess", createError);
    p.process = process.hProcess;
    _processId = process.dwProcessId;
    if (pipe != nullptr)
        pipe->closeWriteEnd();  // the server's copy is the only one left
    if (!AssignProcessToJobObject(p.job, process.hProcess)) {
        const VXResult failed = VX_WIN32_ERROR(u"AssignProcessToJobObject");
        CloseHandle(process.hThread);
        return failed;  // the destructor ends the suspended server
    }
    if (ResumeThread(process.hThread) == static_cast<DWORD>(-1)) {
        const VXResult failed = VX_WIN32_ERROR(u"ResumeThread");
        CloseHandle(process.hThread);
        return failed;
    }
    CloseHandle(process.hThread);
    return VXError::eNoError;
}

uint8_t* ServerInstance::view(Block block) const {
    return blockView(*_platform->objects, block);
}

VXResult ServerInstance::signalStart() {
    return _platform->objects->eventStart->set();
}

VXResult ServerInstance::waitForAnswer(const CancelSignal& cancel, uint32_t timeoutMs, Wake& wake) {
    const HANDLE handles[] = {_platform->objects->eventCompleted->handle(), _platform->process,
                              reinterpret_cast<HANDLE>(cancel.waitable())};
    const DWORD wait = WaitForMultipleObjects(3, handles, FALSE, timeoutMs);
    switch (wait) {
        case WAIT_OBJECT_0:
            wake = Wake::eAnswer;
            return VXError::eNoError;
        case WAIT_OBJECT_0 + 1:
            wake = Wake::eEnded;
            return VXError::eNoError;
        case WAIT_OBJECT_0 + 2:
            wake = Wake::eCanceled;
            return VXError::eNoError;
        case WAIT_TIMEOUT:
            wake = Wake::eTimeout;
            return VXError::eNoError;
        default:
            return VX_WIN32_ERROR(u"WaitForMultipleObjects");
    }
}

bool ServerInstance::isRunning() const {
    return _platform->process != nullptr && WaitForSingleObject(_platform->process, 0) == WAIT_TIMEOUT;
}

VXResult ServerInstance::waitForExit(uint32_t timeoutMs, ServerExit& exit) {
    if (_platform->process == nullptr)
        return VX_ERROR(VXError::eNotInitialized, u"Server not started");
    const DWORD wait = WaitForSingleObject(_platform->process, timeoutMs);
    if (wait == WAIT_TIMEOUT)
        return VX_ERROR(VXError::eTimeout, u"Server still running after %u ms", timeoutMs);
    if (wait != WAIT_OBJECT_0)
        return VX_WIN32_ERROR(u"WaitForSingleObject");
    DWORD code = 0;
    if (!GetExitCodeProcess(_platform->process, &code))
        return VX_WIN32_ERROR(u"GetExitCodeProcess");
    exit = ServerExit{code, 0};
    return VXError::eNoError;
}

VXResult ServerInstance::terminate(uint32_t waitMs) {
    if (!isRunning())
        return VXError::eNoError;
    if (!TerminateProcess(_platform->process, kTerminateExitCode))
        return VX_WIN32_ERROR(u"TerminateProcess");
    if (WaitForSingleObject(_platform->process, waitMs) != WAIT_OBJECT_0)
        return VX_ERROR(VXError::eTimeout, u"Server still running %u ms after it was terminated", waitMs);
    return VXError::eNoError;
}

}  // namespace Vistrel
