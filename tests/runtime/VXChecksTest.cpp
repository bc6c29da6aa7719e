#include <gtest/gtest.h>

#include "VXChecks.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"

namespace {

struct Widget {
    VXResult create(const void* buffer, uint32_t dwSize) {
        VX_CHECK_PARAM(buffer);
        VX_CHECK_PARAM(dwSize > 0);
        return VXError::eNoError;
    }
    VXResult relay(VXResult inner) {
        VX_RETURN_IF_ERROR(inner);
        return VXStatus::eYes;
    }
    VXResult fail() { return VX_ERROR(VXError::eUnexpected, u"Failed getting Mag dll"); }
};

TEST(VXChecks, ParameterCheckNamesTheExpressionAndIsNotLogged) {
    LogCapture log;
    Widget w;
    int dummy = 0;
    const VXResult r = w.create(&dummy, 0);
    EXPECT_EQ(r.code(), VXError::eBadParameter);
    EXPECT_THAT(text(r), StartsWith("Parameter check \"dwSize > 0\" failed at , vxcheckstest.cpp:"));
    EXPECT_EQ(text(r).back(), '.');
    EXPECT_THAT(text(w.create(nullptr, 0)), StartsWith("Parameter check \"buffer\" failed"));
    EXPECT_TRUE(log.lines().empty());
}

TEST(VXChecks, PassUpChainsErrorReturnedWithClassAndMethod) {
    Widget w;
    const VXResult r = w.relay(w.fail());
    EXPECT_EQ(r.code(), VXError::eUnexpected);
    const std::string message = text(r);
    EXPECT_THAT(message,
                StartsWith("Failed getting Mag dll at {anonymous}::Widget::fail, vxcheckstest.cpp:"));
    EXPECT_THAT(message, HasSubstr("\n\tError returned at {anonymous}::Widget::relay, vxcheckstest.cpp:"));
    EXPECT_EQ(w.relay(VXStatus::eNo).code(), VXStatus::eYes);  // statuses are not failures
}

TEST(VXChecks, Win32ErrorSiteReadsTheLastError) {
    VXPlatform::setLastOsError(2);
    EXPECT_THAT(text(VX_WIN32_ERROR(u"CreateFileMapping")),
                StartsWith("Method \"CreateFileMapping\" returned Win32 error [2]. "));
    // A call that failed without a last error is still a failure at its site.
    VXPlatform::setLastOsError(0);
    const VXResult silent = VX_WIN32_ERROR(u"MagInitialize");
    EXPECT_EQ(silent.code(), VXError::eUnexpected);
    EXPECT_THAT(text(silent), StartsWith("Method \"MagInitialize\" returned Win32 error [0]. "));
    EXPECT_EQ(VX_HRESULT_ERROR(u"CreateDevice", 0).code(), VXError::eUnexpected);
}

TEST(VXChecks, AssertionFormsAreLoggedAndExecutionContinues) {
    LogCapture log;
    int reached = 0;
    VX_ASSERT(1 + 1 == 3);
    ++reached;
    VX_ASSERT_MSG(false, u"state %d", 4);
    VX_ASSERT(true);
    VXPlatform::setLastOsError(5);
    VX_VERIFY(reached == 0, u"not ready");
    EXPECT_EQ(reached, 1);
    const auto lines = log.bodies();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_THAT(lines[0], HasSubstr("Assertion failure at "));
    EXPECT_EQ(lines[0].back(), '.');
    EXPECT_THAT(lines[1], HasSubstr(". state 4"));
    EXPECT_THAT(lines[2], HasSubstr("(reached == 0) failed: not ready in "));
    EXPECT_THAT(lines[2], HasSubstr(". (Last OS error: 5)"));
    EXPECT_THAT(lines[2], StartsWith("E: "));
}

}  // namespace
