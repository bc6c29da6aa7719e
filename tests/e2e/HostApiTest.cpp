// The C interface, as a host written in another language would use it.
#include <gtest/gtest.h>

#include "E2ESupport.h"
#include "vistrel_host.h"

namespace {

TEST(HostCApi, StartCaptureAndCloseInUnitTestMode) {
    const VXString server = e2e::stageServer(u"e2e-with-magnifier", true);
    VistrelHost* host = nullptr;
    ASSERT_EQ(vistrel_host_start(server.wstr(), 0, 0, 40, 30, 1, &host), 2000)
        << vistrel_host_last_error(host);
    VistrelFrame frame{};
    ASSERT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 30000, &frame), 2000);
    EXPECT_EQ(frame.code, 2000);
    EXPECT_EQ(frame.width, 40);
    EXPECT_EQ(frame.height, 30);
    EXPECT_EQ(frame.stride, 160);
    EXPECT_NE(frame.pixels, nullptr);
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 3, 0, 30000, &frame), 2005);
    const uint64_t tooMany[1] = {};
    EXPECT_EQ(vistrel_host_capture(host, tooMany, 1024, 0, 30000, &frame), 2005);  // never read
    vistrel_host_close(host);
}

TEST(HostCApi, FailuresCarryTheirText) {
    VistrelHost* host = nullptr;
    EXPECT_EQ(vistrel_host_start(L"C:\\no\\such\\Vistrel.exe", 0, 0, 10, 10, 1, &host), 2008);
    ASSERT_NE(host, nullptr);
    const std::string error = VXString::fromWide(vistrel_host_last_error(host)).toUtf8();
    EXPECT_EQ(error.rfind("Method \"GetFileAttributes\" returned Win32 error [", 0), 0u) << error;
    EXPECT_NE(error.find("Server \"C:\\no\\such\\Vistrel.exe\" not found"), std::string::npos) << error;
    VistrelFrame frame{};
    EXPECT_EQ(vistrel_host_capture(host, nullptr, 0, 0, 1000, &frame), 2007);
    vistrel_host_close(host);
    EXPECT_EQ(vistrel_host_start(nullptr, 5, 5, 5, 5, 0, &host), 2005);
    vistrel_host_close(host);
}

}  // namespace
