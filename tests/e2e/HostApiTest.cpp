// The host library as an integrator meets it: the C interface of vistrel_host.dll, and the
// security of the named objects the library creates.
#include <aclapi.h>
#include <gtest/gtest.h>
#include <sddl.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "E2ESupport.h"
#include "SerializeUtils.h"
#include "VistrelExchange.h"
#include "support/ResultText.h"
#include "vistrel_host.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;

VistrelStartOptions startOptions(const VXString& server, const wchar_t* identifier = nullptr) {
    VistrelStartOptions options{};
    options.size = sizeof(options);
    options.serverPath = server.wstr();
    options.right = 40;
    options.bottom = 30;
    options.identifier = identifier;
    options.unitTestMode = 1;
    return options;
}

VistrelFrame emptyFrame() {
    VistrelFrame frame{};
    frame.size = sizeof(frame);
    return frame;
}

bool isCleared(const VistrelFrame& frame) {
    VistrelFrame cleared = emptyFrame();
    return std::memcmp(&frame, &cleared, sizeof(frame)) == 0;
}

// A host on a staged server, and the answer to its first request in frame.
void startWithOneAnswer(VistrelHost*& host, VistrelFrame& frame) {
    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    const VistrelStartOptions options = startOptions(server);
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
}

TEST(HostCApi, StartCaptureRefuseBadRequestsAndClose) {
    EXPECT_STREQ(vistrel_host_version(), "1.0.0");
    VistrelHost* host = nullptr;
    VistrelFrame frame = emptyFrame();
    ASSERT_NO_FATAL_FAILURE(startWithOneAnswer(host, frame));
    EXPECT_EQ(frame.code, 2000);
    EXPECT_EQ(frame.width, 40);
    EXPECT_EQ(frame.height, 30);
    EXPECT_EQ(frame.stride, 160);
    EXPECT_NE(frame.pixels, nullptr);

    // A one-element list at the very end of a page, a no-access page behind it: a count above
    // the limit must be refused before a single handle is read.
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    auto* pages = static_cast<uint8_t*>(
        VirtualAlloc(nullptr, 2 * system.dwPageSize, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    ASSERT_NE(pages, nullptr);
    DWORD old = 0;
    ASSERT_TRUE(VirtualProtect(pages + system.dwPageSize, system.dwPageSize, PAGE_NOACCESS, &old));
    auto* last = reinterpret_cast<uint64_t*>(pages + system.dwPageSize - sizeof(uint64_t));
    *last = 0;
    const struct {
        const uint64_t* windows;
        uint32_t count;
    } refused[] = {{last, 5000}, {last, VISTREL_MAX_EXCLUDED_WINDOWS + 1}, {nullptr, 3}};
    for (const auto& request : refused) {
        EXPECT_EQ(vistrel_host_capture(host, request.windows, request.count, 0, kAnswerTimeoutMs, &frame),
                  VISTREL_BAD_PARAMETER)
            << request.count;
        EXPECT_TRUE(isCleared(frame)) << request.count;
    }
    VirtualFree(pages, 0, MEM_RELEASE);
    // The server is unharmed and a frame of an unknown, smaller layout is not written.
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    VistrelFrame small = emptyFrame();
    small.size = offsetof(VistrelFrame, microseconds);
    small.code = 77;
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &small), VISTREL_BAD_PARAMETER);
    EXPECT_EQ(small.code, 77);
    uint32_t exitCode = 0;
    int32_t finalCode = -1;
    EXPECT_EQ(vistrel_host_wait_exit(host, 0, &exitCode, &finalCode), VISTREL_TIMEOUT);
    vistrel_host_close(host);
}

