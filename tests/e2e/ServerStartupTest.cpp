// How the server ends when something is wrong before or around the request loop.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "E2ESupport.h"
#include "SerializeUtils.h"
#include "SharedProcessMemory.h"
#include "VistrelExchange.h"
#include "VistrelHostCommand.h"
#include "support/ResultText.h"

namespace {

constexpr uint32_t kExitTimeoutMs = 30000;

// Runs the staged server on the options a host would give it for these objects; its exit code.
uint32_t runServer(const VXRect& rect, const VXString& guid, bool unitTestMode) {
    VXString options;
    EXPECT_TRUE(Vistrel::Params::makeCommandLine(rect, guid.c_str(), unitTestMode, options).isSuccess());
    const VXString server = e2e::stageServer();
    return e2e::runProcess(server, vxFormat(u"\"%s\" %s", server, options), kExitTimeoutMs);
}

TEST(ServerStartup, NoArgumentsExits12AndATooSmallImageBlockExits13) {
    const VXString server = e2e::stageServer();
    EXPECT_EQ(e2e::runProcess(server, vxFormat(u"\"%s\"", server), kExitTimeoutMs), 12u);

    const VXString guid = e2e::freshGuid();
    const VXString name = VXString(Vistrel::kImagePrefix) + guid;
    HANDLE small = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, name.wstr());
    ASSERT_NE(small, nullptr);
    EXPECT_EQ(runServer(VXRect(0, 0, 1920, 1080), guid, false), 13u);
    CloseHandle(small);
}

TEST(ServerStartup, AStartEventWithoutAHandleEndsTheLoopAtOnceWithExit10) {
    // A mutex holding the event's name: the server's event gets no handle.
    const VXString guid = e2e::freshGuid();
    HANDLE squatter = CreateMutexW(nullptr, FALSE, (VXString(Vistrel::kEventStartPrefix) + guid).wstr());
    ASSERT_NE(squatter, nullptr);
    std::shared_ptr<SharedProcessMemory> result;
    ASSERT_TRUE(SharedProcessMemory::create((VXString(Vistrel::kResultPrefix) + guid).c_str(),
                                            Vistrel::kResultBlockSize, result)
                    .isSuccess());
    const DWORD start = GetTickCount();
    EXPECT_EQ(runServer(VXRect(0, 0, 32, 32), guid, true), 10u);
    EXPECT_LT(GetTickCount() - start, 20000u) << "not after the request time-out";
    Vistrel::ResultRecord final;
    ASSERT_NE(SerializeUtils::readResult(result->view, Vistrel::kResultBlockSize, final), nullptr);
    EXPECT_THAT(text(final.text), StartsWith("Method \"WaitForSingleObject\" returned Win32 error [6]"));
    CloseHandle(squatter);
}

TEST(ServerStartup, EmptyRectangleIsRefusedInTheResultBlockWithExit10) {
    std::unique_ptr<Vistrel::Host> host;
    const VXResult r = Vistrel::Host::startWithOptions(
        e2e::stageServer(), vxFormat(u"\"/cr 10,10,5,5\" \"/g e2e-empty-%s\"", e2e::freshGuid()), host);
    ASSERT_TRUE(r.isSuccess()) << text(r);
    Vistrel::ResultRecord final;
    EXPECT_EQ(e2e::exitOf(*host, final), 10u);
    EXPECT_EQ(final.code, 2005);
    EXPECT_THAT(text(final.text), HasSubstr("Parameter check \"!captureRect.isEmpty()\" failed at "));
}

TEST(ServerStartup, MissingMagnificationLibraryEndsWithExit10AndARequestLearnsItAtOnce) {
    Vistrel::HostOptions options;
    options.captureRect = VXRect(0, 0, 64, 64);
    options.serverPath = e2e::stageServer(u"e2e-without-magnifier", false);
    std::unique_ptr<Vistrel::Host> host;
    ASSERT_TRUE(Vistrel::Host::start(options, host).isSuccess());
    Vistrel::Capture capture;
    const DWORD start = GetTickCount();
    const VXResult r = host->capture({}, false, capture, 60000);
    EXPECT_LT(GetTickCount() - start, 30000u) << "not after the time-out";
    EXPECT_EQ(r.code(), 3001);
    EXPECT_THAT(text(r), HasSubstr("Server ended with exit code 10"));
    EXPECT_THAT(text(r), HasSubstr("Failed getting Mag dll"));

    Vistrel::ResultRecord final;
    EXPECT_EQ(e2e::exitOf(*host, final), 10u);
    EXPECT_EQ(final.code, 2020);
    EXPECT_THAT(text(final.text), StartsWith("Failed getting Mag dll at "));
    EXPECT_THAT(text(final.text), HasSubstr("Error returned at Vistrel::run, "));
}

TEST(ServerStartup, ManifestAsksForInvokerRightsAndPerMonitorDpi) {
    HMODULE image = LoadLibraryExW(e2e::stageServer().wstr(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(image, nullptr);
    HRSRC resource = FindResourceW(image, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24));  // RT_MANIFEST
    ASSERT_NE(resource, nullptr);
    const auto* bytes = static_cast<const char*>(LockResource(LoadResource(image, resource)));
    const std::string manifest(bytes, SizeofResource(image, resource));
    FreeLibrary(image);
    EXPECT_THAT(manifest, HasSubstr("level=\"asInvoker\" uiAccess=\"false\""));
    EXPECT_THAT(manifest, HasSubstr(">True/PM</dpiAware>"));
}

}  // namespace
