// Requests answered by the real server: the records it writes, what the captures show, the loop
// going on after refusals and late answers, and the named objects left as the host secured them.
#include <aclapi.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sddl.h>

#include <string>
#include <vector>

#include "E2ESupport.h"
#include "VistrelExchange.h"
#include "support/ResultText.h"

namespace {

constexpr uint32_t kAnswerTimeoutMs = 30000;
// Coloured windows well inside the capture rectangle, the second over part of the first.
constexpr RECT kBottomRect = {200, 150, 500, 350};
constexpr RECT kTopRect = {350, 250, 600, 450};
constexpr COLORREF kBottomColor = RGB(0x20, 0xC0, 0x40);
constexpr COLORREF kTopColor = RGB(0xD0, 0x30, 0x90);
const VXRect kCaptureRect(100, 100, 700, 500);

std::string sidText(PSID sid) {
    wchar_t* textSid = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidW(sid, &textSid))
        return "?";
    const std::string s = text(textSid);
    LocalFree(textSid);
    return s;
}

// The parts of an object's security the host sets, as text: the owner, then the DACL's
// entries and the label as [type mask SID].
std::string describeSecurity(HANDLE object) {
    PSID owner = nullptr;
    ACL* acls[2] = {};
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(object, SE_KERNEL_OBJECT,
                        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | LABEL_SECURITY_INFORMATION,
                        &owner, nullptr, &acls[0], &acls[1], &descriptor) != ERROR_SUCCESS)
        return "GetSecurityInfo failed";
    std::string out = sidText(owner);
    for (ACL* acl : acls) {
        for (DWORD i = 0; acl != nullptr && i < acl->AceCount; ++i) {
            ACCESS_ALLOWED_ACE* ace = nullptr;  // allowed and label entries share one layout
            GetAce(acl, i, reinterpret_cast<void**>(&ace));
            out += text(vxFormat(u" [%u %X ", uint32_t{ace->Header.AceType}, uint32_t{ace->Mask})) +
                   sidText(&ace->SidStart) + "]";
        }
    }
    LocalFree(descriptor);
    return out;
}

// The SID a token's TOKEN_USER or TOKEN_MANDATORY_LABEL begins with, as text.
std::string tokenSid(TOKEN_INFORMATION_CLASS kind) {
    HANDLE token = nullptr;
    alignas(8) uint8_t buffer[256];
    DWORD size = 0;
    const bool read = OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) &&
                      GetTokenInformation(token, kind, buffer, sizeof(buffer), &size);
    CloseHandle(token);
    return read ? sidText(reinterpret_cast<SID_AND_ATTRIBUTES*>(buffer)->Sid) : "?";
}