TEST(HostCApi, FailuresCarryTheirText) {
    VistrelHost* host = nullptr;
    const VXString missing(u"C:\\no\\such\\Vistrel.exe");
    VistrelStartOptions options = startOptions(missing);
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_NOT_FOUND);
    ASSERT_NE(host, nullptr);
    const std::string error = text(vistrel_host_last_error(host));
    EXPECT_EQ(error.rfind("Method \"GetFileAttributes\" returned Win32 error [", 0), 0u) << error;
    EXPECT_NE(error.find("Server \"C:\\no\\such\\Vistrel.exe\" not found"), std::string::npos) << error;
    VistrelFrame frame = emptyFrame();
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 1000, &frame), VISTREL_NOT_STARTED);
    vistrel_host_close(host);
    options.right = options.left;
    EXPECT_EQ(vistrel_host_start(&options, &host), VISTREL_BAD_PARAMETER);
    vistrel_host_close(host);
}

TEST(HostCApi, ServerKilledDuringARequestNamesTheExitAndClearsTheFrame) {
    constexpr UINT kKilledExitCode = 77;
    VistrelHost* host = nullptr;
    VistrelFrame frame = emptyFrame();
    ASSERT_NO_FATAL_FAILURE(startWithOneAnswer(host, frame));
    ASSERT_NE(frame.pixels, nullptr);

    // The server can no longer answer; it is killed while the next request waits.
    const DWORD serverId = e2e::childServer();
    ASSERT_NE(serverId, 0u);
    e2e::setThreadsSuspended(serverId, true);
    HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, serverId);
    ASSERT_NE(process, nullptr);
    std::thread killer([process] {
        Sleep(300);
        TerminateProcess(process, kKilledExitCode);
    });
    const int32_t code = vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame);
    killer.join();
    CloseHandle(process);
    EXPECT_EQ(code, VISTREL_SERVER_ENDED);
    EXPECT_TRUE(isCleared(frame));
    const std::string error = text(vistrel_host_last_error(host));
    EXPECT_NE(error.find("Server ended with exit code 77"), std::string::npos) << error;
    uint32_t exitCode = 0;
    int32_t finalCode = -1;
    ASSERT_EQ(vistrel_host_wait_exit(host, 0, &exitCode, &finalCode), VISTREL_OK);
    EXPECT_EQ(exitCode, kKilledExitCode);
    EXPECT_EQ(finalCode, 0);
    vistrel_host_close(host);
}

TEST(HostCApi, ReusedIdentifierWaitsForTheRealAnswerNotALeftOverSignal) {
    const std::wstring id = L"VistrelReuse" + std::to_wstring(GetCurrentProcessId());
    // What an earlier exchange may leave: a set completion event and a result in the block.
    HANDLE completed = CreateEventW(nullptr, FALSE, TRUE, (L"Completed_" + id).c_str());
    HANDLE result = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                       Vistrel::kResultBlockSize, (L"FMO_Result_" + id).c_str());
    ASSERT_NE(completed, nullptr);
    ASSERT_NE(result, nullptr);
    auto* view =
        static_cast<uint8_t*>(MapViewOfFile(result, FILE_MAP_WRITE, 0, 0, Vistrel::kResultBlockSize));
    ASSERT_NE(view, nullptr);
    ASSERT_NE(
        SerializeUtils::writeResult(view, Vistrel::kResultBlockSize, VXResult(VXError::eBadState, u"stale")),
        nullptr);

    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    VistrelHost* host = nullptr;
    const VistrelStartOptions options = startOptions(server, id.c_str());
    ASSERT_EQ(vistrel_host_start(&options, &host), VISTREL_OK) << text(vistrel_host_last_error(host));
    VistrelFrame frame = emptyFrame();
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, kAnswerTimeoutMs, &frame), VISTREL_OK);
    EXPECT_EQ(frame.code, 2000) << text(frame.text);
    EXPECT_NE(frame.pixels, nullptr);
    vistrel_host_close(host);
    UnmapViewOfFile(view);
    CloseHandle(result);
    CloseHandle(completed);
}

