#include <gtest/gtest.h>

#include <aclapi.h>

#include "TestNames.h"
#include "VXEvent.h"
#include "support/LogCapture.h"
#include "support/ResultText.h"

namespace {

TEST(VXEvent, ScopesPrefixTheNameAndNoNameStaysNoName) {
    const char* expected[] = {"Start_x", "Start_x", "Local\\Start_x", "Global\\Start_x"};
    for (int32_t scope = 0; scope < 4; ++scope) {
        VXString out;
        ASSERT_TRUE(VXSync::makeEventName(u"Start_x", scope, out).isSuccess());
        EXPECT_EQ(text(out), expected[scope]);
        ASSERT_TRUE(VXSync::makeEventName(u"", scope, out).isSuccess());
        EXPECT_EQ(text(out), "") << scope;
        // Two objects without a name are two objects, not one named by the bare prefix.
        VXEvent first(u"", false, scope);
        VXEvent second(u"", false, scope);
        EXPECT_EQ(second.creationCode(), VXError::eNoError) << scope;
        ASSERT_TRUE(first.set().isSuccess());
        EXPECT_EQ(second.wait(0).code(), VXError::eTimeout) << scope;
    }
}

TEST(VXEvent, CreationCodesAndSecurity) {
    const VXString name = uniqueName(u"twice");
    VXEvent first(name.c_str(), false);
    VXEvent second(name.c_str(), false);
    EXPECT_EQ(first.creationCode(), VXError::eNoError);
    EXPECT_EQ(second.creationCode(), VXError::eExists);
    // One auto-reset kernel object: a signal set through one wrapper is consumed through the other.
    ASSERT_TRUE(second.set().isSuccess());
    EXPECT_EQ(first.isSignaled().code(), VXStatus::eYes);
    EXPECT_EQ(second.wait(0).code(), VXError::eTimeout);

    const VXString taken = uniqueName(u"taken");
    HANDLE mutex = CreateMutexW(nullptr, FALSE, taken.wstr());  // the name is taken by another kind
    LogCapture log;
    VXEvent refused(taken.c_str(), true);
    EXPECT_EQ(refused.handle(), nullptr);
    EXPECT_EQ(refused.creationCode(), VXError::eBadHandle);
    EXPECT_TRUE(log.contains("Failed to create VXEvent \"" + text(taken) + "\". Last error = 6"));
    EXPECT_THAT(text(refused.wait(0)),
                StartsWith("Method \"WaitForSingleObject\" returned Win32 error [6]."));
    CloseHandle(mutex);

    auto hasNullDacl = [](const VXEvent& event) {
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        BOOL present = FALSE, defaulted = FALSE;
        PACL dacl = nullptr;
        const bool isNull =
            GetSecurityInfo(event.handle(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                            nullptr, nullptr, &descriptor) == ERROR_SUCCESS &&
            GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted) && present && !dacl;
        LocalFree(descriptor);
        return isNull;
    };
    EXPECT_TRUE(hasNullDacl(first));  // the default scope is the open one
    EXPECT_FALSE(hasNullDacl(VXEvent(uniqueName(u"dacl").c_str(), false, VXSync::eScopeLocal)));
}

}  // namespace
