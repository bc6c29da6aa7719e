// How the server ends when something is wrong before or around the request loop: exit codes
// and the final result in the result block.
#include <gtest/gtest.h>

#include <cstring>

#include "E2ESupport.h"
#include "VistrelExchange.h"
#include "VistrelHostCommand.h"

namespace {

constexpr uint32_t kExitTimeoutMs = 30000;

std::string text(const Vistrel::ResultRecord& r) {
    return r.text.toUtf8();
}

TEST(ServerStartup, NoArgumentsExits12) {
    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    EXPECT_EQ(e2e::runProcess(server, vxFormat(u"\"%s\"", server), kExitTimeoutMs), 12u);
}

TEST(ServerStartup, EmptyRectangleIsRefusedInTheResultBlockWithExit10) {
    std::unique_ptr<Vistrel::Host> host;
    const VXResult r = Vistrel::Host::startWithOptions(e2e::stageServer(u"e2e-with-magnifier", true),
                                                       u"\"/cr 10,10,5,5\" \"/g e2e-empty-rect\"", host);
    ASSERT_TRUE(r.isSuccess()) << r.message().toUtf8();
    uint32_t exitCode = 0;
    Vistrel::ResultRecord final;
    ASSERT_TRUE(host->waitForExit(kExitTimeoutMs, exitCode, final).isSuccess());
    EXPECT_EQ(exitCode, 10u);
    EXPECT_EQ(final.code, 2005);
    EXPECT_NE(text(final).find("Parameter check \"!captureRect.isEmpty()\" failed at "), std::string::npos)
        << text(final);
}

TEST(ServerStartup, ExistingTooSmallImageBlockExits13) {
    const VXString guid = Vistrel::HostCommand::newGuid();
    const VXString name = VXString(Vistrel::kImagePrefix) + guid;
    HANDLE small = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, name.wstr());
    ASSERT_NE(small, nullptr);
    VXString options;
    ASSERT_TRUE(
        Vistrel::Params::makeCommandLine(VXRect(0, 0, 1920, 1080), guid.c_str(), false, options).isSuccess());
    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    EXPECT_EQ(e2e::runProcess(server, vxFormat(u"\"%s\" %s", server, options), kExitTimeoutMs), 13u);
    CloseHandle(small);
}

TEST(ServerStartup, MissingMagnificationLibraryIsReportedWithExit10) {
    Vistrel::HostOptions options;
    options.captureRect = VXRect(0, 0, 64, 64);
    options.serverPath = e2e::stageServer(u"e2e-without-magnifier", false);
    std::unique_ptr<Vistrel::Host> host;
    ASSERT_TRUE(Vistrel::Host::start(options, host).isSuccess());
    uint32_t exitCode = 0;
    Vistrel::ResultRecord final;
    ASSERT_TRUE(host->waitForExit(kExitTimeoutMs, exitCode, final).isSuccess());
    EXPECT_EQ(exitCode, 10u);
    EXPECT_EQ(final.code, 2020);
    EXPECT_EQ(text(final).rfind("Failed getting Mag dll at ", 0), 0u) << text(final);
    EXPECT_NE(text(final).find("Error returned at Vistrel::run, "), std::string::npos);
}

TEST(ServerStartup, WindowCountPastTheBlockEndsTheLoopWithoutACrash) {
    Vistrel::HostOptions options;
    options.captureRect = VXRect(0, 0, 64, 64);
    options.serverPath = e2e::stageServer(u"e2e-with-magnifier", true);
    options.unitTestMode = true;
    std::unique_ptr<Vistrel::Host> host;
    ASSERT_TRUE(Vistrel::Host::start(options, host).isSuccess());
    // What a broken host might write: 5000 handles announced in an 8192-byte block.
    const uint64_t count = 5000;
    std::memcpy(host->sharedObjects()->shMemExclWnds->view, &count, sizeof count);
    ASSERT_TRUE(host->sharedObjects()->eventStart->set().isSuccess());
    uint32_t exitCode = 0;
    Vistrel::ResultRecord final;
    ASSERT_TRUE(host->waitForExit(kExitTimeoutMs, exitCode, final).isSuccess());
    EXPECT_EQ(exitCode, 10u);
    EXPECT_EQ(final.code, 2020);
    EXPECT_NE(text(final).find("Failed reading excluded windows"), std::string::npos) << text(final);
}

TEST(ServerStartup, ADeadServerIsReportedAtOnceNotAfterTheTimeout) {
    Vistrel::HostOptions options;
    options.captureRect = VXRect(0, 0, 64, 64);
    options.serverPath = e2e::stageServer(u"e2e-without-magnifier", false);  // ends right away
    std::unique_ptr<Vistrel::Host> host;
    ASSERT_TRUE(Vistrel::Host::start(options, host).isSuccess());
    Vistrel::Capture capture;
    const DWORD start = GetTickCount();
    const VXResult r = host->capture({}, false, capture, 60000);
    EXPECT_LT(GetTickCount() - start, 30000u);
    EXPECT_EQ(r.code(), 3001);  // the server has ended
    EXPECT_NE(r.message().toUtf8().find("Server ended with exit code 10"), std::string::npos)
        << r.message().toUtf8();
    EXPECT_NE(r.message().toUtf8().find("Failed getting Mag dll"), std::string::npos);
}

TEST(ServerStartup, ManifestAsksForInvokerRightsAndPerMonitorDpi) {
    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    HMODULE image = LoadLibraryExW(server.wstr(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(image, nullptr);
    HRSRC resource = FindResourceW(image, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));  // RT_MANIFEST
    ASSERT_NE(resource, nullptr);
    const auto* bytes = static_cast<const char*>(LockResource(LoadResource(image, resource)));
    const std::string manifest(bytes, SizeofResource(image, resource));
    FreeLibrary(image);
    EXPECT_NE(manifest.find("level=\"asInvoker\" uiAccess=\"false\""), std::string::npos);
    EXPECT_NE(manifest.find(">True/PM</dpiAware>"), std::string::npos);
}

}  // namespace