// The parts of an object's security the host sets, as text: owner, DACL entries, label.
std::string describeSecurity(HANDLE object) {
    PSID owner = nullptr;
    ACL* dacl = nullptr;
    ACL* sacl = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error =
        GetSecurityInfo(object, SE_KERNEL_OBJECT,
                        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                        &owner, nullptr, &dacl, &sacl, &descriptor);
    if (error != ERROR_SUCCESS)
        return "GetSecurityInfo failed: " + std::to_string(error);
    auto sidText = [](PSID sid) {
        wchar_t* textSid = nullptr;
        if (!ConvertSidToStringSidW(sid, &textSid))
            return std::string("?");
        const std::string s = text(textSid);
        LocalFree(textSid);
        return s;
    };
    std::string out = "owner " + sidText(owner);
    for (const auto& [acl, name] : {std::pair{dacl, "dacl"}, std::pair{sacl, "sacl"}}) {
        out += std::string("; ") + name + ":";
        for (DWORD i = 0; acl != nullptr && i < acl->AceCount; ++i) {
            ACE_HEADER* ace = nullptr;
            GetAce(acl, i, reinterpret_cast<void**>(&ace));
            // Allowed and label entries share one layout: header, mask, SID.
            const auto* entry = reinterpret_cast<const ACCESS_ALLOWED_ACE*>(ace);
            char mask[16];
            std::snprintf(mask, sizeof(mask), "%lX", static_cast<unsigned long>(entry->Mask));
            out += " [" + std::to_string(ace->AceType) + " " + mask + " " +
                   sidText(const_cast<DWORD*>(&entry->SidStart)) + "]";
        }
    }
    LocalFree(descriptor);
    return out;
}

std::string tokenSid(TOKEN_INFORMATION_CLASS kind) {
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token);
    std::vector<uint8_t> buffer(256);
    DWORD size = 0;
    GetTokenInformation(token, kind, buffer.data(), static_cast<DWORD>(buffer.size()), &size);
    CloseHandle(token);
    // TOKEN_USER and TOKEN_MANDATORY_LABEL both begin with a SID_AND_ATTRIBUTES.
    wchar_t* textSid = nullptr;
    ConvertSidToStringSidW(reinterpret_cast<SID_AND_ATTRIBUTES*>(buffer.data())->Sid, &textSid);
    const std::string s = textSid != nullptr ? text(textSid) : "?";
    LocalFree(textSid);
    return s;
}

TEST(HostObjectSecurity, EachObjectGrantsOnlyUserAndSystemAndForbidsReadingAndWritingUp) {
    auto host = e2e::startHost(VXRect(0, 0, 16, 16), true);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    // Once answered, the server has opened every object: it must have left them as they were.
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());

    const std::string user = tokenSid(TokenUser);
    const std::string level = tokenSid(TokenIntegrityLevel);
    const std::string label = "; sacl: [17 3 " + level + "]";  // no-write-up | no-read-up
    auto expected = [&](DWORD access) {
        char mask[16];
        std::snprintf(mask, sizeof(mask), "%lX", static_cast<unsigned long>(access));
        return "owner " + user + "; dacl: [0 " + mask + " " + user + "] [0 " + mask + " S-1-5-18]" + label;
    };
    const Vistrel::Params& p = host->params();
    for (const VXString* name : {&p.eventStartName, &p.eventCompletedName}) {
        HANDLE h = OpenEventW(READ_CONTROL, FALSE, name->wstr());
        ASSERT_NE(h, nullptr) << name->toUtf8();
        EXPECT_EQ(describeSecurity(h), expected(EVENT_ALL_ACCESS)) << name->toUtf8();
        CloseHandle(h);
    }
    for (const VXString* name :
         {&p.exclWndsName, &p.captureCursorName, &p.imageName, &p.waitResultName, &p.resultName}) {
        HANDLE h = OpenFileMappingW(READ_CONTROL, FALSE, name->wstr());
        ASSERT_NE(h, nullptr) << name->toUtf8();
        EXPECT_EQ(describeSecurity(h), expected(SECTION_ALL_ACCESS)) << name->toUtf8();
        CloseHandle(h);
    }
}

}  // namespace