TEST(ServerExchange, UnitTestModeAnswersWithTheFullRectangleAndLeavesEachObjectToUserAndSystemOnly) {
    auto host = e2e::startHost(kCaptureRect, true);
    ASSERT_TRUE(host);
    e2e::markBlocks(*host);
    Vistrel::Capture capture;
    const VXResult r = host->capture({}, true, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    EXPECT_EQ(capture.result.code, 2000);
    ASSERT_TRUE(capture.image);
    // 600 x 400 at 32 bits, and nothing past the record.
    const uint8_t* record = host->view(Vistrel::ServerInstance::Block::eImage);
    EXPECT_EQ(std::vector<uint8_t>(record, record + 13),
              (std::vector<uint8_t>{1, 0x58, 0x02, 0, 0, 0x90, 0x01, 0, 0, 32, 0, 0, 0}));
    EXPECT_EQ(record[13 + 600 * 400 * 4], e2e::kImageMark);
    // No capture in this mode: the wait record is written, all zero, and nothing after it.
    const uint8_t* wait = host->view(Vistrel::ServerInstance::Block::eWaitResult);
    EXPECT_EQ(std::vector<uint8_t>(wait, wait + 10),
              (std::vector<uint8_t>{0, 0, 0, 0, 0, 0, 0, 0, 0, e2e::kWaitMark}));

    // Once answered, the server has opened every object: it must have left them as the host
    // made them, for the user and SYSTEM only.
    const std::string user = tokenSid(TokenUser);
    const std::string level = tokenSid(TokenIntegrityLevel);
    auto expected = [&](uint32_t access) {
        const std::string mask = text(vxFormat(u"%X", access));
        // The label: no-write-up | no-read-up | no-execute-up.
        return user + " [0 " + mask + " " + user + "] [0 " + mask + " S-1-5-18] [17 7 " + level + "]";
    };
    const Vistrel::Params& p = host->params();
    for (const VXString* name : {&p.eventStartName, &p.eventCompletedName, &p.exclWndsName,
                                 &p.captureCursorName, &p.imageName, &p.waitResultName, &p.resultName}) {
        const bool event = name == &p.eventStartName || name == &p.eventCompletedName;
        HANDLE h = event ? OpenEventW(READ_CONTROL, FALSE, name->wstr())
                         : OpenFileMappingW(READ_CONTROL, FALSE, name->wstr());
        ASSERT_NE(h, nullptr) << name->toUtf8();
        EXPECT_EQ(describeSecurity(h), expected(event ? EVENT_ALL_ACCESS : SECTION_ALL_ACCESS))
            << name->toUtf8();
        CloseHandle(h);
    }
}

TEST(ServerExchange, ExcludedWindowIsAbsentAndWhatLiesBeneathShows) {
    e2e::WindowThread windows(
        {{kBottomRect, kBottomColor, L"E2E bottom"}, {kTopRect, kTopColor, L"E2E top"}});
    auto host = e2e::startHost(kCaptureRect, false);
    ASSERT_TRUE(host);
    // In image coordinates: (x, y) inside the overlap, the other point inside the top window only.
    const int32_t x = 420 - 100, y = 300 - 100, topOnlyX = 550 - 100, topOnlyY = 420 - 100;
    Vistrel::Capture capture;
    VXResult r = host->capture({}, false, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    ASSERT_EQ(capture.result.code, 2000) << text(capture.result.text);
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kTopColor));
    EXPECT_EQ(e2e::pixelAt(*capture.image, topOnlyX, topOnlyY), e2e::rgb(kTopColor));
    const uint32_t background = e2e::pixelAt(*capture.image, 5, 5);

    r = host->capture({reinterpret_cast<uintptr_t>(windows.window(1))}, false, capture, kAnswerTimeoutMs);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    ASSERT_EQ(capture.result.code, 2000) << text(capture.result.text);
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kBottomColor));
    EXPECT_EQ(e2e::pixelAt(*capture.image, topOnlyX, topOnlyY), background);
    EXPECT_LT(capture.wait.milliseconds, 500u);
    EXPECT_FALSE(capture.wait.timedOut);

    // An empty list afterwards brings the window back.
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    EXPECT_EQ(e2e::pixelAt(*capture.image, x, y), e2e::rgb(kTopColor));
}

