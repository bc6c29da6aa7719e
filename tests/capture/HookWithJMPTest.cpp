// The jump patch on a small function of our own in executable memory: its bytes, that it
// really diverts the call, and that the original comes back.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>

#include "HookWithJMP.h"
#include "ScopedVirtualProtect.h"
#include "VXResultCodes.h"

namespace {

using IntFn = int (*)();

int returnsFortyTwo() {
    return 42;
}

// mov eax, 7; ret; then int3 padding so the 12 patched bytes stay inside the allocation.
constexpr uint8_t kReturnsSeven[16] = {0xB8, 0x07, 0x00, 0x00, 0x00, 0xC3, 0xCC, 0xCC,
                                       0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC};

class ExecutableCode {
public:
    ExecutableCode() {
        _page = static_cast<uint8_t*>(VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        std::memcpy(_page, kReturnsSeven, sizeof(kReturnsSeven));
        DWORD previous = 0;
        VirtualProtect(_page, 4096, PAGE_EXECUTE_READ, &previous);
        FlushInstructionCache(GetCurrentProcess(), _page, 4096);
    }
    ~ExecutableCode() { VirtualFree(_page, 0, MEM_RELEASE); }
    ExecutableCode(const ExecutableCode&) = delete;
    ExecutableCode& operator=(const ExecutableCode&) = delete;

    uint8_t* bytes() const { return _page; }
    IntFn function() const { return reinterpret_cast<IntFn>(_page); }
    DWORD protection() const {
        MEMORY_BASIC_INFORMATION info = {};
        VirtualQuery(_page, &info, sizeof(info));
        return info.Protect;
    }
    HookWithJMP::Bytes head() const {
        HookWithJMP::Bytes out{};
        std::memcpy(out.data(), _page, out.size());
        return out;
    }

private:
    uint8_t* _page = nullptr;
};

HookWithJMP::Bytes originalHead() {
    HookWithJMP::Bytes out{};
    std::memcpy(out.data(), kReturnsSeven, out.size());
    return out;
}

}  // namespace

TEST(HookWithJMP, PatchIsMovRaxImm64ThenJmpRax) {
    const void* address = reinterpret_cast<const void*>(0x1122334455667788ULL);
    const HookWithJMP::Bytes expected = {0x48, 0xB8, 0x88, 0x77, 0x66, 0x55,
                                         0x44, 0x33, 0x22, 0x11, 0xFF, 0xE0};
    EXPECT_EQ(HookWithJMP::makePatch(address), expected);
}

TEST(HookWithJMP, HookDivertsAndUnhookRestoresTheCall) {
    ExecutableCode code;
    HookWithJMP hook;
    ASSERT_EQ(code.function()(), 7);
    ASSERT_EQ(hook.prepare(code.bytes(), reinterpret_cast<const void*>(&returnsFortyTwo)).code(),
              VXError::eNoError);
    EXPECT_EQ(code.head(), originalHead()) << "prepare writes nothing";
    EXPECT_EQ(hook.savedBytes(), originalHead());
    EXPECT_EQ(code.protection(), static_cast<DWORD>(PAGE_EXECUTE_READ));

    ASSERT_EQ(hook.hook().code(), VXError::eNoError);
    EXPECT_EQ(code.head(), HookWithJMP::makePatch(reinterpret_cast<const void*>(&returnsFortyTwo)));
    EXPECT_EQ(code.protection(), static_cast<DWORD>(PAGE_EXECUTE_READ))
        << "protection put back after writing";
    EXPECT_EQ(code.function()(), 42);
    // A second hook writes the same bytes again and is harmless.
    ASSERT_EQ(hook.hook().code(), VXError::eNoError);
    EXPECT_EQ(code.function()(), 42);

    ASSERT_EQ(hook.unhook().code(), VXError::eNoError);
    EXPECT_EQ(code.head(), originalHead());
    EXPECT_EQ(code.function()(), 7);

    // Alternating any number of times keeps working.
    ASSERT_EQ(hook.hook().code(), VXError::eNoError);
    EXPECT_EQ(code.function()(), 42);
    ASSERT_EQ(hook.unhook().code(), VXError::eNoError);
    EXPECT_EQ(code.function()(), 7);
}

TEST(HookWithJMP, RefusesBadUse) {
    HookWithJMP hook;
    EXPECT_EQ(hook.hook().code(), VXError::ePreconditionFailed);
    EXPECT_EQ(hook.unhook().code(), VXError::ePreconditionFailed);

    ExecutableCode code;
    VXResult noOrig = hook.prepare(nullptr, reinterpret_cast<const void*>(&returnsFortyTwo));
    EXPECT_EQ(noOrig.code(), VXError::eBadParameter);
    EXPECT_NE(noOrig.message().toUtf8().find("Parameter check \"origFunc\" failed"), std::string::npos)
        << noOrig.message().toUtf8();
    EXPECT_EQ(hook.target(), nullptr) << "a refused prepare records no target";
}

TEST(HookWithJMP, ProtectionRefusedOnReservedMemory) {
    // Reserved but not committed: VirtualProtect refuses it, so nothing can be read or written.
    void* reserved = VirtualAlloc(nullptr, 4096, MEM_RESERVE, PAGE_NOACCESS);
    ASSERT_NE(reserved, nullptr);
    HookWithJMP hook;
    VXResult result = hook.prepare(reserved, reinterpret_cast<const void*>(&returnsFortyTwo));
    EXPECT_TRUE(result.isError());
    EXPECT_NE(result.message().toUtf8().find("Method \"VirtualProtect\" returned Win32 error"),
              std::string::npos)
        << result.message().toUtf8();
    EXPECT_EQ(hook.target(), nullptr);
    VirtualFree(reserved, 0, MEM_RELEASE);
}

TEST(ScopedVirtualProtect, RestoresThePreviousProtectionAtTheLatestOnDestruction) {
    ExecutableCode code;
    {
        ScopedVirtualProtect protection;
        ASSERT_EQ(protection.protect(code.bytes(), 12, PAGE_EXECUTE_READWRITE).code(), VXError::eNoError);
        EXPECT_EQ(protection.previous(), static_cast<uint32_t>(PAGE_EXECUTE_READ));
        EXPECT_EQ(code.protection(), static_cast<DWORD>(PAGE_EXECUTE_READWRITE));
    }
    EXPECT_EQ(code.protection(), static_cast<DWORD>(PAGE_EXECUTE_READ));
}
