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
    EXPECT_EQ(text(r).rfind("Parameter check \"dwSize > 0\" failed at , vxcheckstest.cpp:", 0), 0u)
        << text(r);
    EXPECT_EQ(text(r).back(), '.');
    EXPECT_EQ(text(w.create(nullptr, 0)).rfind("Parameter check \"buffer\" failed", 0), 0u);
    EXPECT_TRUE(log.lines().empty());
}

TEST(VXChecks, PassUpChainsErrorReturnedWithClassAndMethod) {
    Widget w;
    const VXResult r = w.relay(w.fail());
    EXPECT_EQ(r.code(), VXError::eUnexpected);
    const std::string message = text(r);
    EXPECT_EQ(message.rfind("Failed getting Mag dll at {anonymous}::Widget::fail, vxcheckstest.cpp:", 0), 0u)
        << message;
    EXPECT_NE(message.find("\n\tError returned at {anonymous}::Widget::relay, vxcheckstest.cpp:"),
              std::string::npos);
    EXPECT_EQ(w.relay(VXStatus::eNo).code(), VXStatus::eYes);  // statuses are not failures
}

TEST(VXChecks, Win32ErrorSiteReadsTheLastError) {
    VXPlatform::setLastOsError(2);
    EXPECT_EQ(text(VX_WIN32_ERROR(u"CreateFileMapping"))
                  .rfind("Method \"CreateFileMapping\" returned Win32 error [2]. ", 0),
              0u);
    // A call that failed without a last error is still a failure at its site.
    VXPlatform::setLastOsError(0);
    const VXResult silent = VX_WIN32_ERROR(u"MagInitialize");
    EXPECT_EQ(silent.code(), VXError::eUnexpected);
    EXPECT_EQ(text(silent).rfind("Method \"MagInitialize\" returned Win32 error [0]. ", 0), 0u)
        << text(silent);
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
    EXPECT_NE(lines[0].find("Assertion failure at "), std::string::npos);
    EXPECT_EQ(lines[0].back(), '.');
    EXPECT_NE(lines[1].find(". state 4"), std::string::npos);
    EXPECT_NE(lines[2].find("(reached == 0) failed: not ready in "), std::string::npos);
    EXPECT_NE(lines[2].find(". (Last OS error: 5)"), std::string::npos);
    EXPECT_EQ(lines[2].rfind("E: ", 0), 0u);
}

}  // namespace
