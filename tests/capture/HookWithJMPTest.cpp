// The jump patch's bytes and its refusals; patching real code is in HookD3DTest.
#include <gtest/gtest.h>
#include <windows.h>

#include "HookWithJMP.h"
#include "VXResultCodes.h"

namespace {

int returnsFortyTwo() {
    return 42;
}

}  // namespace

TEST(HookWithJMP, PatchIsMovRaxImm64ThenJmpRax) {
    const HookWithJMP::Bytes expected = {0x48, 0xB8, 0x88, 0x77, 0x66, 0x55,
                                         0x44, 0x33, 0x22, 0x11, 0xFF, 0xE0};
    EXPECT_EQ(HookWithJMP::makePatch(reinterpret_cast<const void*>(0x1122334455667788ULL)), expected);
}

TEST(HookWithJMP, RefusesBadUse) {
    const void* replacement = reinterpret_cast<const void*>(&returnsFortyTwo);
    HookWithJMP hook;
    EXPECT_EQ(hook.hook().code(), VXError::ePreconditionFailed);
    EXPECT_EQ(hook.unhook().code(), VXError::ePreconditionFailed);

    // Reserved but not committed: VirtualProtect refuses it.
    void* reserved = VirtualAlloc(nullptr, 4096, MEM_RESERVE, PAGE_NOACCESS);
    const VXResult result = hook.prepare(reserved, replacement);
    EXPECT_NE(result.message().toUtf8().find("Method \"VirtualProtect\" returned Win32 error"),
              std::string::npos);
    EXPECT_EQ(hook.target(), nullptr) << "a refused prepare records no target";
    VirtualFree(reserved, 0, MEM_RELEASE);
}