TEST(ServerExchange, TheWaitRecordHoldsRoundsThenMillisecondsAndALateRefusalIsNotTakenForTheNextAnswer) {
    // Read by the stand-in in the server: content that never settles, one window at most.
    e2e::ScopedEnvironment changing(L"VXMAG_RENDER", L"changing");
    e2e::ScopedEnvironment limit(L"VXMAG_FILTER_LIMIT", L"1");
    auto host = e2e::startHost(VXRect(0, 0, 200, 100), false);
    ASSERT_TRUE(host);
    Vistrel::Capture capture;
    ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
    ASSERT_EQ(capture.result.code, 2000) << text(capture.result.text);
    EXPECT_TRUE(capture.wait.timedOut);
    EXPECT_GE(capture.wait.milliseconds, 500u);
    EXPECT_LT(capture.wait.milliseconds, kAnswerTimeoutMs);
    // The stand-in draws its render counter into row 0, lowest bit first: setup renders once,
    // the capture once, each readback once more, and a round is one readback after the first.
    uint32_t counter = 0;
    for (int bit = 0; bit < 32; ++bit)
        counter |= (e2e::pixelAt(*capture.image, bit, 0) == 0xFFFFFFu ? 1u : 0u) << bit;
    EXPECT_EQ(capture.wait.iterations + 2, counter);

    // Two windows, refused, from a server that answers only after the host gave up.
    ASSERT_NE(e2e::setServerSuspended(true), 0u);
    e2e::markBlocks(*host);
    EXPECT_EQ(host->capture({0x1234, 0x5678}, false, capture, 300).code(), VXError::eTimeout);
    e2e::setServerSuspended(false);
    Sleep(1000);
    e2e::expectBlocksMarked(*host);
    for (int request = 0; request < 2; ++request) {
        ASSERT_TRUE(host->capture({}, false, capture, kAnswerTimeoutMs).isSuccess());
        EXPECT_EQ(capture.result.code, 2000) << text(capture.result.text);
        EXPECT_EQ(host->view(Vistrel::ServerInstance::Block::eImage)[0], 1)
            << "the image record is written again";
    }
}

// A capture engine failure set off by a stand-in switch: answered, blocks untouched, the server
// going on (MagInitialize: exit 10 at start-up). FALSE with last error 0 is never success.
struct EngineFailure {
    const wchar_t* variable;
    const wchar_t* value;
    int32_t code;
    const char* text;
    bool atStartUp;
};

class ServerEngineFailure : public ::testing::TestWithParam<EngineFailure> {};

TEST_P(ServerEngineFailure, IsReportedWithoutTouchingTheImageOrWaitBlocks) {
    const EngineFailure& failure = GetParam();
    e2e::WindowThread windows({{kBottomRect, kBottomColor, L"E2E bottom"}});
    std::unique_ptr<Vistrel::Host> host;
    {
        e2e::ScopedEnvironment variable(failure.variable, failure.value);  // read by the stand-in
        host = e2e::startHost(kCaptureRect, false);
    }
    ASSERT_TRUE(host);
    if (failure.atStartUp) {
        Vistrel::ResultRecord final;
        EXPECT_EQ(e2e::exitOf(*host, final), 10u);
        EXPECT_EQ(final.code, failure.code);
        EXPECT_THAT(text(final.text), ::testing::StartsWith(failure.text));
        return;
    }
    e2e::markBlocks(*host);
    // A window in the list, so that the filter list is applied.
    const std::vector<uint64_t> excluded = {reinterpret_cast<uintptr_t>(windows.window(0))};
    Vistrel::Capture capture;
    for (int request = 0; request < 2; ++request) {
        const VXResult r = host->capture(excluded, false, capture, kAnswerTimeoutMs);
        ASSERT_TRUE(r.isSuccess()) << text(r);  // the completion event came
        EXPECT_EQ(capture.result.code, failure.code) << text(capture.result.text);
        EXPECT_THAT(text(capture.result.text), ::testing::HasSubstr(failure.text));
    }
    e2e::expectBlocksMarked(*host);
    EXPECT_TRUE(host->isRunning());
}

INSTANTIATE_TEST_SUITE_P(
    StandInSwitches, ServerEngineFailure,
    ::testing::Values(EngineFailure{L"VXMAG_RENDER", L"black", 2022, "All captured pixels are black", false},
                      EngineFailure{L"VXMAG_FAIL", L"MagSetWindowFilterList", 2020,
                                    "Method \"MagSetWindowFilterList\" returned Win32 error [0]. ", false},
                      EngineFailure{L"VXMAG_FAIL", L"MagSetWindowSource", 2020,
                                    "Method \"MagSetWindowSource\" returned Win32 error [0]. ", false},
                      EngineFailure{L"VXMAG_FAIL", L"MagInitialize", 2020,
                                    "Method \"MagInitialize\" returned Win32 error [0]. ", true}));

}  // namespace
